#include "helper/place_descriptors.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

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

QByteArray homeOf(const AllowedPlaces::Target& target) {
    return target.home.isEmpty() ? QByteArray("/") : QFile::encodeName(target.home);
}

} // namespace

UniqueFd PlaceDescriptors::openBeneath(int rootFd, const QByteArray& relative, uint64_t flags,
                                       mode_t mode) {
    open_how how{};
    how.flags = flags | O_CLOEXEC;
    how.mode = mode;
    how.resolve = kResolveFlags;
    return UniqueFd(
        static_cast<int>(::syscall(SYS_openat2, rootFd, relative.constData(), &how, sizeof(how))));
}

UniqueFd PlaceDescriptors::openSettingsFolder(const AllowedPlaces::Target& target, QString* error) {
    UniqueFd folder(::open(homeOf(target).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isValid()) {
        fail(error, u"Cannot open %1: %2"_s.arg(target.home, systemError()));
        return folder;
    }
    for (const QByteArray& step : target.libraryPath) {
        folder = UniqueFd(::openat(folder.get(), step.constData(),
                                   O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder.isValid()) {
            fail(error,
                 u"Cannot open the Library folder of %1: %2"_s.arg(target.home, systemError()));
            break;
        }
    }
    return folder;
}

bool PlaceDescriptors::locate(const AllowedPlaces::Target& target, Located* located,
                              QString* error) {
    if (target.components.isEmpty())
        return fail(error, u"%1 is a settings folder itself."_s.arg(target.path()));
    located->library = openSettingsFolder(target, error);
    if (!located->library.isValid())
        return false;
    QByteArray parent = target.components.mid(0, target.components.size() - 1).join('/');
    if (parent.isEmpty())
        parent = ".";
    located->parent = openBeneath(located->library.get(), parent, O_PATH | O_DIRECTORY);
    if (!located->parent.isValid())
        return fail(error,
                    u"Cannot reach the folder of %1: %2"_s.arg(target.path(), systemError()));
    located->name = target.components.last();
    if (::statx(located->parent.get(), "", AT_EMPTY_PATH, STATX_TYPE, &located->parentInfo) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(target.path(), systemError()));
    return true;
}

UniqueFd PlaceDescriptors::openFolder(const AllowedPlaces::Target& target, QString* error) {
    const UniqueFd library = openSettingsFolder(target, error);
    if (!library.isValid())
        return UniqueFd();
    const QByteArray relative =
        target.components.isEmpty() ? QByteArray(".") : target.components.join('/');
    UniqueFd folder = openBeneath(library.get(), relative, O_RDONLY | O_DIRECTORY);
    if (!folder.isValid())
        fail(error, errno == ENOENT ? u"There is no folder at %1."_s.arg(target.path())
                                    : u"Cannot open %1: %2"_s.arg(target.path(), systemError()));
    return folder;
}

bool PlaceDescriptors::statNoFollow(int dirFd, const char* name, struct statx* info) {
    return ::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                   STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_UID | STATX_GID | STATX_SIZE,
                   info) == 0;
}

bool PlaceDescriptors::isMountPoint(const struct statx& info, const struct statx& parent) {
    const bool root = (info.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) &&
                      (info.stx_attributes & STATX_ATTR_MOUNT_ROOT);
    return root || info.stx_dev_major != parent.stx_dev_major ||
           info.stx_dev_minor != parent.stx_dev_minor;
}
