#include "helper/helper_file_operations.h"

#include "helper/place_descriptors.h"
#include "helper/thread_credentials.h"
#include "helper/unique_fd.h"
#include "privileged/helper_protocol.h"

#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Target = AllowedPlaces::Target;
using Identity = CallerIdentity;

namespace {

constexpr int kMaxDepth = HelperFileOperations::kMaxDepth;
constexpr long kMaxEntries = HelperFileOperations::kMaxEntries;
constexpr qint64 kMaxCopyBytes = HelperFileOperations::kMaxCopyBytes;

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

QString text(const QByteArray& name) {
    return QString::fromUtf8(name);
}

bool statNoFollow(int dirFd, const char* name, struct statx* info) {
    return PlaceDescriptors::statNoFollow(dirFd, name, info);
}

bool isMountPoint(const struct statx& info, const struct statx& parent) {
    return PlaceDescriptors::isMountPoint(info, parent);
}

using Located = PlaceDescriptors::Located;

bool locate(const Target& target, Located* located, QString* error) {
    return PlaceDescriptors::locate(target, located, error);
}

struct Budget {
    long entries = 0;
};

bool removeChildren(int dirFd, const struct statx& dirInfo, int depth, Budget* budget,
                    QString* error);

bool removeEntry(int dirFd, const struct statx& dirInfo, const char* name, int depth,
                 Budget* budget, QString* error) {
    if (++budget->entries > kMaxEntries)
        return fail(error, u"The folder holds too many items."_s);
    struct statx info {};
    if (!statNoFollow(dirFd, name, &info))
        return errno == ENOENT ||
               fail(error, u"Cannot read %1: %2"_s.arg(text(name), systemError()));
    if (!S_ISDIR(info.stx_mode)) {
        if (::unlinkat(dirFd, name, 0) != 0 && errno != ENOENT)
            return fail(error, u"Cannot remove %1: %2"_s.arg(text(name), systemError()));
        return true;
    }
    if (isMountPoint(info, dirInfo))
        return fail(error, u"%1 is another file system: it is left alone."_s.arg(text(name)));
    if (depth >= kMaxDepth)
        return fail(error, u"The folder is nested too deeply."_s);
    const UniqueFd sub(::openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!sub.isValid()) {
        // Swapped for a link or a file since it was looked at: remove that
        // item itself, never what it points to.
        if ((errno == ELOOP || errno == ENOTDIR) && ::unlinkat(dirFd, name, 0) == 0)
            return true;
        return fail(error, u"Cannot open %1: %2"_s.arg(text(name), systemError()));
    }
    struct statx opened {};
    if (::statx(sub.get(), "", AT_EMPTY_PATH, STATX_TYPE, &opened) != 0 ||
        isMountPoint(opened, dirInfo))
        return fail(error, u"%1 is another file system: it is left alone."_s.arg(text(name)));
    if (!removeChildren(sub.get(), opened, depth + 1, budget, error))
        return false;
    if (::unlinkat(dirFd, name, AT_REMOVEDIR) != 0 && errno != ENOENT)
        return fail(error, u"Cannot remove the folder %1: %2"_s.arg(text(name), systemError()));
    return true;
}

bool removeChildren(int dirFd, const struct statx& dirInfo, int depth, Budget* budget,
                    QString* error) {
    DIR* listing = ::fdopendir(::fcntl(dirFd, F_DUPFD_CLOEXEC, 0));
    if (!listing)
        return fail(error, u"Cannot list a folder: %1"_s.arg(systemError()));
    // One item that must stay (a mount point) does not keep the rest; the
    // first reason is the one reported.
    bool ok = true;
    while (const dirent* entry = ::readdir(listing)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        QString reason;
        if (!removeEntry(dirFd, dirInfo, entry->d_name, depth, budget, &reason)) {
            if (ok && error)
                *error = reason;
            ok = false;
            if (budget->entries > kMaxEntries)
                break;
        }
    }
    ::closedir(listing);
    return ok;
}

// One copy: whose rights read the source and whose write the destination,
// and what it has used of its bounds so far.
struct Copy {
    const Identity& reader;
    const Identity& writer;
    long entries = 0;
    qint64 bytes = 0;
};

bool copyChildren(int from, int to, Copy* copy, int depth, QString* error);

bool copyFileContents(int from, int to, Copy* copy, QString* error) {
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(from, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return fail(error, u"Cannot read: %1"_s.arg(systemError()));
        }
        // A file that grows while it is copied is held to the bound too.
        copy->bytes += got;
        if (copy->bytes > kMaxCopyBytes)
            return fail(error, u"The copy would be larger than %1 bytes."_s.arg(kMaxCopyBytes));
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(to, buffer + done, static_cast<size_t>(got - done));
            if (put < 0 && errno != EINTR)
                return fail(error, u"Cannot write: %1"_s.arg(systemError()));
            done += put > 0 ? put : 0;
        }
    }
}

