#include "helper_link_fixture.h"
#include "sandbox.h"

#include "platform/plist_checker.h"
#include "privileged/helper_protocol.h"
#include "search/sv_defaults_tool.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>

#include <sys/stat.h>
#include <unistd.h>

#include <thread>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

QUrl url(const QString& path) {
    return QUrl::fromLocalFile(path);
}

const QByteArray kGoodPlist = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict><key>a</key><integer>1</integer></dict></plist>
)";

} // namespace

TEST_F(HelperLinkTest, DeletesFilesAndFoldersWithTheHelper) {
    installHelper();
    const QString file = makeRootFile(u"Library/Caches/one"_s);
    const QString folder = QFileInfo(makeRootFile(u"Library/Caches/dir/inner/two"_s)).path();
    LogCapture log;

    EXPECT_TRUE(link_->deleteFileAtUrl(url(file)));
    EXPECT_TRUE(link_->deleteFileAtUrl(url(bus_->systemRoot() + u"/Library/Caches/dir"_s)));
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_FALSE(QFileInfo::exists(folder));

    EXPECT_FALSE(link_->deleteFileAtUrl(url(file)));
    EXPECT_TRUE(log.contains(u"Error: The file %1 does not exist."_s.arg(file)))
        << log.lines().join(u'|').toStdString();
}

TEST_F(HelperLinkTest, CopiesAndSetsAttributesWithTheHelper) {
    installHelper();
    const QString source = makeRootFile(u"Library/Preferences/a.plist"_s, kGoodPlist);
    const QString copy = bus_->systemRoot() + u"/Library/Preferences/b.plist"_s;

    ASSERT_TRUE(link_->copyFileAtUrl(url(source), url(copy)));
    QFile copied(copy);
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    EXPECT_EQ(copied.readAll(), kGoodPlist);
    EXPECT_FALSE(link_->copyFileAtUrl(url(source), url(copy))) << "an existing target is kept";

    const QDateTime date = QDateTime::fromString(u"2021-03-04T05:06:07.000Z"_s, Qt::ISODateWithMs);
    QVariantMap attributes{{P::kFilePosixPermissions, 0640}, {P::kFileModificationDate, date}};
    // In the system Library a file may only be given to its caller: hand it
    // to someone else first so that giving it back shows.
    if (runningAsRoot()) {
        ASSERT_EQ(::chown(QFile::encodeName(copy).constData(), 65534, 65534), 0);
        attributes.insert(P::kFileOwnerAccountID, ::getuid());
        attributes.insert(P::kFileGroupOwnerAccountID, ::getgid());
    }
    ASSERT_TRUE(link_->setFileAttributes(attributes, url(copy)));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(copy).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(info.st_mtim.tv_sec, date.toSecsSinceEpoch());
    if (runningAsRoot()) {
        EXPECT_EQ(info.st_uid, ::getuid());
        EXPECT_EQ(info.st_gid, ::getgid());
    }
    EXPECT_FALSE(link_->setFileAttributes({{u"NSFileSize"_s, 1}}, url(copy)));
}

TEST_F(HelperLinkTest, ListsAndDeletesRootsDomains) {
    installHelper();
    const QString one =
        makeRootFile(u"root/Library/Preferences/com.example.one.plist"_s, kGoodPlist);
    makeRootFile(u"root/Library/Preferences/com.example.two.plist"_s, kGoodPlist);

    EXPECT_EQ(link_->readAllDefaultsDomains(),
              std::optional<QStringList>(QStringList{u"com.example.one"_s, u"com.example.two"_s}));
    EXPECT_TRUE(link_->deleteDefaultsDomain(u"com.example.one"_s));
    EXPECT_FALSE(QFileInfo::exists(one));
    EXPECT_EQ(link_->readAllDefaultsDomains(),
              std::optional<QStringList>(QStringList{u"com.example.two"_s}));
}

