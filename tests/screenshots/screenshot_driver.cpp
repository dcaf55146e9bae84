// Drives the real windows against the demo sandbox (run by
// scripts/screenshots.sh) and saves pictures of them. The settings system
// comes from the environment, as in the application; on the Linux desktop the
// pictures' names start with "linux-". Each window is photographed as a user
// meets it: the Application tab before and after an application is chosen
// (on the Linux desktop the chooser too), the components, the check before a
// check, its result sheet and its failures, the packager in both modes, the
// self-deploying package's window (macOS home folder) and an alert.
#include "app/app_delegate.h"
#include "app/cleaning_history_dialog.h"
#include "app/main_window.h"
#include "app/self_deploy_window.h"
#include "app/sv_kolvane_packager.h"
#include "controls/application_chooser.h"
#include "controls/checkbox_table_cell_view.h"
#include "controls/panel_runner.h"
#include "controls/show_alert.h"
#include "packager/package_creator.h"
#include "search/sv_defaults_tool.h"
#include "workflows/domain_matcher.h"
#include "workflows/settings_system.h"
#include "workflows/system_services.h"

#include <QApplication>
#include <QCheckBox>
#include <QDeadlineTimer>
#include <QDialog>
#include <QDir>
#include <QListView>
#include <QMessageBox>
#include <QMimeData>
#include <QScreen>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QTreeWidget>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void settle(int ms) {
    const QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
    }
}

bool waitFor(const std::function<bool()>& condition, int ms = 30000) {
    const QDeadlineTimer deadline(ms);
    while (!condition() && !deadline.hasExpired())
        settle(50);
    return condition();
}

// Alerts are printed, never shown: nobody is there to dismiss them.
class PrintedAlerts : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override {
        std::fprintf(stderr, "sorvane_screenshots: alert: %s %s\n", qPrintable(message),
                     qPrintable(informative));
    }
};

// Saves what the screen shows where a window is (its sheets included).
class Camera {
public:
    Camera(QString folder, QString prefix)
        : folder_(std::move(folder))
        , prefix_(std::move(prefix)) {}

    void shoot(const QString& name, const QWidget* window) {
        settle(400);
        const QRect area = window ? window->frameGeometry() : QRect();
        const QPixmap shot = area.isValid()
                                 ? QGuiApplication::primaryScreen()->grabWindow(
                                       0, area.x(), area.y(), area.width(), area.height())
                                 : QGuiApplication::primaryScreen()->grabWindow(0);
        const QString file = prefix_ + name;
        if (shot.save(folder_ + u'/' + file))
            return;
        std::fprintf(stderr, "sorvane_screenshots: cannot save %s\n", qPrintable(file));
        ok_ = false;
    }
    void fail(const char* what) {
        std::fprintf(stderr, "sorvane_screenshots: %s\n", what);
        ok_ = false;
    }
    bool ok() const { return ok_; }

private:
    QString folder_;
    QString prefix_;
    bool ok_ = true;
};

// Selects the chooser's row of the entry at app; false when it is not listed.
bool selectEntry(ApplicationChooser& chooser, const QUrl& app) {
    QAbstractItemModel* model = chooser.listView()->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        const QModelIndex index = model->index(row, 0);
        if (QUrl::fromLocalFile(index.data(Qt::ToolTipRole).toString()) == app) {
            chooser.listView()->setCurrentIndex(index);
            chooser.listView()->scrollTo(index, QAbstractItemView::PositionAtCenter);
            return true;
        }
    }
    return false;
}

// Chooses the application as a user of the settings system would: through
// the chooser on the Linux desktop (photographed open), else by its bundle.
void chooseApplication(AppDelegate& delegate, const QUrl& app, Camera& camera) {
    if (SettingsSystem::current().chooser() != SettingsSystem::Chooser::ApplicationList) {
        delegate.setApplicationUrl(app);
        return;
    }
    bool listed = false;
    const PanelRunner::DialogRunner previous = PanelRunner::setDialogRunner([&](QDialog& dialog) {
        dialog.show();
        if (auto* chooser = qobject_cast<ApplicationChooser*>(&dialog))
            listed = selectEntry(*chooser, app);
        camera.shoot(u"chooser.png"_s, delegate.window);
        dialog.accept();
        return dialog.result();
    });
    delegate.browseForApp();
    PanelRunner::setDialogRunner(previous);
    if (!listed || delegate.appUrl != app)
        camera.fail("the chooser does not list the application");
}

void photographMainWindow(AppDelegate& delegate, const QUrl& app, Camera& camera) {
    MainWindow* window = delegate.window;
    camera.shoot(u"application-empty.png"_s, window);
    chooseApplication(delegate, app, camera);
    camera.shoot(u"application.png"_s, window);

    window->tabs->setCurrentIndex(1);
    for (int row : {0, 2}) {
        if (auto* cell = qobject_cast<CheckboxTableCellView*>(
                delegate.osComponentsTable->cellWidget(row, 0)))
            cell->checkbox()->setChecked(true);
    }
    camera.shoot(u"components.png"_s, window);

    window->tabs->setCurrentIndex(2);
    camera.shoot(u"check-empty.png"_s, window);
    delegate.checkUserPrefs();
    if (!waitFor([&] { return delegate.opCompleteSheet->isVisible(); }))
        camera.fail("the check did not finish");
    camera.shoot(u"check-summary.png"_s, window);
    delegate.opComplete_closeSheet();
    camera.shoot(u"check.png"_s, window);
    window->tabs->setCurrentIndex(0);
}

