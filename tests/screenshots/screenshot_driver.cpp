// Drives the real main window against the demo sandbox (run by
// scripts/screenshots.sh) and saves one picture per tab with results showing.
#include "app/app_delegate.h"
#include "app/main_window.h"
#include "controls/checkbox_table_cell_view.h"
#include "search/sv_defaults_tool.h"
#include "workflows/system_services.h"

#include <QApplication>
#include <QCheckBox>
#include <QDeadlineTimer>
#include <QDialog>
#include <QDir>
#include <QScreen>
#include <QTabWidget>
#include <QTableWidget>
#include <QThread>

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
    return shot.save(folder + QLatin1Char('/') + name);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc != 3) {
        qWarning("usage: sorvane_screenshots APP.app OUTPUT_FOLDER");
        return 2;
    }
    const QString app = QString::fromLocal8Bit(argv[1]);
    const QString output = QString::fromLocal8Bit(argv[2]);
    QDir().mkpath(output);

    LinkHelperOperations helper;
    TaskMasterDomainRunner defaults;
    DefaultsToolMatcher matcher;
    ProcessRunningApplicationQuery running;
    AppDelegate delegate({helper, defaults, matcher, running});
    delegate.applicationDidFinishLaunching();
    delegate.window->move(0, 0);
    delegate.window->resize(1000, 680);
    SVDefaultsTool::sharedTool()->waitForReading();

    bool saved = true;
    delegate.setApplicationUrl(QUrl::fromLocalFile(app));
    saved &= save(output, QStringLiteral("application.png"));

    delegate.window->tabs->setCurrentIndex(1);
    for (int row : {0, 2}) {
        if (auto* cell = qobject_cast<CheckboxTableCellView*>(
                delegate.osComponentsTable->cellWidget(row, 0)))
            cell->checkbox()->setChecked(true);
    }
    saved &= save(output, QStringLiteral("components.png"));

    delegate.window->tabs->setCurrentIndex(2);
    delegate.checkUserPrefs();
    const QDeadlineTimer deadline(30000);
    while (!delegate.opCompleteSheet->isVisible() && !deadline.hasExpired())
        settle(100);
    saved &= save(output, QStringLiteral("check-summary.png"));
    delegate.opComplete_closeSheet();
    saved &= save(output, QStringLiteral("check.png"));
    return saved ? 0 : 1;
}
