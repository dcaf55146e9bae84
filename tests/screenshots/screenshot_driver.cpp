// Drives the real main window against the demo sandbox (run by
// scripts/screenshots.sh) and saves pictures of it with results showing. The
// settings system comes from the environment, as in the application: on a
// macOS home folder one picture per tab, on the Linux desktop the application
// chooser and the Application tab of the application chosen in it.
#include "app/app_delegate.h"
#include "app/main_window.h"
#include "controls/application_chooser.h"
#include "controls/checkbox_table_cell_view.h"
#include "controls/panel_runner.h"
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
#include <QScreen>
#include <QTabWidget>
#include <QTableWidget>
#include <QThread>

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

bool save(const QString& folder, const QString& name) {
    settle(400);
    const QPixmap shot = QGuiApplication::primaryScreen()->grabWindow(0);
    const bool saved = shot.save(folder + u'/' + name);
    if (!saved)
        std::fprintf(stderr, "sorvane_screenshots: cannot save %s\n", qPrintable(name));
    return saved;
}

bool photographMacHome(AppDelegate& delegate, const QUrl& app, const QString& output) {
    SVDefaultsTool::sharedTool()->waitForReading();
    bool saved = true;
    delegate.setApplicationUrl(app);
    saved &= save(output, u"application.png"_s);

    delegate.window->tabs->setCurrentIndex(1);
    for (int row : {0, 2}) {
        if (auto* cell = qobject_cast<CheckboxTableCellView*>(
                delegate.osComponentsTable->cellWidget(row, 0)))
            cell->checkbox()->setChecked(true);
    }
    saved &= save(output, u"components.png"_s);

    delegate.window->tabs->setCurrentIndex(2);
    delegate.checkUserPrefs();
    const QDeadlineTimer deadline(30000);
    while (!delegate.opCompleteSheet->isVisible() && !deadline.hasExpired())
        settle(100);
    saved &= save(output, u"check-summary.png"_s);
    delegate.opComplete_closeSheet();
    saved &= save(output, u"check.png"_s);
    return saved;
}

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

// Chooses the application through the chooser, as a user would, photographing
// the chooser open with it selected and then the Application tab.
bool photographLinuxDesktop(AppDelegate& delegate, const QUrl& app, const QString& output) {
    bool listed = false;
    bool saved = true;
    const PanelRunner::DialogRunner previous = PanelRunner::setDialogRunner([&](QDialog& dialog) {
        dialog.show();
        if (auto* chooser = qobject_cast<ApplicationChooser*>(&dialog))
            listed = selectEntry(*chooser, app);
        saved &= save(output, u"linux-chooser.png"_s);
        dialog.accept();
        return dialog.result();
    });
    delegate.browseForApp();
    PanelRunner::setDialogRunner(previous);
    if (!listed || delegate.appUrl != app) {
        std::fprintf(stderr, "sorvane_screenshots: the chooser does not list %s\n",
                     qPrintable(app.toLocalFile()));
        return false;
    }
    return saved && save(output, u"linux-application.png"_s);
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

    LinkHelperOperations helper;
    TaskMasterDomainRunner defaults;
    const std::unique_ptr<DomainMatcher> matcher = system.makeDomainMatcher({});
    AppDelegate delegate({helper, defaults, *matcher, system.running(), system});
    delegate.applicationDidFinishLaunching();
    delegate.window->move(0, 0);
    delegate.window->resize(1000, 680);

    const bool saved = system.chooser() == SettingsSystem::Chooser::ApplicationList
                           ? photographLinuxDesktop(delegate, app, output)
                           : photographMacHome(delegate, app, output);
    return saved ? 0 : 1;
}
