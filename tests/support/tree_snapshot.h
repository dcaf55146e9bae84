#pragma once

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QString>
#include <QStringList>

#include "qt_printers.h"

#include <algorithm>

#include <sys/stat.h>

// Every entry below a folder, by its path relative to the folder: its kind,
// permission bits and, for a file, size and a hash of its bytes, for a link
// its target as written. Two snapshots differ exactly when anything but a
// time changed. Entries at or below an excluded relative path are left out.
inline QMap<QString, QString> treeSnapshot(const QString& folder,
                                           const QStringList& excluded = {}) {
    QMap<QString, QString> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString relative = QDir(folder).relativeFilePath(path);
        const bool left = std::any_of(excluded.cbegin(), excluded.cend(), [&](const QString& e) {
            return relative == e || relative.startsWith(e + QLatin1Char('/'));
        });
        struct stat status {};
        if (left || ::lstat(QFile::encodeName(path).constData(), &status) != 0)
            continue;
        const QString mode = QString::number(status.st_mode & 07777, 8);
        QString entry;
        if (S_ISLNK(status.st_mode)) {
            entry = QStringLiteral("link -> ") + QFile::symLinkTarget(path);
        } else if (S_ISDIR(status.st_mode)) {
            entry = QStringLiteral("folder ") + mode;
        } else {
            QFile file(path);
            const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable";
            entry = QStringLiteral("file %1 %2 %3")
                        .arg(mode)
                        .arg(bytes.size())
                        .arg(QString::fromLatin1(
                            QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
        }
        entries.insert(relative, entry);
    }
    return entries;
}

// A file's modification time in milliseconds; -1 when it cannot be read.
inline qint64 modifiedMs(const QString& path) {
    struct stat status {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return -1;
    return qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
}

// The entries two snapshots disagree on, "path: before | after" ("-" for an
// absent entry): empty exactly when the snapshots are equal.
inline QStringList treeDifferences(const QMap<QString, QString>& before,
                                   const QMap<QString, QString>& after) {
    QStringList keys = before.keys() + after.keys();
    keys.removeDuplicates();
    keys.sort();
    QStringList differences;
    for (const QString& key : keys) {
        const QString was = before.value(key, QStringLiteral("-"));
        const QString is = after.value(key, QStringLiteral("-"));
        if (was != is)
            differences.append(key + QStringLiteral(": ") + was + QStringLiteral(" | ") + is);
    }
    return differences;
}
