#include "helper/helper_file_operations.h"
#include "privileged/helper_protocol.h"

#include "sandbox.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kCannotMount = 77;

// In a private mount namespace: mounts a file system inside a tree, deletes
// the tree and answers 0 when the mounted file survived and the delete said
// so; kCannotMount when the machine does not allow the mount.
int deleteAroundAMount(const QString& home) {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return kCannotMount;
    const QString mountPoint = home + u"/Library/Caches/tree/mounted"_s;
    if (::mount("sorvane-test", QFile::encodeName(mountPoint).constData(), "tmpfs", 0, nullptr) !=
        0)
        return kCannotMount;
    QFile kept(mountPoint + u"/kept"_s);
    if (!kept.open(QIODevice::WriteOnly))
        return 2;
    kept.close();
    QString error;
    const auto target = AllowedPlaces(::getuid(), home)
                            .resolve(QFile::encodeName(home + u"/Library/Caches/tree"_s), &error);
    if (!target)
        return 3;
    const bool deleted = HelperFileOperations::deleteItem(*target, &error);
    const bool survived = QFileInfo::exists(mountPoint + u"/kept"_s);
    const bool sideGone = !QFileInfo::exists(home + u"/Library/Caches/tree/side"_s);
    ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
    if (deleted)
        return 4; // the tree cannot be gone while the mount is in it
    return survived && sideGone && error.contains(u"another file system"_s) ? 0 : 5;
}

// In a private mount namespace: binds a folder of root's (mode 0700) over a
// folder of the Library and asks for its mode and owner to change; answers 0
// when nothing changed and the refusal said why.
int changeAttributesOfAMount(const QString& home) {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return kCannotMount;
    const QByteArray source = QFile::encodeName(home + u"/../root-only"_s);
    const QString mountPoint = home + u"/Library/Caches/mounted"_s;
    if (::mount(source.constData(), QFile::encodeName(mountPoint).constData(), nullptr, MS_BIND,
                nullptr) != 0)
        return kCannotMount;
    struct stat before {};
    ::stat(source.constData(), &before);
    QString error;
    const auto target =
        AllowedPlaces(::getuid(), home).resolve(QFile::encodeName(mountPoint), &error);
    if (!target)
        return 3;
    const bool changed = HelperFileOperations::setAttributes(
        {{HelperProtocol::kFilePosixPermissions, 0777}}, *target, {::getuid(), ::getgid()}, &error);
    struct stat after {};
    ::stat(source.constData(), &after);
    ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
    if (changed)
        return 4;
    return before.st_mode == after.st_mode && error.contains(u"another file system"_s) ? 0 : 5;
}

} // namespace

TEST(HelperFileOperations, ChangesNoAttributeOfAMountPoint) {
    Sandbox sandbox;
    sandbox.makeFolder(sandbox.homePath(u"Library/Caches/mounted"_s));
    sandbox.makeFolder(sandbox.path() + u"/root-only"_s);
    ::chmod(QFile::encodeName(sandbox.path() + u"/root-only"_s).constData(), 0700);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        ::_exit(changeAttributesOfAMount(sandbox.home()));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kCannotMount)
        GTEST_SKIP() << "this machine does not allow a private mount namespace (unshare/mount)";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(HelperFileOperations, LeavesAMountPointInsideATreeAlone) {
    Sandbox sandbox;
    sandbox.makeFolder(sandbox.homePath(u"Library/Caches/tree/mounted"_s));
    sandbox.makeFile(sandbox.homePath(u"Library/Caches/tree/side"_s), "x");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        ::_exit(deleteAroundAMount(sandbox.home()));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kCannotMount)
        GTEST_SKIP() << "this machine does not allow a private mount namespace (unshare/mount)";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
