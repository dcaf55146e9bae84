#include "app/app_delegate.h"

#include "app/cleaning_history_dialog.h"
#include "app/main_window.h"
#include "controls/panel_runner.h"

#include <QAction>

using namespace Qt::StringLiterals;

void AppDelegate::connectUndoActions() {
    connect(mainWindow_->undoCleaningAction, &QAction::triggered, this,
            [this] { undoLastCleaning(); });
    connect(mainWindow_->cleaningHistoryAction, &QAction::triggered, this,
            [this] { showCleaningHistory(); });
}

std::optional<CleaningBackupRestore::Result>
AppDelegate::restoreCleaningBackup(const CleaningBackup& backup) {
    CleaningBackupRestore restore(backups_, alerts_, services_.running, services_.system);
    return restore.restore(backup);
}

void AppDelegate::undoLastCleaning() {
    const std::optional<CleaningBackup> latest = backups_.latestNotRestored();
    if (!latest) {
        alerts_.showAlertOfKind(AlertKind::Information, u"Nothing to Undo"_s,
                                u"No cleaning has a backup that is not restored yet. Cleaning "
                                u"History lists every backup Sorvane keeps."_s);
        return;
    }
    const auto result = restoreCleaningBackup(*latest);
    if (!result)
        return;
    // Components read their settings when they start, as after a cleaning.
    displayResultsSheetWithMessage(u"Cleaning Undone"_s, result->summary(),
                                   latest->kind == CleaningBackup::Kind::Components);
}

void AppDelegate::showCleaningHistory() {
    CleaningHistoryDialog dialog(backups_, window);
    connect(&dialog, &CleaningHistoryDialog::restoreRequested, this,
            [this, &dialog](const QString& id) {
                const std::optional<CleaningBackup> backup = backups_.backup(id);
                if (!backup)
                    return;
                if (const auto result = restoreCleaningBackup(*backup))
                    dialog.setStatus(
                        u"Restored %1: %2"_s.arg(backup->description(), result->summary()));
                dialog.reload();
            });
    connect(&dialog, &CleaningHistoryDialog::discardRequested, this,
            [this, &dialog](const QString& id) {
                const std::optional<CleaningBackup> backup = backups_.backup(id);
                if (!backup)
                    return;
                const bool agreed = alerts_.confirm(
                    AlertKind::Warning, u"Discard This Backup?"_s,
                    u"What %1 deleted cannot be put back once its backup is discarded."_s.arg(
                        backup->description()),
                    u"Discard"_s);
                if (!agreed)
                    return;
                QString error;
                dialog.setStatus(backups_.discard(id, &error)
                                     ? u"Discarded the backup of %1."_s.arg(backup->description())
                                     : u"The backup could not be discarded: %1"_s.arg(error));
                dialog.reload();
            });
    PanelRunner::runDialog(dialog);
}
