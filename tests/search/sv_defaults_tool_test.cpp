#include "search/sv_defaults_tool.h"

#include "platform/tool_locations.h"
#include "privileged/sv_task_master.h"

#include "log_capture.h"
#include "sandbox.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

// Points the defaults program at a fake for the life of a test.
class FakeDefaults {
public:
    FakeDefaults(const Sandbox& sandbox, const QByteArray& body) {
        const QString path =
            sandbox.makeFile(sandbox.path() + u"/defaults"_s, "#!/bin/sh\n" + body);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("SORVANE_DEFAULTS_TOOL", QFile::encodeName(path));
    }
    explicit FakeDefaults(const QString& missingPath) {
        qputenv("SORVANE_DEFAULTS_TOOL", QFile::encodeName(missingPath));
    }
    ~FakeDefaults() { qunsetenv("SORVANE_DEFAULTS_TOOL"); }
};

SVDefaultsTool::RootDomainsSource rootList(std::optional<QStringList> names) {
    return [names] { return names; };
}

QList<SVDefaultsDomain> domains(std::initializer_list<std::pair<QString, int>> list) {
    QList<SVDefaultsDomain> result;
    for (const auto& [name, level] : list)
        result.append(SVDefaultsDomain(name, level));
    return result;
}

} // namespace

TEST(SVDefaultsTool, LastUserDomainKeepsTheProgramsLineEnd) {
    Sandbox sandbox;
    const FakeDefaults fake(sandbox,
                            "test \"$1\" = domains && printf 'com.example.a, com.example.b\\n'\n");
    SVDefaultsTool tool(rootList(std::nullopt));
    tool.waitForReading();

    EXPECT_EQ(tool.userDefaultsDomains(),
              std::optional<QStringList>(QStringList{u"com.example.a"_s, u"com.example.b\n"_s}));
    EXPECT_FALSE(tool.rootDefaultsDomains().has_value());
    EXPECT_TRUE(tool.matchesForDomain(u"com.example.b"_s).isEmpty());
    EXPECT_EQ(tool.matchesForDomain(u"com.example.b*"_s), domains({{u"com.example.b\n"_s, 0}}));
    EXPECT_EQ(tool.matchesForDomain(u"COM.EXAMPLE.A"_s), domains({{u"com.example.a"_s, 0}}));
}

TEST(SVDefaultsTool, RootMatchesComeFirstAndADomainInBothListsIsListedTwice) {
    Sandbox sandbox;
    const FakeDefaults fake(sandbox, "printf 'com.example.shared, com.example.user\\n'\n");
    SVDefaultsTool tool(rootList(QStringList{u"com.example.root"_s, u"com.example.shared"_s}));
    tool.waitForReading();

    EXPECT_EQ(tool.matchesForDomain(u"com.example.*"_s), domains({{u"com.example.root"_s, 1},
                                                                  {u"com.example.shared"_s, 1},
                                                                  {u"com.example.shared"_s, 0},
                                                                  {u"com.example.user\n"_s, 0}}));
    EXPECT_EQ(tool.matchesForDomain(u"com.example.shared"_s),
              domains({{u"com.example.shared"_s, 1}, {u"com.example.shared"_s, 0}}));
}

TEST(SVDefaultsTool, NameHoldingCommaSpaceIsSplitAndSilentProgramGivesOneEmptyName) {
    Sandbox sandbox;
    {
        const FakeDefaults fake(sandbox, "printf 'odd, name'\n");
        SVDefaultsTool tool(rootList(QStringList{}));
        tool.waitForReading();
        EXPECT_EQ(tool.userDefaultsDomains(),
                  std::optional<QStringList>(QStringList{u"odd"_s, u"name"_s}));
    }
    const FakeDefaults silent(sandbox, "exit 1\n");
    SVDefaultsTool tool(rootList(QStringList{}));
    tool.waitForReading();
    EXPECT_EQ(tool.userDefaultsDomains(), std::optional<QStringList>(QStringList{QString()}));
}

TEST(SVDefaultsTool, ProgramThatCannotStartLeavesBothListsUnread) {
    Sandbox sandbox;
    const FakeDefaults fake(sandbox.path() + u"/missing-defaults"_s);
    std::atomic<bool> askedHelper{false};
    LogCapture log;
    SVDefaultsTool tool([&] {
        askedHelper = true;
        return std::optional<QStringList>(QStringList{u"com.example.root"_s});
    });
    tool.waitForReading();

    EXPECT_EQ(log.lines(), QStringList{u"Failed to launch task: /usr/bin/defaults domains"_s});
    EXPECT_FALSE(tool.userDefaultsDomains().has_value());
    EXPECT_FALSE(tool.rootDefaultsDomains().has_value());
    EXPECT_FALSE(askedHelper);
    EXPECT_TRUE(tool.matchesForDomain(u"*"_s).isEmpty());
}

TEST(SVDefaultsTool, MatchesNothingUntilTheReadingHasFinished) {
    Sandbox sandbox;
    const FakeDefaults fake(sandbox, "sleep 0.5\nprintf 'com.example.a\\n'\n");
    SVDefaultsTool tool(rootList(QStringList{u"com.example.a"_s}));
    EXPECT_TRUE(tool.matchesForDomain(u"com.example.a*"_s).isEmpty());
    tool.waitForReading();
    EXPECT_EQ(tool.matchesForDomain(u"com.example.a*"_s),
              domains({{u"com.example.a"_s, 1}, {u"com.example.a\n"_s, 0}}));
}

TEST(SVDefaultsTool, CallOnTheMainThreadMovesTheReadingOffIt) {
    Sandbox sandbox;
    const QString marker = sandbox.path() + u"/reads"_s;
    const FakeDefaults fake(sandbox, "echo x >> '" + QFile::encodeName(marker) + "'\nprintf 'd'\n");
    std::atomic<bool> onMainThread{false};
    SVDefaultsTool tool([&] {
        onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        return std::optional<QStringList>();
    });
    tool.readDefaultDomainsInBackground(); // from the test's main thread
    tool.waitForReading();

    QFile reads(marker);
    ASSERT_TRUE(reads.open(QIODevice::ReadOnly));
    EXPECT_EQ(reads.readAll(), "x\nx\n");
    EXPECT_FALSE(onMainThread);
}

TEST(SVDefaultsTool, ReadsTheDomainsOfSorvanesOwnDefaultsProgram) {
    Sandbox sandbox;
    qunsetenv("SORVANE_DEFAULTS_TOOL");
    SVTaskMaster writer;
    for (const QString& domain : {u"com.example.a"_s, u"com.example.b"_s})
        ASSERT_TRUE(writer.runTaskWithProgram(ToolLocations::defaultsTool(),
                                              {u"write"_s, domain, u"key"_s, u"-int"_s, u"1"_s},
                                              nullptr));
    SVDefaultsTool tool(rootList(std::nullopt));
    tool.waitForReading();

    EXPECT_EQ(tool.userDefaultsDomains(),
              std::optional<QStringList>(QStringList{u"com.example.a"_s, u"com.example.b\n"_s}));

    // Deleting a domain that is gone complains on standard error only, which
    // the task runner deliberately counts as done.
    SVTaskMaster deleter;
    EXPECT_TRUE(deleter.deleteDefaultDomain(u"com.example.a"_s));
    EXPECT_FALSE(QFileInfo::exists(sandbox.homePath(u"Library/Preferences/com.example.a.plist"_s)));
    SVTaskMaster again;
    EXPECT_TRUE(again.deleteDefaultDomain(u"com.example.a"_s));
    EXPECT_FALSE(again.output().has_value());
}
