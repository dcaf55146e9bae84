#pragma once

#include <QJsonObject>
#include <QString>

class Cleaning;
class CleaningBackup;
class CleaningBackupStore;
class CtlSession;

// How sorvanectl speaks of the backups of cleanings: one line or one JSON
// object per backup, and what a cleaning says about the backup it kept (or
// could not keep) before deleting.
class BackupReport {
public:
    // "20240501-100000-123  2024-05-01 10:00  Kate: 2 domains, 3 files"
    static QString line(const CleaningBackup& backup);
    // {"id", "created", "kind", "title", "identifier", "holds", "restored",
    //  "package", "domains": [...], "notKept": [{"item", "why"}]}
    static QJsonObject json(const CleaningBackup& backup, const CleaningBackupStore& store);
    // After a cleaning: the backup it kept ("undoBackup" in the document), or
    // why nothing was deleted when none could be kept.
    static void afterCleaning(const Cleaning& cleaning, CtlSession& session, QJsonObject& document);
};
