#include "helper/settings_check_walk.h"

#include "helper/place_descriptors.h"
#include "helper/unique_fd.h"
#include "linux/config_checker.h"
#include "platform/plist_checker.h"

#include <QFile>
#include <QList>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct Entries {
    QList<QByteArray> files;
    QList<QByteArray> folders;
};

// The folder's regular files and subfolders on the same file system, in
// byte order; links, devices, FIFOs and sockets are left out.
Entries entriesOf(int folderFd) {
    Entries entries;
    DIR* listing = ::fdopendir(::fcntl(folderFd, F_DUPFD_CLOEXEC, 0));
    if (!listing)
        return entries;
    // fdopendir shares the offset of the descriptor it was given.
    ::rewinddir(listing);
    struct statx folderInfo {};
    ::statx(folderFd, "", AT_EMPTY_PATH, STATX_TYPE, &folderInfo);
    while (const dirent* entry = ::readdir(listing)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        struct statx info {};
        if (!PlaceDescriptors::statNoFollow(folderFd, entry->d_name, &info))
            continue;
        if (S_ISREG(info.stx_mode))
            entries.files.append(QByteArray(entry->d_name));
        else if (S_ISDIR(info.stx_mode) && !PlaceDescriptors::isMountPoint(info, folderInfo))
            entries.folders.append(QByteArray(entry->d_name));
    }
    ::closedir(listing);
    std::sort(entries.files.begin(), entries.files.end());
    std::sort(entries.folders.begin(), entries.folders.end());
    return entries;
}

bool isPropertyListName(const QByteArray& name) {
    return name.toLower().endsWith(".plist");
}

// Reads at most limit + 1 bytes, so that a file that grew past the bound
// since it was measured shows it.
QByteArray readUpTo(int fd, qint64 limit, bool* ok) {
    QByteArray data;
    char buffer[65536];
    *ok = true;
    while (data.size() <= limit) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got == 0)
            break;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            *ok = false;
            break;
        }
        data.append(buffer, got);
    }
    return data;
}

} // namespace

SettingsCheckWalk::SettingsCheckWalk(Mode mode, Begin begin, Verdict verdict)
    : mode_(mode)
    , begin_(std::move(begin))
    , verdict_(std::move(verdict)) {}

QString SettingsCheckWalk::tooLarge(Mode mode, const QString& path) {
    if (mode == Mode::PropertyLists)
        return u"%1: the file is too large to check"_s.arg(path);
    return ConfigChecker::failure(
        ConfigChecker::Fault::FileTooLarge, u"File too large to check"_s,
        u"File too large to check: more than %1 bytes, or more memory than a check may take"_s.arg(
            maxFileSize));
}

void SettingsCheckWalk::run(int folderFd, const QString& shown, qsizetype skip) {
    skip_ = skip;
    seen_ = 0;
    walkFolder(folderFd, shown, 0);
}

void SettingsCheckWalk::walkFolder(int folderFd, const QString& shown, int depth) {
    const Entries entries = entriesOf(folderFd);
    for (const QByteArray& name : entries.files) {
        if (seen_ >= maxFiles)
            return;
        if (mode_ == Mode::PropertyLists && !isPropertyListName(name))
            continue;
        checkFile(folderFd, name, shown + u'/' + QFile::decodeName(name));
    }
    if (depth >= maxDepth)
        return;
    for (const QByteArray& name : entries.folders) {
        if (seen_ >= maxFiles)
            return;
        const UniqueFd sub(
            ::openat(folderFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (sub.isValid())
            walkFolder(sub.get(), shown + u'/' + QFile::decodeName(name), depth + 1);
    }
}

void SettingsCheckWalk::checkFile(int folderFd, const QByteArray& name, const QString& path) {
    // Not following a link put in the file's place since it was listed, and
    // not blocking on a FIFO.
    const UniqueFd file(::openat(folderFd, name.constData(),
                                 O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info {};
    const bool regular = file.isValid() && ::fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode);
    if (file.isValid() && !regular)
        return;
    QByteArray head;
    bool readOk = true;
    if (mode_ == Mode::ConfigFiles) {
        if (regular)
            head = readUpTo(file.get(), ConfigChecker::headSize - 1, &readOk);
        if (ConfigChecker::formatOf(path, head) == ConfigChecker::Format::Unknown)
            return;
    }
    if (++seen_ <= skip_)
        return;
    begin_(path);
    // A file the walk may not read has no verdict: the check tells nothing
    // that reading the file would not.
    if (!regular || !readOk) {
        verdict_(QString());
        return;
    }
    if (info.st_size > maxFileSize) {
        verdict_(tooLarge(mode_, path));
        return;
    }
    QByteArray data = readUpTo(file.get(), maxFileSize - head.size(), &readOk);
    data.prepend(head);
    if (!readOk)
        verdict_(QString());
    else if (data.size() > maxFileSize)
        verdict_(tooLarge(mode_, path));
    else if (mode_ == Mode::PropertyLists)
        verdict_(PlistChecker::check(data));
    else
        verdict_(ConfigChecker::check(path, data));
}
