#pragma once

#include "search/sv_defaults_domain.h"
#include "workflows/cleaning_backup.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QUrl>
#include <QVariantMap>

// Reads what a cleaning is about to delete into the content of one backup:
// the user's own domains through the defaults program, exactly as the
// packager captures them, and everything below each file, folder or link,
// folders whole. Files are kept until their bytes reach the bound; what lies
// beyond it, what cannot be read and root's domains (which only the helper
// changes) are named in the backup as not kept. Nothing is written here.
class CleaningBackupCapture {
public:
    struct Content {
        CleaningBackup backup;
        QVariantMap prefs;               // domain -> captured settings text
        QMap<QString, QByteArray> files; // stored path -> bytes
    };

    // Paths at or below excludedFolder (the backups' own folder) are passed
    // over, so that a backup never holds backups.
    CleaningBackupCapture(qint64 byteBound, QString excludedFolder);

    // Each domain once, in order, read by the settings system in this process.
    void addDomains(const QList<SVDefaultsDomain>& domains);
    // Each path once: one already inside a captured folder is passed over.
    void addFiles(const QList<QUrl>& files);

    // True when nothing at all was kept: there is nothing to restore.
    bool keptNothing() const;
    const Content& content() const { return content_; }
    Content& content() { return content_; }

    // How a path travels: the home folder written as "~", other paths whole.
    static QString storedPathOf(const QString& path);

private:
    void addPath(const QString& path);
    void captureEntry(const QString& path);
    void addFolderContents(const QString& folder);
    void addFile(const QString& path, CleaningBackup::Item& item);
    bool isCaptured(const QString& path) const;

    qint64 byteBound_;
    QString excludedFolder_;
    Content content_;
    QSet<QString> capturedPaths_;
};