TEST_F(HelperLinkTest, ChecksEveryPropertyListOfAFolder) {
    installHelper();
    const QString good = makeRootFile(u"Library/Preferences/good.plist"_s, kGoodPlist);
    const QString empty = makeRootFile(u"Library/Preferences/empty.plist"_s, QByteArray());
    const QString broken =
        makeRootFile(u"Library/Preferences/ByHost/broken.plist"_s, kGoodPlist.left(120));
    makeRootFile(u"Library/Preferences/notes.txt"_s, "not a property list");
    LogCapture log;

    const auto results =
        link_->checkPlistsAtUrl(url(bus_->systemRoot() + u"/Library/Preferences"_s));

    ASSERT_TRUE(results.has_value());
    EXPECT_EQ(results->keys(), (QStringList{broken, empty, good}));
    EXPECT_EQ(results->value(good), u"OK"_s);
    EXPECT_EQ(results->value(empty), PlistChecker::check(QByteArray()));
    EXPECT_EQ(results->value(broken), PlistChecker::check(kGoodPlist.left(120)));
    EXPECT_NE(results->value(broken), u"OK"_s);
    EXPECT_TRUE(log.contains(u"Checked 3 files"_s));

    EXPECT_FALSE(link_->checkPlistsAtUrl(url(bus_->systemRoot() + u"/nowhere"_s)).has_value());
}

TEST_F(HelperLinkTest, RebootAndScriptRunThroughTheHelper) {
    installHelper();
    link_->rebootComputer();
    EXPECT_TRUE(eventually([&] { return QFileInfo::exists(rebootRecord()); }));
    // The fake reboot may still be writing its record: wait until it has.
    ASSERT_TRUE(eventually([&] { return QFileInfo(rebootRecord()).size() > 0; }));
    QFile record(rebootRecord());
    ASSERT_TRUE(record.open(QIODevice::ReadOnly));
    EXPECT_EQ(record.readAll(), "now\n");

    if (!runningAsRoot()) {
        std::cout << "Script part skipped: the helper runs only root's scripts, and this run "
                     "cannot make one.\n";
        return;
    }
    const QString marker = tools_.filePath(u"script-ran"_s);
    const QString script =
        writeScript(tools_.filePath(u"update.sh"_s), "touch '" + QFile::encodeName(marker) + "'\n");
    std::atomic<int> replies{0};
    std::atomic<bool> succeeded{false};
    link_->helperTool()->runScriptAndDontWait(url(script), [&](bool success, const QString&) {
        succeeded = success;
        ++replies;
    });
    EXPECT_TRUE(eventually([&] { return replies.load() == 1; }));
    EXPECT_TRUE(succeeded);
    EXPECT_TRUE(eventually([&] { return QFileInfo::exists(marker); }));
}

TEST_F(HelperLinkTest, CancelEndsARunningCheckWithWhatWasChecked) {
    installHelper();
    constexpr int kFiles = 5000;
    const QString folder = bus_->systemRoot() + u"/Library/Preferences"_s;
    QDir().mkpath(folder);
    for (int i = 0; i < kFiles; ++i) {
        QFile file(folder + u"/f%1.plist"_s.arg(i));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(kGoodPlist);
    }
    LogCapture log;

    std::optional<SorvaneHelperProtocol::PlistResults> results;
    std::atomic<bool> done{false};
    std::thread check([&] {
        results = link_->checkPlistsAtUrl(url(folder));
        done = true;
    });
    // A cancel that reaches the helper before the check has started is
    // forgotten by it, so cancels keep coming until the answer is in.
    while (!done) {
        link_->cancelPlutilChecks();
        QThread::msleep(5);
    }
    check.join();

    ASSERT_TRUE(results.has_value());
    EXPECT_LT(results->size(), kFiles);
    EXPECT_TRUE(log.contains(u"Checked %1 files"_s.arg(results->size())));

    // The next check is not cancelled by the earlier requests.
    const auto full = link_->checkPlistsAtUrl(url(folder));
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->size(), kFiles);
}

TEST_F(HelperLinkTest, RefusedActionChangesNothing) {
    installHelper();
    ASSERT_TRUE(bus_->allowUnknownActions(false));
    ASSERT_TRUE(bus_->setAllowedActions({P::kActionCopy}));
    const QString file = makeRootFile(u"Library/Caches/keep"_s);
    const QString domain =
        makeRootFile(u"root/Library/Preferences/com.example.kept.plist"_s, kGoodPlist);
    LogCapture log;

    EXPECT_FALSE(link_->deleteFileAtUrl(url(file)));
    EXPECT_FALSE(link_->deleteDefaultsDomain(u"com.example.kept"_s));
    EXPECT_FALSE(link_->readAllDefaultsDomains().has_value());
    EXPECT_FALSE(link_->setFileAttributes({{P::kFilePosixPermissions, 0600}}, url(file)));
    EXPECT_TRUE(QFileInfo::exists(file));
    EXPECT_TRUE(QFileInfo::exists(domain));
    EXPECT_EQ(QFileInfo(file).permissions(), QFileInfo(domain).permissions());
    EXPECT_TRUE(log.contains(u"Error: Not authorized."_s));
    EXPECT_FALSE(log.contains(u"Helper tool operation timeout"_s)) << "a refusal is answered";

    // The one allowed kind of operation still works.
    EXPECT_TRUE(link_->copyFileAtUrl(url(file), url(file + u".copy"_s)));
}