// A package of the first components that have settings and the chosen
// application, written through the packager core as the window would.
QUrl writePackage(SVKolvanePackager& creation, const QString& folder) {
    PrintedAlerts alerts;
    const std::atomic<bool> cancel{false};
    PackageCreator creator(&cancel, alerts);
    const auto bytes =
        creator.background_createPackage(creation.systemSettings, creation.applications);
    const QUrl url = QUrl::fromLocalFile(folder + u"/Team Settings.Kolvane2"_s);
    if (!bytes || !PackageCreator::writePackageFile(*bytes, url, alerts))
        return {};
    return url;
}

void photographPackager(AppDelegate& delegate, const QUrl& app, const QString& scratch,
                        Camera& camera) {
    SVKolvanePackager* creation = SVKolvanePackager::sharedPackager();
    QMimeData dropped;
    dropped.setUrls({app});
    creation->tableViewAcceptDrop(creation->applicationsTable, &dropped, nullptr);
    // Three components whose settings the demo's home holds, so that the
    // package has something to deploy.
    int ticked = 0;
    for (int row = 0; row < creation->systemSettings.size() && ticked < 3; ++row) {
        const QStringList domains = creation->systemSettings.at(row)->prefsDomains();
        const bool held = std::any_of(domains.cbegin(), domains.cend(), [](const QString& domain) {
            return SettingsSystem::current().userDomainValues(domain).has_value();
        });
        auto* cell =
            qobject_cast<CheckboxTableCellView*>(creation->systemSettingsTable->cellWidget(row, 0));
        if (held && cell) {
            cell->checkbox()->setChecked(true);
            ++ticked;
        }
    }
    delegate.openPreferencePackager();
    creation->window->move(0, 0);
    camera.shoot(u"packager.png"_s, creation->window);

    const QUrl package = writePackage(*creation, scratch);
    creation->window->close();
    if (package.isEmpty()) {
        camera.fail("no package could be written");
        return;
    }
    delegate.applicationOpenURLs({package});
    if (!delegate.unpackagers || delegate.unpackagers->empty()) {
        camera.fail("the package did not open");
        return;
    }
    SVKolvanePackager* deployment = delegate.unpackagers->back().get();
    deployment->window->move(0, 0);
    camera.shoot(u"packager-deploy.png"_s, deployment->window);

    // The self-deploying package's own window shows the same package.
    if (SettingsSystem::current().chooser() != SettingsSystem::Chooser::ApplicationList) {
        PrintedAlerts alerts;
        SelfDeployWindow window(u"Team Settings"_s, QImage(), deployment->systemSettings,
                                deployment->applications, alerts,
                                SettingsSystem::current().running());
        window.move(0, 0);
        window.show();
        camera.shoot(u"self-deploy.png"_s, &window);
    }
    deployment->window->close();
}

// An alert of news, as the message box shows it.
void photographAlert(AppDelegate& delegate, Camera& camera) {
    AlertPresenter* printed = setAlertPresenter(nullptr);
    QTimer::singleShot(300, [&camera] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            camera.fail("no alert came up");
            return;
        }
        camera.shoot(u"alert.png"_s, box->parentWidget() ? box->parentWidget()->window() : box);
        box->accept();
    });
    delegate.window->activateWindow();
    delegate.showUpdatemanager();
    setAlertPresenter(printed);
}

// The application cleaned (last, as it deletes the demo's files), and the
// history that lists the backup the cleaning kept.
void photographHistory(AppDelegate& delegate, Camera& camera) {
    delegate.cleanAppPreferences();
    if (!waitFor([&] { return delegate.opCompleteSheet->isVisible(); }))
        camera.fail("the cleaning did not finish");
    delegate.opComplete_closeSheet();
    const PanelRunner::DialogRunner previous = PanelRunner::setDialogRunner([&](QDialog& dialog) {
        dialog.show();
        auto* history = qobject_cast<CleaningHistoryDialog*>(&dialog);
        if (!history || history->list()->topLevelItemCount() == 0)
            camera.fail("the history lists no backup");
        else
            history->list()->setCurrentItem(history->list()->topLevelItem(0));
        camera.shoot(u"history.png"_s, &dialog);
        dialog.reject();
        return dialog.result();
    });
    delegate.showCleaningHistory();
    PanelRunner::setDialogRunner(previous);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QStringList arguments = application.arguments().mid(1);
    QString error;
    if (!SettingsSystem::chooseAtStartUp(arguments, &error) || arguments.size() != 2) {
        if (!error.isEmpty())
            std::fprintf(stderr, "sorvane_screenshots: %s\n", qPrintable(error));
        std::fprintf(stderr, "usage: sorvane_screenshots APP.app|APP.desktop OUTPUT_FOLDER\n");
        return 2;
    }
    SettingsSystem& system = SettingsSystem::current();
    const QUrl app = QUrl::fromLocalFile(QDir::cleanPath(QDir().absoluteFilePath(arguments.at(0))));
    const QString output = arguments.at(1);
    QDir().mkpath(output);
    const bool linuxDesktop = system.chooser() == SettingsSystem::Chooser::ApplicationList;
    Camera camera(output, linuxDesktop ? u"linux-"_s : QString());
    const QTemporaryDir scratch;
    PrintedAlerts alerts;
    setAlertPresenter(&alerts);

    LinkHelperOperations helper;
    TaskMasterDomainRunner defaults;
    const std::unique_ptr<DomainMatcher> matcher = system.makeDomainMatcher({});
    AppDelegate delegate({helper, defaults, *matcher, system.running(), system});
    delegate.applicationDidFinishLaunching();
    delegate.window->move(0, 0);
    delegate.window->resize(1000, 680);
    SVDefaultsTool::sharedTool()->waitForReading();

    photographMainWindow(delegate, app, camera);
    photographPackager(delegate, app, scratch.path(), camera);
    photographAlert(delegate, camera);
    photographHistory(delegate, camera);
    setAlertPresenter(nullptr);
    return camera.ok() ? 0 : 1;
}
