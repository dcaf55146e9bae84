#include "helper/helper_file_operations.h"

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
#include <grp.h>
#include <linux/openat2.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Target = AllowedPlaces::Target;

namespace {

// Bounds on one recursive delete or copy: deeper or larger trees are not
// what a Library holds, and the helper must not run unbounded as root.
constexpr int kMaxDepth = 128;
constexpr long kMaxEntries = 1000000;
constexpr uint64_t kResolveFlags =
    RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS | RESOLVE_NO_XDEV;

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

UniqueFd openBeneath(int rootFd, const QByteArray& relative, uint64_t flags, mode_t mode = 0) {
    open_how how{};
    how.flags = flags | O_CLOEXEC;
    how.mode = mode;
    how.resolve = kResolveFlags;
    return UniqueFd(
        static_cast<int>(::syscall(SYS_openat2, rootFd, relative.constData(), &how, sizeof(how))));
}

bool statNoFollow(int dirFd, const char* name, struct statx* info) {
    return ::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                   STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_UID | STATX_GID, info) == 0;
}

bool isMountPoint(const struct statx& info, const struct statx& parent) {
    const bool root = (info.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) &&
                      (info.stx_attributes & STATX_ATTR_MOUNT_ROOT);
    return root || info.stx_dev_major != parent.stx_dev_major ||
           info.stx_dev_minor != parent.stx_dev_minor;
}

