#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <atomic>

// The settings check of the Linux desktop over a folder (~/.config, /etc/xdg,
// /etc/dconf) and over single files (the dconf user database). It answers in
// the shape the helper's property-list check does: each checked file's path
// to "OK" or its checker's message. Files of no known format are left out.
//
// The walk is bounded: it enters at most maxDepth levels of folders, looks at
// no more than maxFiles files, and does not read a file past maxFileSize (one
// that large is reported, not checked). It follows no link found inside the
// folder: a link to a folder is not entered and a link to a file is not
// checked, so the check stays inside the folder it was given (which may
// itself be reached through a link). FIFOs, sockets and devices are skipped.
// Files are checked several at a time on the global thread pool, and a cancel
// flag, read between files, ends the check early with what was checked so far.
class ConfigFolderCheck {
public:
    using Results = QMap<QString, QString>;

    static constexpr int maxDepth = 16;
    static constexpr qsizetype maxFiles = 20000;
    static constexpr qint64 maxFileSize = 16 * 1024 * 1024;

    static Results checkFolder(const QString& folder, const std::atomic<bool>* cancelled = nullptr);
    // Files named one by one; a missing file, a link or a file of no known
    // format has no entry.
    static Results checkFiles(const QStringList& paths,
                              const std::atomic<bool>* cancelled = nullptr);
    // The regular files below folder that checkFolder looks at, in the order
    // it finds them (names sorted within each folder).
    static QStringList regularFilesInFolder(const QString& folder,
                                            const std::atomic<bool>* cancelled = nullptr);
    // One file's verdict, or a null string for a file that is not checked.
    static QString checkFile(const QString& path);
};