TEST_F(HelperLinkTest, KeepsAHelperOfTheExpectedVersion) {
    installHelper();
    const QString marker = tools_.filePath(u"installer-ran"_s);
    link_->setInstallerCommand({writeScript(tools_.filePath(u"installer"_s),
                                            "touch '" + QFile::encodeName(marker) + "'\n")});
    LogCapture log;

    link_->checkInstalledHelperVersion();

    EXPECT_EQ(link_->currentHelperToolVersion(), std::optional<QString>(u"2.0.0"_s));
    EXPECT_EQ(log.lines(), (QStringList{u"XPC comms to helper tool initialised"_s,
                                        u"Helper tool installed version = 2.0.0"_s}));
    EXPECT_FALSE(QFileInfo::exists(marker));
}

class HelperVersionTest : public HelperLinkTest,
                          public ::testing::WithParamInterface<std::array<int, 3>> {};

TEST_P(HelperVersionTest, ReplacesAHelperOfAnyOtherVersion) {
    const auto [major, minor, patch] = GetParam();
    // An installed helper that reports another version; the installer stops
    // it, as it stops only a process that runs the installed program.
    const QString installed = bus_->prefix() + u"/libexec/sorvane/sorvane-helper"_s;
    QDir().mkpath(QFileInfo(installed).path());
    ASSERT_TRUE(QFile::copy(QCoreApplication::applicationDirPath() + u"/sorvane-helper-stand-in"_s,
                            installed));
    QProcess older;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"SORVANE_STAND_IN_VERSION"_s,
                       u"%1.%2.%3"_s.arg(major).arg(minor).arg(patch));
    older.setProcessEnvironment(environment);
    older.start(installed, {u"--bus"_s, bus_->address()});
    ASSERT_TRUE(bus_->waitForOwner(P::kLabel, true, 10000)) << "the older helper did not start";
    const qint64 standIn = bus_->ownerPid(P::kLabel);
    ASSERT_EQ(standIn, older.processId());
    LogCapture log;

    link_->checkInstalledHelperVersion();

    const QString reported = u"%1.%2.%3"_s.arg(major).arg(minor).arg(patch);
    const QStringList lines = log.lines();
    EXPECT_TRUE(lines.contains(u"Helper tool installed version = "_s + reported));
    EXPECT_TRUE(lines.contains(u"Attempting to install current Helper Tool"_s));
    EXPECT_TRUE(lines.contains(u"Helper Tool installed and running"_s))
        << lines.join(u'|').toStdString();
    EXPECT_TRUE(QFileInfo::exists(bus_->prefix() + u"/libexec/sorvane/sorvane-helper"_s));

    link_->requestHelperToolVersion();
    EXPECT_TRUE(eventually(
        [&] { return link_->currentHelperToolVersion() == std::optional<QString>(u"2.0.0"_s); }));
    EXPECT_NE(bus_->ownerPid(P::kLabel), standIn);
    EXPECT_TRUE(older.waitForFinished(5000)) << "the older helper was not stopped";
}

INSTANTIATE_TEST_SUITE_P(NewerAndOlder, HelperVersionTest,
                         ::testing::Values(std::array<int, 3>{2, 0, 1}, std::array<int, 3>{1, 9, 9},
                                           std::array<int, 3>{3, 0, 0}));

