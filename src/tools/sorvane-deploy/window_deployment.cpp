#include "window_deployment.h"

#include "embedded_package.h"
#include "problem_log.h"

#include "app/self_deploy_window.h"
#include "controls/message_box_alert_presenter.h"
#include "packager/package_reader.h"

#include <QApplication>

using namespace Qt::StringLiterals;

WindowDeployment::WindowDeployment(RunningApplicationQuery& running)
    : running_(running) {}

int WindowDeployment::run(const EmbeddedPackage& package) {
    MessageBoxAlertPresenter alerts;
    if (!package.exists()) {
        alerts.showAlert(u"No Package Found"_s, package.missingMessage());
        return 1;
    }
    ProblemLog log(true);
    PackageReader reader(alerts, package.version());
    if (!reader.initWithKolvaneUrl(QUrl::fromLocalFile(package.packagePath())))
        return 1;
    SelfDeployWindow window(package.displayName(), package.icon(), reader.systemSettings(),
                            reader.applications(), alerts, running_);
    QObject::connect(&window, &SelfDeployWindow::deploymentStarted, &window,
                     [&log] { log.takeLines(); });
    QObject::connect(&window, &SelfDeployWindow::deploymentFinished, &window,
                     [&log, &window] { window.showProblems(log.takeLines()); });
    window.show();
    return QApplication::exec();
}
