#include "sorvane_ctl.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    // An application object but no event loop: the helper link and D-Bus
    // need the former, every command runs straight through.
    QCoreApplication application(argc, argv);
    return SorvaneCtl::run(QCoreApplication::arguments().mid(1));
}
