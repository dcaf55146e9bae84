// "sorvane-helper --install" run as root against a prefix someone has been
// at, and against a bus where something else owns the helper's name: it
// writes through no link, writes nowhere another user could change, and
// signals nothing it has not verified to be an installed helper.
#include "helper_link_fixture.h"
#include "sandbox.h"

#include "privileged/helper_protocol.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

struct InstallResult {
    int status = -1;
    QString errors;
};

InstallResult runInstaller(const QString& program, const QString& prefix, const QString& bus) {
    QProcess installer;
    installer.start(program, {u"--install"_s, u"--prefix"_s, prefix, u"--bus"_s, bus});
    installer.waitForFinished(30000);
    return {installer.exitStatus() == QProcess::NormalExit ? installer.exitCode() : -1,
            QString::fromUtf8(installer.readAllStandardError())};
}

// Everything about a folder's items, links not followed.
QStringList snapshot(const QString& folder) {
    QStringList items;
    QDirIterator entries(folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        struct stat info {};
        ::lstat(QFile::encodeName(path).constData(), &info);
        QFile file(path);
        QByteArray hash;
        if (S_ISREG(info.st_mode) && file.open(QIODevice::ReadOnly))
            hash = QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex();
        items.append(u"%1 %2 %3 %4"_s.arg(path)
                         .arg(info.st_mode, 0, 8)
                         .arg(info.st_uid)
                         .arg(QString::fromLatin1(hash)));
    }
    items.sort();
    return items;
}

struct PrefixCase {
    const char* name;
    // Prepares the prefix; outside holds the canary.
    std::function<void(const QString& prefix, const QString& outside)> plant;
    bool installs;
};

void PrintTo(const PrefixCase& c, std::ostream* os) {
    *os << c.name;
}

void link(const QString& target, const QString& at) {
    QDir().mkpath(QFileInfo(at).path());
    QFile::link(target, at);
}

class InstallerPrefixTest : public HelperLinkTest,
                            public ::testing::WithParamInterface<PrefixCase> {};

} // namespace

TEST_P(InstallerPrefixTest, WritesNothingThroughALinkOrIntoAnotherUsersFolder) {
    if (!runningAsRoot())
        GTEST_SKIP() << "the prefix tricks need folders of root's and of another user";
    const QString outside = bus_->folder() + u"/outside"_s;
    QDir().mkpath(outside);
    QFile canary(outside + u"/passwd"_s);
    ASSERT_TRUE(canary.open(QIODevice::WriteOnly));
    canary.write("root:x:0:0::/root:/bin/sh\n");
    canary.close();
    ::chmod(QFile::encodeName(canary.fileName()).constData(), 0600);
    const QString prefix = bus_->folder() + u"/attacked"_s;
    QDir().mkpath(prefix);
    GetParam().plant(prefix, outside);
    const QStringList before = snapshot(outside);

    const InstallResult result = runInstaller(helperProgram(), prefix, bus_->address());

    EXPECT_EQ(result.status == 0, GetParam().installs) << result.errors.toStdString();
    EXPECT_EQ(snapshot(outside), before);
}

INSTANTIATE_TEST_SUITE_P(
    Prefixes, InstallerPrefixTest,
    ::testing::Values(
        // A link where a file goes is replaced, never written through.
        PrefixCase{"LinkWhereTheActionsGo",
                   [](const QString& prefix, const QString& outside) {
                       link(outside + u"/passwd"_s,
                            prefix + u"/share/polkit-1/actions/"_s + P::kLabel + u".policy"_s);
                   },
                   true},
        PrefixCase{"LinkWhereAFolderGoes",
                   [](const QString& prefix, const QString& outside) {
                       link(outside, prefix + u"/share/polkit-1"_s);
                   },
                   false},
        PrefixCase{"PrefixOwnedByAUser",
                   [](const QString& prefix, const QString&) {
                       ::chown(QFile::encodeName(prefix).constData(), 65534, 65534);
                   },
                   false},
        PrefixCase{"FolderWritableByOthers",
                   [](const QString& prefix, const QString&) {
                       QDir().mkpath(prefix + u"/share"_s);
                       ::chmod(QFile::encodeName(prefix + u"/share"_s).constData(), 0777);
                   },
                   false},
        PrefixCase{"FolderOfAUserInThePrefix",
                   [](const QString& prefix, const QString&) {
                       QDir().mkpath(prefix + u"/libexec"_s);
                       ::chown(QFile::encodeName(prefix + u"/libexec"_s).constData(), 65534, 65534);
                   },
                   false},
        PrefixCase{"PrefixThatIsALink",
                   [](const QString& prefix, const QString& outside) {
                       QDir(prefix).removeRecursively();
                       QFile::link(outside, prefix);
                   },
                   false}),
    [](const auto& row) { return std::string(row.param.name); });

// A process that merely owns the helper's name is not a helper: the
// installer leaves it alone (it stops one that runs the installed program;
// HelperVersionTest shows that).
TEST_F(HelperLinkTest, TheInstallerSignalsOnlyAnInstalledHelper) {
    ASSERT_TRUE(bus_->startMockService(P::kLabel, P::kObjectPath, P::kInterface));
    const qint64 owner = bus_->ownerPid(P::kLabel);
    ASSERT_GT(owner, 0);

    const InstallResult result = runInstaller(helperProgram(), bus_->prefix(), bus_->address());

    EXPECT_EQ(result.status, 0) << result.errors.toStdString();
    EXPECT_TRUE(result.errors.contains(u"left alone"_s)) << result.errors.toStdString();
    EXPECT_EQ(bus_->ownerPid(P::kLabel), owner) << "the name's owner was stopped";
    EXPECT_EQ(::kill(static_cast<pid_t>(owner), 0), 0);
}
