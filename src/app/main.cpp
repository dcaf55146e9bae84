// Sorvane's desktop application: the main window over the real services.
#include "app/app_delegate.h"
#include "app/first_paint_probe.h"
#include "app/main_window.h"
#include "workflows/system_services.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sorvane"));
    QApplication::setApplicationVersion(QStringLiteral(SORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("sorvane"));

    LinkHelperOperations helper;
    TaskMasterDomainRunner defaults;
    DefaultsToolMatcher matcher;
    ProcessRunningApplicationQuery running;
    AppDelegate delegate({helper, defaults, matcher, running});
    FirstPaintProbe::watchIfRequested(delegate.window);
    delegate.applicationDidFinishLaunching();
    return application.exec();
}
