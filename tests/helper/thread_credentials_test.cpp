// A thread of the helper acting as a plain user: the kernel checks its opens
// as that user's, ACLs included, and no other thread is affected.
#include "helper/thread_credentials.h"

#include "sandbox.h"

#include <QFile>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr uid_t kNobody = 65534;

bool canOpen(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (fd >= 0)
        ::close(fd);
    return fd >= 0;
}

// Owner rw, a named user's bits, group and others r, as an access ACL.
bool denyUser(const QString& path, uid_t user) {
    const unsigned char acl[] = {2,
                                 0,
                                 0,
                                 0, // version
                                 1,
                                 0,
                                 6,
                                 0,
                                 0xff,
                                 0xff,
                                 0xff,
                                 0xff, // owner rw
                                 2,
                                 0,
                                 0,
                                 0,
                                 static_cast<unsigned char>(user), // user ---
                                 static_cast<unsigned char>(user >> 8),
                                 0,
                                 0,
                                 4,
                                 0,
                                 4,
                                 0,
                                 0xff,
                                 0xff,
                                 0xff,
                                 0xff, // group r
                                 16,
                                 0,
                                 4,
                                 0,
                                 0xff,
                                 0xff,
                                 0xff,
                                 0xff, // mask r
                                 32,
                                 0,
                                 4,
                                 0,
                                 0xff,
                                 0xff,
                                 0xff,
                                 0xff}; // other r
    return ::setxattr(QFile::encodeName(path).constData(), "system.posix_acl_access", acl,
                      sizeof acl, 0) == 0;
}

} // namespace

TEST(ThreadCredentials, OpensAsTheUserAndOnlyOnItsOwnThread) {
    if (!runningAsRoot())
        GTEST_SKIP() << "only root can act as another user";
    Sandbox sandbox;
    ::chmod(QFile::encodeName(sandbox.path()).constData(), 0755);
    ::chmod(QFile::encodeName(sandbox.home()).constData(), 0755);
    const QString open = sandbox.makeFile(sandbox.homePath(u"open"_s), "x");
    const QString closed = sandbox.makeFile(sandbox.homePath(u"closed"_s), "x");
    ::chmod(QFile::encodeName(closed).constData(), 0600);
    const QString denied = sandbox.makeFile(sandbox.homePath(u"denied"_s), "x");
    const bool acls = denyUser(denied, kNobody);

    bool asNobody[3] = {};
    std::atomic<int> stage{0};
    std::thread other([&] {
        const ThreadCredentials as(CallerIdentity::ofUser(kNobody));
        EXPECT_TRUE(as.isActive());
        asNobody[0] = canOpen(open);
        asNobody[1] = canOpen(closed);
        asNobody[2] = canOpen(denied);
        // Held as nobody while the test's own thread looks.
        stage = 1;
        while (stage.load() != 2)
            std::this_thread::yield();
    });
    while (stage.load() != 1)
        std::this_thread::yield();
    const bool rootMeanwhile = canOpen(closed);
    stage = 2;
    other.join();

    EXPECT_TRUE(asNobody[0]);
    EXPECT_FALSE(asNobody[1]) << "mode 0600 of root's";
    if (acls) {
        EXPECT_FALSE(asNobody[2]) << "readable by mode, denied by ACL";
    }
    EXPECT_TRUE(rootMeanwhile);
    EXPECT_TRUE(canOpen(closed)) << "back to root when the object goes";
}