// What the source side of one item is, read with the caller's rights: its
// statx, the opened item (a file or folder) or a link's target.
struct SourceItem {
    struct statx info {};
    UniqueFd fd;
    QByteArray linkTarget;
};

bool readSource(int fromDir, const char* name, const Identity& reader, SourceItem* item,
                QString* error) {
    const ThreadCredentials as(reader);
    if (!as.isActive())
        return fail(error, u"Cannot act with your rights."_s);
    if (!statNoFollow(fromDir, name, &item->info))
        return fail(error, errno == EACCES
                               ? u"You may not read %1."_s.arg(text(name))
                               : u"Cannot read %1: %2"_s.arg(text(name), systemError()));
    if (S_ISLNK(item->info.stx_mode)) {
        // A link is copied as a link: its target is never opened.
        char target[PATH_MAX];
        const ssize_t length = ::readlinkat(fromDir, name, target, sizeof target - 1);
        if (length < 0)
            return fail(error, u"Cannot read the link %1: %2"_s.arg(text(name), systemError()));
        item->linkTarget = QByteArray(target, length);
        return true;
    }
    if (!S_ISREG(item->info.stx_mode) && !S_ISDIR(item->info.stx_mode))
        return fail(error, u"%1 is not a file or a folder."_s.arg(text(name)));
    const bool folder = S_ISDIR(item->info.stx_mode);
    item->fd = UniqueFd(::openat(fromDir, name,
                                 O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
                                     (folder ? O_DIRECTORY : 0)));
    if (!item->fd.isValid())
        return fail(error, errno == EACCES
                               ? u"You may not read %1."_s.arg(text(name))
                               : u"Cannot open %1: %2"_s.arg(text(name), systemError()));
    struct statx parent {};
    if (::statx(item->fd.get(), "", AT_EMPTY_PATH, STATX_TYPE | STATX_MODE | STATX_SIZE,
                &item->info) != 0 ||
        ::statx(fromDir, "", AT_EMPTY_PATH, STATX_TYPE, &parent) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(text(name), systemError()));
    if (S_ISDIR(item->info.stx_mode) != folder || (!folder && !S_ISREG(item->info.stx_mode)))
        return fail(error, u"%1 is not a file or a folder."_s.arg(text(name)));
    if (isMountPoint(item->info, parent))
        return fail(error, u"%1 is another file system: it is left alone."_s.arg(text(name)));
    return true;
}

