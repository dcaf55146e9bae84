// Sorvane's desktop application: the main window over the real services.
#include "app/app_delegate.h"
#include "app/first_paint_probe.h"
#include "app/main_window.h"
#include "platform/application_instance.h"
#include "workflows/domain_matcher.h"
#include "workflows/settings_system.h"
#include "workflows/system_services.h"

#include <QApplication>

#include <cstdio>

namespace {

// Application entries choose the target; the other files (package files)
// open in packager windows.
void openFiles(AppDelegate& delegate, SettingsSystem& system, const QList<QUrl>& files) {
    QList<QUrl> others;
    for (const QUrl& file : files) {
        if (system.isApplicationUrl(file))
            delegate.setApplicationUrl(file);
        else
            others.append(file);
    }
    delegate.applicationOpenURLs(others);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sorvane"));
    QApplication::setApplicationVersion(QStringLiteral(SORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("sorvane"));

    QStringList arguments = application.arguments().mid(1);
    QString error;
    if (!SettingsSystem::chooseAtStartUp(arguments, &error)) {
        std::fprintf(stderr, "sorvane: %s\n", qPrintable(error));
        return 2;
    }
    SettingsSystem& system = SettingsSystem::current();

    // Files given on the command line or by the desktop open in this Sorvane
    // or in the one already running.
    const QList<QUrl> files = ApplicationInstance::filesFromArguments(arguments);
    ApplicationInstance instance;
    if (!instance.becomePrimary() && ApplicationInstance::sendToPrimary(files))
        return 0;

    LinkHelperOperations helper;
    TaskMasterDomainRunner defaults;
    const std::unique_ptr<DomainMatcher> matcher = system.makeDomainMatcher({});
    AppDelegate delegate({helper, defaults, *matcher, system.running(), system});
    QObject::connect(&instance, &ApplicationInstance::filesOpened, &delegate,
                     [&delegate, &system](const QList<QUrl>& opened) {
                         delegate.showMainWindow();
                         openFiles(delegate, system, opened);
                     });
    FirstPaintProbe::watchIfRequested(delegate.window);
    delegate.applicationDidFinishLaunching();
    openFiles(delegate, system, files);
    return application.exec();
}
