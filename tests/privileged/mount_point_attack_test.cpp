// A root-owned folder bind-mounted into a plain user's Library: the real
// helper changes nothing of it, as it deletes nothing of it. The test runs
// again in a private mount namespace, so the mount is gone with it.
#include "unprivileged_helper_fixture.h"

#include <QCoreApplication>
#include <QDBusVariant>
#include <QProcess>
#include <QStandardPaths>

#include <sys/mount.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

const char* const kInNamespace = "SORVANE_TEST_IN_MOUNT_NAMESPACE";

// This test again, in a child in a mount namespace of its own.
RerunResult rerunInMountNamespace() {
    RerunResult result;
    const QString unshare = QStandardPaths::findExecutable(u"unshare"_s);
    if (unshare.isEmpty()) {
        result.output = u"unshare is not installed"_s;
        return result;
    }
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(kInNamespace), u"1"_s);
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(unshare, {u"--mount"_s, u"--propagation"_s, u"private"_s,
                          QCoreApplication::applicationFilePath(),
                          u"--gtest_filter=%1.%2"_s.arg(QString::fromUtf8(info->test_suite_name()),
                                                        QString::fromUtf8(info->name()))});
    if (!child.waitForFinished(120000)) {
        result.output = u"the run in a mount namespace did not finish"_s;
        return result;
    }
    result.output = QString::fromUtf8(child.readAll());
    if (child.exitStatus() != QProcess::NormalExit || !result.output.contains(u"[==========]"_s)) {
        result.output.prepend(u"no mount namespace here: "_s);
        return result;
    }
    if (result.output.contains(u"[  SKIPPED ]"_s))
        return result;
    result.ran = true;
    result.passed = child.exitCode() == 0 && result.output.contains(u"[  PASSED  ] 1 test."_s);
    return result;
}

struct Snapshot {
    mode_t mode;
    uid_t uid;
    gid_t gid;
    bool operator==(const Snapshot&) const = default;
};

Snapshot snapshotOf(const QString& path) {
    struct stat info {};
    ::lstat(QFile::encodeName(path).constData(), &info);
    return {info.st_mode, info.st_uid, info.st_gid};
}

} // namespace

TEST_F(UnprivilegedHelperTest, ChangingAttributesLeavesAMountPointAlone) {
    if (!qEnvironmentVariableIsSet(kInNamespace)) {
        const RerunResult run = rerunInMountNamespace();
        if (!run.ran)
            GTEST_SKIP() << run.output.toStdString();
        EXPECT_TRUE(run.passed) << run.output.toStdString();
        return;
    }
    const QString canary = bus_->folder() + u"/root-only"_s;
    writeFile(canary + u"/file"_s, "root's");
    ::chmod(QFile::encodeName(canary).constData(), 0700);
    const QString mountPoint = bus_->home() + u"/Library/Caches/mounted"_s;
    writeFile(mountPoint + u"/placeholder"_s, "", UnprivilegedCaller::kNobody);
    if (::mount(QFile::encodeName(canary).constData(), QFile::encodeName(mountPoint).constData(),
                nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "this machine does not allow a bind mount";
    const Snapshot before = snapshotOf(canary);

    const QJsonObject attributes = callAsNobody(
        P::kSetFileAttributes, u"a{sv}s"_s,
        {QJsonObject{{P::kFilePosixPermissions, 0777},
                     {P::kFileOwnerAccountID, static_cast<int>(UnprivilegedCaller::kNobody)}},
         fileUrl(mountPoint)});
    const QJsonObject deletion = callAsNobody(P::kDeleteFileAtUrl, u"s"_s, {fileUrl(mountPoint)});

    ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
    for (const QJsonObject& result : {attributes, deletion}) {
        ASSERT_TRUE(result.contains(u"reply"_s));
        EXPECT_FALSE(result.value(u"reply"_s).toArray().first().toBool());
        EXPECT_TRUE(
            result.value(u"reply"_s).toArray().at(1).toString().contains(u"another file system"_s))
            << result.value(u"reply"_s).toArray().at(1).toString().toStdString();
    }
    EXPECT_EQ(snapshotOf(canary), before);
    EXPECT_TRUE(QFileInfo::exists(canary + u"/file"_s));
}