// Copies the item `name` of folder `fromDir` as the new item `newName` of
// `toDir`, which must not exist yet.
bool copyEntry(int fromDir, const char* name, int toDir, const char* newName, Copy* copy, int depth,
               QString* error) {
    if (++copy->entries > kMaxEntries)
        return fail(error, u"The folder holds too many items."_s);
    SourceItem source;
    if (!readSource(fromDir, name, copy->reader, &source, error))
        return false;
    const bool folder = S_ISDIR(source.info.stx_mode);
    if (folder && depth >= kMaxDepth)
        return fail(error, u"The folder is nested too deeply."_s);
    if (!folder && source.linkTarget.isNull() &&
        copy->bytes + static_cast<qint64>(source.info.stx_size) > kMaxCopyBytes)
        return fail(error, u"The copy would be larger than %1 bytes."_s.arg(kMaxCopyBytes));
    const ThreadCredentials as(copy->writer);
    if (!as.isActive())
        return fail(error, u"Cannot act as the owner of the destination."_s);
    if (!source.linkTarget.isNull()) {
        if (::symlinkat(source.linkTarget.constData(), toDir, newName) != 0)
            return fail(error,
                        u"Cannot create the link %1: %2"_s.arg(text(newName), systemError()));
        return true;
    }
    // The umask of the helper would narrow the mode; it is set in full below.
    const mode_t mode = source.info.stx_mode & 0777;
    if (folder) {
        if (::mkdirat(toDir, newName, 0700) != 0)
            return fail(error,
                        u"Cannot create the folder %1: %2"_s.arg(text(newName), systemError()));
        const UniqueFd created(
            ::openat(toDir, newName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!created.isValid())
            return fail(error, u"Cannot open %1: %2"_s.arg(text(newName), systemError()));
        return copyChildren(source.fd.get(), created.get(), copy, depth + 1, error) &&
               (::fchmod(created.get(), mode) == 0 ||
                fail(error, u"Cannot set the permissions: %1"_s.arg(systemError())));
    }
    const UniqueFd created(
        ::openat(toDir, newName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!created.isValid())
        return fail(error, u"Cannot create %1: %2"_s.arg(text(newName), systemError()));
    return copyFileContents(source.fd.get(), created.get(), copy, error) &&
           (::fchmod(created.get(), mode) == 0 ||
            fail(error, u"Cannot set the permissions: %1"_s.arg(systemError())));
}

bool copyChildren(int from, int to, Copy* copy, int depth, QString* error) {
    DIR* listing = ::fdopendir(::fcntl(from, F_DUPFD_CLOEXEC, 0));
    if (!listing)
        return fail(error, u"Cannot list a folder: %1"_s.arg(systemError()));
    bool ok = true;
    while (const dirent* entry = ::readdir(listing)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        if (!copyEntry(from, entry->d_name, to, entry->d_name, copy, depth, error)) {
            ok = false;
            break;
        }
    }
    ::closedir(listing);
    return ok;
}

// Who writes a copy: the owner of a user's Library, so that the copy is
// theirs; root in the system's and root's Library.
Identity writerFor(const Target& destination) {
    switch (destination.kind) {
    case AllowedPlaces::Kind::CallerLibrary:
    case AllowedPlaces::Kind::OtherUserLibrary:
        return Identity::ofUser(destination.libraryUser);
    case AllowedPlaces::Kind::SystemLibrary:
    case AllowedPlaces::Kind::RootLibrary:
        break;
    }
    return Identity::root();
}

void removeQuietly(int dirFd, const QByteArray& name) {
    struct statx dirInfo {};
    if (::statx(dirFd, "", AT_EMPTY_PATH, STATX_TYPE, &dirInfo) != 0)
        return;
    Budget budget;
    QString ignored;
    removeEntry(dirFd, dirInfo, name.constData(), 0, &budget, &ignored);
}

bool toInteger(const QVariant& value, qlonglong* result) {
    bool ok = false;
    *result = value.toLongLong(&ok);
    return ok;
}

gid_t primaryGroup(uid_t uid) {
    const passwd* user = ::getpwuid(uid);
    return user ? user->pw_gid : static_cast<gid_t>(-1);
}

// Who may be made a target's owner: the user whose Library it is for a
// user's Library, the caller in the system's, the caller or root in root's.
bool mayGiveTo(uid_t owner, const Target& target, const HelperFileOperations::Caller& caller) {
    switch (target.kind) {
    case AllowedPlaces::Kind::CallerLibrary:
    case AllowedPlaces::Kind::OtherUserLibrary:
        return owner == target.libraryUser;
    case AllowedPlaces::Kind::SystemLibrary:
        return owner == caller.uid;
    case AllowedPlaces::Kind::RootLibrary:
        return owner == caller.uid || owner == 0;
    }
    return false;
}

bool mayGiveToGroup(gid_t group, const Target& target, const HelperFileOperations::Caller& caller) {
    if (target.kind == AllowedPlaces::Kind::RootLibrary && group == 0)
        return true;
    if (target.kind == AllowedPlaces::Kind::SystemLibrary)
        return group == caller.gid;
    return group == primaryGroup(target.libraryUser) ||
           (target.kind == AllowedPlaces::Kind::CallerLibrary && group == caller.gid);
}

} // namespace

bool HelperFileOperations::deleteItem(const Target& target, QString* error) {
    Located located;
    if (!locate(target, &located, error))
        return false;
    struct statx info {};
    if (!statNoFollow(located.parent.get(), located.name.constData(), &info))
        return fail(error, u"The file %1 does not exist."_s.arg(target.path()));
    Budget budget;
    QString reason;
    if (!removeEntry(located.parent.get(), located.parentInfo, located.name.constData(), 0, &budget,
                     &reason))
        return fail(error, u"Cannot remove %1: %2"_s.arg(target.path(), reason));
    return true;
}

bool HelperFileOperations::copyItem(const Target& source, const Target& destination,
                                    const Caller& caller, QString* error) {
    const Identity writer = writerFor(destination);
    Located from;
    Located to;
    struct stat existing {};
    {
        // The source is reached as the caller: every folder on the way is
        // searched with the caller's own rights.
        const ThreadCredentials as(caller);
        if (!as.isActive())
            return fail(error, u"Cannot act with your rights."_s);
        if (!locate(source, &from, error))
            return false;
    }
    {
        const ThreadCredentials as(writer);
        if (!as.isActive())
            return fail(error, u"Cannot act as the owner of %1."_s.arg(destination.path()));
        if (!locate(destination, &to, error))
            return false;
        if (::fstatat(to.parent.get(), to.name.constData(), &existing, AT_SYMLINK_NOFOLLOW) == 0)
            return fail(error, u"The file %1 already exists."_s.arg(destination.path()));
    }
    {
        const ThreadCredentials as(caller);
        if (::fstatat(from.parent.get(), from.name.constData(), &existing, AT_SYMLINK_NOFOLLOW) !=
            0)
            return fail(error, errno == EACCES
                                   ? u"You may not read %1."_s.arg(source.path())
                                   : u"The file %1 does not exist."_s.arg(source.path()));
    }
    if (S_ISLNK(existing.st_mode))
        return fail(error, u"%1 is a link."_s.arg(source.path()));
    // Built under a name of its own beside the destination, then renamed into
    // place without replacing anything that appeared meanwhile.
    const QByteArray temporary = "." + to.name + ".sorvane-" +
                                 QByteArray::number(QRandomGenerator::system()->generate64(), 36);
    Copy copy{caller, writer};
    if (!copyEntry(from.parent.get(), from.name.constData(), to.parent.get(), temporary.constData(),
                   &copy, 0, error)) {
        removeQuietly(to.parent.get(), temporary);
        return false;
    }
    int renamed = 0;
    {
        const ThreadCredentials as(writer);
        renamed = ::renameat2(to.parent.get(), temporary.constData(), to.parent.get(),
                              to.name.constData(), RENAME_NOREPLACE);
    }
    if (renamed != 0) {
        const QString reason = systemError();
        removeQuietly(to.parent.get(), temporary);
        return fail(error, u"Cannot copy to %1: %2"_s.arg(destination.path(), reason));
    }
    return true;
}

bool HelperFileOperations::setAttributes(const QVariantMap& attributes, const Target& target,
                                         const Caller& caller, QString* error) {
    const QStringList known{
        HelperProtocol::kFilePosixPermissions, HelperProtocol::kFileOwnerAccountID,
        HelperProtocol::kFileGroupOwnerAccountID, HelperProtocol::kFileModificationDate};
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        if (!known.contains(it.key()))
            return fail(error, u"Unsupported file attribute %1."_s.arg(it.key()));
    }
    qlonglong number = 0;
    mode_t mode = static_cast<mode_t>(-1);
    if (attributes.contains(HelperProtocol::kFilePosixPermissions)) {
        if (!toInteger(attributes.value(HelperProtocol::kFilePosixPermissions), &number))
            return fail(error, u"The permissions are not a number."_s);
        if (number < 0 || number > 0777)
            return fail(error, u"The permissions %1 are not allowed."_s.arg(number, 0, 8));
        mode = static_cast<mode_t>(number);
    }
    uid_t owner = static_cast<uid_t>(-1);
    gid_t group = static_cast<gid_t>(-1);
    if (attributes.contains(HelperProtocol::kFileOwnerAccountID)) {
        if (!toInteger(attributes.value(HelperProtocol::kFileOwnerAccountID), &number) ||
            number < 0 || number >= 0xffffffffLL)
            return fail(error, u"The owner id is not a number."_s);
        owner = static_cast<uid_t>(number);
        if (!mayGiveTo(owner, target, caller))
            return fail(error, u"The owner %1 is not allowed here."_s.arg(number));
    }
    if (attributes.contains(HelperProtocol::kFileGroupOwnerAccountID)) {
        if (!toInteger(attributes.value(HelperProtocol::kFileGroupOwnerAccountID), &number) ||
            number < 0 || number >= 0xffffffffLL)
            return fail(error, u"The group id is not a number."_s);
        group = static_cast<gid_t>(number);
        if (!mayGiveToGroup(group, target, caller))
            return fail(error, u"The group %1 is not allowed here."_s.arg(number));
    }
    struct timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    const bool dated = attributes.contains(HelperProtocol::kFileModificationDate);
    if (dated) {
        const QVariant value = attributes.value(HelperProtocol::kFileModificationDate);
        const QDateTime date = value.typeId() == QMetaType::QDateTime
                                   ? value.toDateTime()
                                   : QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        if (!date.isValid())
            return fail(error, u"The modification date is not a date."_s);
        const qint64 ms = date.toMSecsSinceEpoch();
        // The access time is left as it is.
        times[1] = {static_cast<time_t>(ms / 1000), static_cast<long>((ms % 1000) * 1000000)};
    }

    Located located;
    if (!locate(target, &located, error))
        return false;
    // Non-blocking, so that a FIFO put in the file's place cannot hold the
    // helper; it is refused below. A mount point is not entered: deletion
    // leaves one alone, and so does every other change.
    const UniqueFd file = PlaceDescriptors::openBeneath(located.parent.get(), located.name,
                                                        O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!file.isValid())
        return fail(error,
                    errno == EXDEV
                        ? u"%1 is another file system: it is left alone."_s.arg(target.path())
                        : u"Cannot open %1: %2"_s.arg(target.path(), systemError()));
    struct stat info {};
    struct statx opened {};
    if (::fstat(file.get(), &info) != 0 ||
        ::statx(file.get(), "", AT_EMPTY_PATH, STATX_TYPE, &opened) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(target.path(), systemError()));
    if (isMountPoint(opened, located.parentInfo))
        return fail(error, u"%1 is another file system: it is left alone."_s.arg(target.path()));
    if (!(S_ISREG(info.st_mode) && info.st_nlink == 1) && !S_ISDIR(info.st_mode))
        return fail(error,
                    u"%1 is not a file with a single link or a folder."_s.arg(target.path()));
    if (mode != static_cast<mode_t>(-1) && ::fchmod(file.get(), mode) != 0)
        return fail(error,
                    u"Cannot change the permissions of %1: %2"_s.arg(target.path(), systemError()));
    if ((owner != static_cast<uid_t>(-1) || group != static_cast<gid_t>(-1)) &&
        ::fchown(file.get(), owner, group) != 0)
        return fail(error,
                    u"Cannot change the owner of %1: %2"_s.arg(target.path(), systemError()));
    if (dated && ::futimens(file.get(), times) != 0)
        return fail(error, u"Cannot change the date of %1: %2"_s.arg(target.path(), systemError()));
    return true;
}
