#include "helper/helper_file_operations.h"

#include "sandbox.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
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

} // namespace

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
