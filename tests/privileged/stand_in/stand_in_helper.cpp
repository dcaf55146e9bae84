// An installed helper of another version, for the tests that replace one:
// the real helper's logic, reporting the version SORVANE_STAND_IN_VERSION
// names ("major.minor.patch").
#include "helper/helper_main.h"

#include <QByteArray>
#include <QList>

int main(int argc, char** argv) {
    const QList<QByteArray> parts = qgetenv("SORVANE_STAND_IN_VERSION").split('.');
    return runHelper(argc, argv,
                     {parts.value(0).toInt(), parts.value(1).toInt(), parts.value(2).toInt()});
}