TEST_F(HelperLinkTest, AbsentHelperCostsTheFullWaitBeforeInstalling) {
    // Deliberately the specified 5 s: this is the one test that shows it.
    link_->setInstallerCommand(
        {writeScript(tools_.filePath(u"installer"_s), "echo 'Request dismissed' >&2\nexit 126\n")});
    LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();

    link_->checkInstalledHelperVersion();

    EXPECT_GE(elapsed.elapsed(), LinkToHelperTool::kVersionTimeoutMs);
    const QStringList lines = log.lines();
    ASSERT_EQ(lines.size(), 6) << lines.join(u'|').toStdString();
    EXPECT_EQ(lines.at(0), u"XPC comms to helper tool initialised"_s);
    EXPECT_TRUE(lines.at(1).startsWith(u"Proxy error: "_s));
    EXPECT_EQ(
        lines.mid(2),
        (QStringList{u"Helper tool operation timeout"_s,
                     u"Attempting to install current Helper Tool"_s,
                     u"Failed to create AuthorizationRef, return code 126 : Request dismissed"_s,
                     u"Failed to install helper tool"_s}));
    EXPECT_FALSE(link_->currentHelperToolVersion().has_value());
}

struct InstallerCase {
    const char* name;
    QByteArray script; // empty: the real installer
    QStringList expected;
};

class HelperInstallOutcomeTest : public HelperLinkTest,
                                 public ::testing::WithParamInterface<InstallerCase> {};

