#pragma once

#include "workflows/cleaning_backup.h"

#include <QStringList>

#include <optional>

class AlertPresenter;
class CleaningBackupStore;
class RunningApplicationQuery;
class SVPPItem;
class SettingsSystem;

// Puts back what a cleaning deleted, from its backup: the domains through the
// defaults program, as a package is deployed (each counts as restored once
// the domain holds exactly its backed-up values), then the file-system items
// in the order they were captured, folders before what they hold: files byte
// for byte, links as they pointed, each with its mode and time. What the
// backup does not hold is counted, never made up. The backup is then marked
// restored. Refused while the cleaned application runs.
class CleaningBackupRestore {
public:
    struct Result {
        quint32 restored = 0;
        quint32 failed = 0;
        quint32 notKept = 0;  // named in the backup but not held by it
        QStringList failures; // "what: why"

        // "12 items were restored. 1 could not be restored." and, when the
        // backup missed something, "2 were not in the backup."
        QString summary() const;
    };

    CleaningBackupRestore(CleaningBackupStore& store, AlertPresenter& alerts,
                          RunningApplicationQuery& running, SettingsSystem& system);

    // Nothing when the backup's package could not be opened or its
    // application runs; the user has been told why.
    std::optional<Result> restore(const CleaningBackup& backup);

private:
    void restoreDomains(const SVPPItem& package, const CleaningBackup& backup, Result& result);
    void restoreItems(const SVPPItem& package, const CleaningBackup& backup, Result& result);
    bool restoreItem(const SVPPItem& package, const CleaningBackup::Item& item, QString* error);

    CleaningBackupStore& store_;
    AlertPresenter& alerts_;
    RunningApplicationQuery& running_;
    SettingsSystem& system_;
};
