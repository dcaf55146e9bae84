// Sorvane's desktop application: the main window over the real services.
#include "app/app_delegate.h"
#include "app/first_paint_probe.h"
#include "app/main_window.h"
#include "platform/application_instance.h"
#include "workflows/system_services.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sorvane"));
    QApplication::setApplicationVersion(QStringLiteral(SORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("sorvane"));

    // Files given on the command line or by the desktop: package files open
    // in packager windows, in this Sorvane or in the one already running.
    const QList<QUrl> files =
        ApplicationInstance::filesFromArguments(application.arguments().mid(1));
    ApplicationInstance instance;
    if (!instance.becomePrimary() && ApplicationInstance::sendToPrimary(files))
        return 0;

    LinkHelperOperations helper;
    TaskMasterDomainRunner defaults;
    DefaultsToolMatcher matcher;
    ProcessRunningApplicationQuery running;
    AppDelegate delegate({helper, defaults, matcher, running});
    QObject::connect(&instance, &ApplicationInstance::filesOpened, &delegate,
                     [&delegate](const QList<QUrl>& opened) {
                         delegate.showMainWindow();
                         delegate.applicationOpenURLs(opened);
                     });
    FirstPaintProbe::watchIfRequested(delegate.window);
    delegate.applicationDidFinishLaunching();
    delegate.applicationOpenURLs(files);
    return application.exec();
}
