#pragma once

#include "workflows/cleaning_backup.h"
#include "workflows/cleaning_backup_capture.h"

#include <QList>
#include <QString>

#include <optional>

// The folder where Sorvane keeps the backups of its cleanings, one package
// file (<id>.Kolvane2) and one index (<id>.json) each. The index is written
// last and removed first, so a backup counts exactly while its index is
// there. Both are the user's alone (mode 0600 in a 0700 folder): settings
// may hold secrets. After each new backup the oldest ones go until the count
// and the total size are within the limits; the newest always stays.
class CleaningBackupStore {
public:
    struct Limits {
        int count = 20;
        qint64 totalBytes = qint64(1) << 30;       // 1 GiB of package files
        qint64 bytesPerBackup = qint64(256) << 20; // 256 MiB of files in one backup
    };

    explicit CleaningBackupStore(QString folder);
    CleaningBackupStore(QString folder, Limits limits);

    const QString& folder() const { return folder_; }
    const Limits& limits() const { return limits_; }

    // Writes the package and the index, then prunes. The backup as written
    // (with its identifier and date); nothing, with the reason in *error,
    // when it could not be written (nothing of it is left then).
    std::optional<CleaningBackup> write(CleaningBackupCapture::Content content, QString* error);

    // Every complete backup, newest first.
    QList<CleaningBackup> backups() const;
    std::optional<CleaningBackup> backup(const QString& id) const;
    // The newest backup not restored yet: what "undo" restores.
    std::optional<CleaningBackup> latestNotRestored() const;
    QString packagePath(const QString& id) const;
    QString indexPath(const QString& id) const;

    // Notes in the index that the backup was restored now.
    bool markRestored(const QString& id, QString* error);
    bool discard(const QString& id, QString* error);
    // Removes the oldest backups beyond the limits; their identifiers.
    QStringList prune();

private:
    QString newId(const QDateTime& created) const;
    bool writeIndex(const CleaningBackup& backup, QString* error) const;
    qint64 packageSize(const QString& id) const;

    QString folder_;
    Limits limits_;
};