// A settings folder below a home, no component of it followed if it is a
// link: a user's ~/.local planted as a link to /usr must not lead root there.
UniqueFd openSettingsFolder(int homeFd, const QList<QByteArray>& libraryPath) {
    UniqueFd folder(::fcntl(homeFd, F_DUPFD_CLOEXEC, 0));
    for (const QByteArray& step : libraryPath) {
        if (!folder.isValid())
            break;
        folder = UniqueFd(::openat(folder.get(), step.constData(),
                                   O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return folder;
}

// A target's settings folder (never followed if it is a link), the folder
// holding the target and the target's name in it.
struct Located {
    UniqueFd library;
    UniqueFd parent;
    QByteArray name;
    struct statx parentInfo {};
};

bool locate(const Target& target, Located* located, QString* error) {
    const QByteArray home =
        target.home.isEmpty() ? QByteArray("/") : QFile::encodeName(target.home);
    const UniqueFd homeFd(::open(home.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!homeFd.isValid())
        return fail(error, u"Cannot open %1: %2"_s.arg(target.home, systemError()));
    located->library = openSettingsFolder(homeFd.get(), target.libraryPath);
    if (!located->library.isValid())
        return fail(error,
                    u"Cannot open the Library folder of %1: %2"_s.arg(target.home, systemError()));
    QByteArray parent = target.components.mid(0, target.components.size() - 1).join('/');
    if (parent.isEmpty())
        parent = ".";
    located->parent = openBeneath(located->library.get(), parent, O_RDONLY | O_DIRECTORY);
    if (!located->parent.isValid())
        return fail(error,
                    u"Cannot reach the folder of %1: %2"_s.arg(target.path(), systemError()));
    located->name = target.components.last();
    if (::statx(located->parent.get(), "", AT_EMPTY_PATH, STATX_TYPE, &located->parentInfo) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(target.path(), systemError()));
    return true;
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
    DIR* listing = ::fdopendir(::dup(dirFd));
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

// Whether the caller's own rights grant `wanted` (rwx bits, as for "other").
bool callerHas(const struct stat& info, const HelperFileOperations::Caller& caller, mode_t wanted) {
    if (caller.uid == 0)
        return true;
    if (info.st_uid == caller.uid)
        return ((info.st_mode >> 6) & wanted) == wanted;
    bool inGroup = info.st_gid == caller.gid;
    if (!inGroup) {
        if (const passwd* user = ::getpwuid(caller.uid)) {
            gid_t groups[256];
            int count = 256;
            if (::getgrouplist(user->pw_name, caller.gid, groups, &count) >= 0) {
                for (int i = 0; i < count; ++i)
                    inGroup = inGroup || groups[i] == info.st_gid;
            }
        }
    }
    return (((inGroup ? info.st_mode >> 3 : info.st_mode)) & wanted) == wanted;
}

bool callerMayRead(const struct stat& info, const HelperFileOperations::Caller& caller) {
    return callerHas(info, caller, S_ISDIR(info.st_mode) ? 05 : 04);
}

bool copyChildren(int from, int to, const HelperFileOperations::Caller& caller, int depth,
                  Budget* budget, QString* error);

bool copyFileContents(int from, int to, QString* error) {
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(from, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0)
            return errno == EINTR || fail(error, u"Cannot read: %1"_s.arg(systemError()));
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(to, buffer + done, static_cast<size_t>(got - done));
            if (put < 0 && errno != EINTR)
                return fail(error, u"Cannot write: %1"_s.arg(systemError()));
            done += put > 0 ? put : 0;
        }
    }
}

// Copies the item `name` of folder `fromDir` as the new item `newName` of
// `toDir`, which must not exist yet.
bool copyEntry(int fromDir, const char* name, int toDir, const char* newName,
               const HelperFileOperations::Caller& caller, int depth, Budget* budget,
               QString* error) {
    if (++budget->entries > kMaxEntries)
        return fail(error, u"The folder holds too many items."_s);
    struct stat info {};
    if (::fstatat(fromDir, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(text(name), systemError()));
    if (S_ISLNK(info.st_mode)) {
        // A link is copied as a link: its target is never opened.
        char target[PATH_MAX];
        const ssize_t length = ::readlinkat(fromDir, name, target, sizeof target - 1);
        if (length < 0)
            return fail(error, u"Cannot read the link %1: %2"_s.arg(text(name), systemError()));
        target[length] = '\0';
        if (::symlinkat(target, toDir, newName) != 0)
            return fail(error,
                        u"Cannot create the link %1: %2"_s.arg(text(newName), systemError()));
        return true;
    }
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode))
        return fail(error, u"%1 is not a file or a folder."_s.arg(text(name)));
    const UniqueFd source(::openat(fromDir, name,
                                   O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
                                       (S_ISDIR(info.st_mode) ? O_DIRECTORY : 0)));
    if (!source.isValid() || ::fstat(source.get(), &info) != 0)
        return fail(error, u"Cannot open %1: %2"_s.arg(text(name), systemError()));
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode))
        return fail(error, u"%1 is not a file or a folder."_s.arg(text(name)));
    if (!callerMayRead(info, caller))
        return fail(error, u"You may not read %1."_s.arg(text(name)));
    const mode_t mode = info.st_mode & 0777;
    if (S_ISDIR(info.st_mode)) {
        if (depth >= kMaxDepth)
            return fail(error, u"The folder is nested too deeply."_s);
        if (::mkdirat(toDir, newName, 0700) != 0)
            return fail(error,
                        u"Cannot create the folder %1: %2"_s.arg(text(newName), systemError()));
        const UniqueFd folder(
            ::openat(toDir, newName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder.isValid())
            return fail(error, u"Cannot open %1: %2"_s.arg(text(newName), systemError()));
        return copyChildren(source.get(), folder.get(), caller, depth + 1, budget, error) &&
               (::fchmod(folder.get(), mode) == 0 ||
                fail(error, u"Cannot set the permissions: %1"_s.arg(systemError())));
    }
    const UniqueFd copy(
        ::openat(toDir, newName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!copy.isValid())
        return fail(error, u"Cannot create %1: %2"_s.arg(text(newName), systemError()));
    return copyFileContents(source.get(), copy.get(), error);
}

bool copyChildren(int from, int to, const HelperFileOperations::Caller& caller, int depth,
                  Budget* budget, QString* error) {
    DIR* listing = ::fdopendir(::dup(from));
    if (!listing)
        return fail(error, u"Cannot list a folder: %1"_s.arg(systemError()));
    bool ok = true;
    while (const dirent* entry = ::readdir(listing)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        if (!copyEntry(from, entry->d_name, to, entry->d_name, caller, depth, budget, error)) {
            ok = false;
            break;
        }
    }
    ::closedir(listing);
    return ok;
}

// Whether the caller may reach a source's folder by its own rights: search
// permission on its home, its Library and every folder down to the source.
bool callerMayReach(const Target& target, const HelperFileOperations::Caller& caller) {
    if (caller.uid == 0)
        return true;
    const QByteArray home =
        target.home.isEmpty() ? QByteArray("/") : QFile::encodeName(target.home);
    UniqueFd folder(::open(home.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    QList<QByteArray> steps = target.libraryPath;
    steps += target.components.mid(0, target.components.size() - 1);
    const auto searchable = [&caller](int fd) {
        struct stat info {};
        return fd >= 0 && ::fstat(fd, &info) == 0 && callerHas(info, caller, 01);
    };
    for (const QByteArray& step : steps) {
        if (!searchable(folder.get()))
            return false;
        folder = UniqueFd(::openat(folder.get(), step.constData(),
                                   O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return searchable(folder.get());
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
    Located from;
    Located to;
    if (!locate(source, &from, error) || !locate(destination, &to, error))
        return false;
    struct stat existing {};
    if (::fstatat(to.parent.get(), to.name.constData(), &existing, AT_SYMLINK_NOFOLLOW) == 0)
        return fail(error, u"The file %1 already exists."_s.arg(destination.path()));
    if (::fstatat(from.parent.get(), from.name.constData(), &existing, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(error, u"The file %1 does not exist."_s.arg(source.path()));
    if (S_ISLNK(existing.st_mode))
        return fail(error, u"%1 is a link."_s.arg(source.path()));
    if (!callerMayReach(source, caller))
        return fail(error, u"You may not read %1."_s.arg(source.path()));
    // Built under a name of its own beside the destination, then renamed into
    // place without replacing anything that appeared meanwhile.
    const QByteArray temporary = "." + to.name + ".sorvane-" +
                                 QByteArray::number(QRandomGenerator::system()->generate64(), 36);
    Budget budget;
    if (!copyEntry(from.parent.get(), from.name.constData(), to.parent.get(), temporary.constData(),
                   caller, 0, &budget, error)) {
        removeQuietly(to.parent.get(), temporary);
        return false;
    }
    if (::renameat2(to.parent.get(), temporary.constData(), to.parent.get(), to.name.constData(),
                    RENAME_NOREPLACE) != 0) {
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
    // helper; it is refused below.
    const UniqueFd file(::openat(located.parent.get(), located.name.constData(),
                                 O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isValid())
        return fail(error, u"Cannot open %1: %2"_s.arg(target.path(), systemError()));
    struct stat info {};
    if (::fstat(file.get(), &info) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(target.path(), systemError()));
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