TEST_P(HelperInstallOutcomeTest, InstallerOutcomeIsLogged) {
    const InstallerCase& c = GetParam();
    if (!c.script.isEmpty())
        link_->setInstallerCommand({writeScript(tools_.filePath(u"installer"_s), c.script)});
    link_->setTimeouts(200, 2000);
    LogCapture log;

    link_->checkInstalledHelperVersion();

    const QStringList lines = log.lines();
    const QStringList tail =
        lines.mid(lines.indexOf(u"Attempting to install current Helper Tool"_s) + 1);
    EXPECT_EQ(tail, c.expected) << lines.join(u'|').toStdString();
    if (c.script.isEmpty()) {
        const QString file = makeRootFile(u"Library/Caches/after-install"_s);
        EXPECT_TRUE(link_->deleteFileAtUrl(url(file)));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, HelperInstallOutcomeTest,
    ::testing::Values(
        InstallerCase{"NotAuthorized",
                      "exit 127\n",
                      {u"Failed to create AuthorizationRef, return code 127 : Not authorized."_s,
                       u"Failed to install helper tool"_s}},
        InstallerCase{
            "Dismissed",
            "exit 126\n",
            {u"Failed to create AuthorizationRef, return code 126 : The authorization was cancelled."_s,
             u"Failed to install helper tool"_s}},
        InstallerCase{
            "WriteFailure",
            "echo 'Cannot write /usr/x: Read-only file system' >&2\nexit 1\n",
            {u"Error: Cannot write /usr/x: Read-only file system\n\tThe helper tool installer "
             u"exited with status 1.\n\tRun \"sorvane-helper --install\" as root to install "
             u"the helper tool."_s,
             u"Failed to install helper tool"_s}},
        InstallerCase{"RealInstaller", {}, {u"Helper Tool installed and running"_s}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(HelperLinkTest, LateReplyLeavesTheFailureValue) {
    installHelper();
    ASSERT_TRUE(bus_->setPolkitDelay(1.0));
    link_->setTimeouts(200, 200);
    const QString file = makeRootFile(u"Library/Caches/slow"_s);
    LogCapture log;

    EXPECT_FALSE(link_->deleteFileAtUrl(url(file)));
    EXPECT_TRUE(log.contains(u"Helper tool operation timeout"_s));
    // The helper did its work; only its answer came too late.
    EXPECT_TRUE(eventually([&] { return !QFileInfo::exists(file); }));
    EXPECT_FALSE(link_->checkPlistsAtUrl(url(bus_->systemRoot())).has_value());
    EXPECT_FALSE(link_->readAllDefaultsDomains().has_value());
}

TEST_F(HelperLinkTest, FailedCheckGivesNoDictionaryEvenWhenOneIsSent) {
    ASSERT_TRUE(bus_->startMockService(P::kLabel, P::kObjectPath, P::kInterface));
    ASSERT_TRUE(bus_->addMockMethod(
        P::kObjectPath, P::kInterface, P::kCheckPlistsAtUrl, u"s"_s, u"bba{ss}s"_s,
        u"ret = (False, True, {'/x.plist': 'OK'}, 'the check broke')"_s));
    LogCapture log;

    EXPECT_FALSE(link_->checkPlistsAtUrl(url(u"/x"_s)).has_value());
    EXPECT_TRUE(log.contains(u"Error: the check broke"_s));
    EXPECT_FALSE(log.contains(u"Helper tool operation timeout"_s));
}

TEST_F(HelperLinkTest, ReconnectsAfterTheConnectionIsInvalidated) {
    installHelper();
    LogCapture log;
    EXPECT_TRUE(link_->deleteFileAtUrl(url(makeRootFile(u"Library/Caches/one"_s))));
    ASSERT_TRUE(bus_->killOwner(P::kLabel));
    EXPECT_TRUE(eventually([&] { return log.contains(u"XPC connection invalidated"_s); }));
    EXPECT_FALSE(link_->xpcConnection().has_value());

    EXPECT_TRUE(link_->deleteFileAtUrl(url(makeRootFile(u"Library/Caches/two"_s))));
    EXPECT_EQ(log.lines().count(u"XPC comms to helper tool initialised"_s), 2);
}

TEST_F(HelperLinkTest, FireAndForgetCallsReturnAtOnceWithoutAHelper) {
    LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    link_->cancelPlutilChecks();
    link_->rebootComputer();
    link_->requestHelperToolVersion();
    // Far below any time-out: nothing waited for an answer.
    EXPECT_LT(elapsed.elapsed(), LinkToHelperTool::kVersionTimeoutMs);
    EXPECT_TRUE(eventually([&] { return log.lines().filter(u"Proxy error: "_s).size() == 3; }));
    EXPECT_FALSE(QFileInfo::exists(rebootRecord()));
}

TEST_F(HelperLinkTest, UnreachableBusFailsEveryCallWithoutRaising) {
    qputenv("SORVANE_HELPER_BUS", "unix:path=/nonexistent/sorvane-bus");
    link_->setTimeouts(100, 100);
    LogCapture log;

    EXPECT_FALSE(link_->deleteFileAtUrl(url(u"/tmp/x"_s)));
    EXPECT_FALSE(link_->xpcConnection().has_value());
    EXPECT_TRUE(log.contains(u"Unable to establish XPC comms with helper tool."_s));
    EXPECT_TRUE(log.contains(u"Helper tool operation timeout"_s));
    link_->rebootComputer();
    link_->cancelPlutilChecks();
}

TEST_F(HelperLinkTest, DefaultsToolTakesRootsDomainsFromTheHelper) {
    installHelper();
    makeRootFile(u"root/Library/Preferences/com.example.app.plist"_s, kGoodPlist);
    const QString fake =
        writeScript(tools_.filePath(u"defaults"_s), "printf 'com.example.app\\n'\n");
    qputenv("SORVANE_DEFAULTS_TOOL", QFile::encodeName(fake));
    SVDefaultsTool tool([this] { return link_->readAllDefaultsDomains(); });
    tool.waitForReading();
    qunsetenv("SORVANE_DEFAULTS_TOOL");

    EXPECT_EQ(tool.matchesForDomain(u"com.example.app*"_s),
              (QList<SVDefaultsDomain>{{u"com.example.app"_s, 1}, {u"com.example.app\n"_s, 0}}));
}

TEST(LinkToHelperToolInstaller, CommandNamesTheBusAndAsksForRootOnlyWhenNeeded) {
    qputenv("SORVANE_HELPER_BUS", "unix:path=/tmp/some-bus");
    const QStringList command = LinkToHelperTool::defaultInstallerCommand();
    qunsetenv("SORVANE_HELPER_BUS");

    // pkexec clears the environment, so the bus must travel as an option.
    EXPECT_EQ(command.mid(command.size() - 4),
              (QStringList{ToolLocations::helperTool(), u"--install"_s, u"--bus"_s,
                           u"unix:path=/tmp/some-bus"_s}));
    EXPECT_EQ(command.first() == ToolLocations::pkexecTool(), !runningAsRoot());
    EXPECT_EQ(command.size(), runningAsRoot() ? 4 : 5);
    if (runningAsRoot()) {
        // The same test as an ordinary user shows the pkexec road.
        const RerunResult rerun = rerunCurrentTestUnprivileged();
        if (rerun.ran)
            EXPECT_TRUE(rerun.passed) << rerun.output.toStdString();
        else
            std::printf("unprivileged run skipped: %s\n", qPrintable(rerun.output));
    }
}
