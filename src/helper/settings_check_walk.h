#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

// The settings check over one folder, by descriptor: it lists folders and
// opens files only through descriptors of the folder it was given, never
// follows a link, never leaves the folder's file system, and looks at
// regular files only. Whatever runs it decides with whose rights: the helper
// runs it in a child process that has become the caller, so that a caller
// learns nothing of a file it could not read itself.
//
// Files are taken in a fixed order (names sorted byte-wise, a folder's files
// before its subfolders), so that a walk started again can skip the files
// an earlier one began. Each file is announced before it is parsed and its
// verdict follows: a parse that never returns a verdict is the file's fault.
class SettingsCheckWalk {
public:
    enum class Mode {
        PropertyLists, // "*.plist" files, each checked as a property list
        ConfigFiles,   // every file of a known format, checked by its format
    };

    // No preferences folder holds this many files or this deep a tree, and
    // no settings file is this large.
    static constexpr int maxDepth = 32;
    static constexpr qsizetype maxFiles = 100000;
    static constexpr qint64 maxFileSize = 16 * 1024 * 1024;

    using Begin = std::function<void(const QString& path)>;
    // A null verdict: the file is not one to report (one the walk may not
    // read tells nothing about itself).
    using Verdict = std::function<void(const QString& verdict)>;

    SettingsCheckWalk(Mode mode, Begin begin, Verdict verdict);

    // folderFd: the folder, opened for reading; shown: its path as results
    // name it. The first `skip` files are passed over unread.
    void run(int folderFd, const QString& shown, qsizetype skip);

    // What a file that could not be checked within the bounds is told.
    static QString tooLarge(Mode mode, const QString& path);

private:
    void walkFolder(int folderFd, const QString& shown, int depth);
    void checkFile(int folderFd, const QByteArray& name, const QString& path);

    Mode mode_;
    Begin begin_;
    Verdict verdict_;
    qsizetype skip_ = 0;
    qsizetype seen_ = 0;
};
