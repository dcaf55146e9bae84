#include "ctl_world.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

const QString kApp = u"Applications/Tool.app"_s;
const QString kRunner = u"Applications/Runner.app"_s;

PlistValue toolSettings() {
    PlistValue list = PlistValue::array();
    list.append(PlistValue::fromString(u"one"_s));
    list.append(PlistValue::fromInteger(2));
    return CtlWorld::dict(
        {{u"name"_s, PlistValue::fromString(u"two words"_s)},
         {u"count"_s, PlistValue::fromInteger(42)},
         {u"ratio"_s, PlistValue::fromReal(0.5)},
         {u"enabled"_s, PlistValue::fromBool(true)},
         {u"since"_s, PlistValue::fromDate(700000000)},
         {u"blob"_s, PlistValue::fromData(QByteArray("\x00\x01\xff", 3))},
         {u"list"_s, list},
         {u"nested"_s, CtlWorld::dict({{u"inner"_s, PlistValue::fromString(u"x"_s)}})}});
}

const QStringList kPreferenceFiles = {u"Library/Preferences/Tool/a.cfg"_s,
                                      u"Library/Preferences/Tool/sub/b.cfg"_s,
                                      u"Library/Application Support/Tool/state.json"_s};

// Tool.app with two domains of its own, preference files (one nested) and a cache.
void makeToolWorld(const CtlWorld& world) {
    world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
    world.writeDomain(u"com.example.tool"_s, toolSettings());
    world.writeDomain(u"com.example.tool.helper"_s,
                      CtlWorld::dict({{u"port"_s, PlistValue::fromInteger(8080)}}));
    world.writeDomain(u"zz.last"_s, CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}}));
    for (const QString& file : kPreferenceFiles)
        world.makeFile(world.homePath(file), file.toUtf8() + " contents");
    world.makeFile(world.homePath(u"Library/Caches/com.example.tool/cache.db"_s), "cache");
}

struct DryRunCase {
    const char* name;
    QStringList options; // "@" stands for the home folder
};

void PrintTo(const DryRunCase& c, std::ostream* os) {
    *os << c.name;
}

class CleanDryRun : public testing::TestWithParam<DryRunCase> {};

TEST_P(CleanDryRun, ListsEverythingAndChangesNothing) {
    CtlWorld world;
    makeToolWorld(world);
    const auto before = world.snapshot();
    QStringList arguments{u"clean"_s, u"--dry-run"_s, world.homePath(kApp)};
    for (QString option : GetParam().options)
        arguments.append(option.replace(u'@', world.home()));
    const bool json = arguments.contains(u"--json"_s);
    const CtlRun run = json ? world.runJson(arguments.mid(0)) : world.run(arguments);
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    EXPECT_EQ(world.snapshot(), before);
    if (json) {
        EXPECT_TRUE(run.json[u"dryRun"_s].toBool());
        EXPECT_EQ(run.json[u"domains"_s].toArray().size(), 2);
        EXPECT_EQ(run.json[u"preferenceFiles"_s].toArray().size(), 2);
        EXPECT_EQ(run.json[u"caches"_s].toArray().size(), 1);
        EXPECT_FALSE(run.json[u"domains"_s][0].toObject().contains(u"deleted"_s));
    } else {
        EXPECT_TRUE(run.out.contains(u"Would delete 5 items."_s)) << qPrintable(run.out);
        EXPECT_TRUE(run.out.contains(world.homePath(u"Library/Preferences/Tool"_s)));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Modes, CleanDryRun,
    testing::Values(DryRunCase{"Text", {}}, DryRunCase{"Json", {u"--json"_s}},
                    DryRunCase{"WithABackup", {u"--backup"_s, u"@/undo.Kolvane2"_s}},
                    DryRunCase{"JsonWithABackup",
                               {u"--json"_s, u"--backup"_s, u"@/undo.Kolvane2"_s}}));

QStringList flags(const QJsonArray& items, const QString& key) {
    QStringList result;
    for (const QJsonValue& item : items)
        result.append(item[key].toVariant().toString());
    return result;
}

TEST(Clean, BackupThenDeployRestoresEveryDomainAndPreferenceFile) {
    CtlWorld world;
    makeToolWorld(world);
    world.makeFile(world.homePath(u"Library/Preferences/Tool/empty"_s), "");
    const PlistValue helperSettings = world.readDomain(u"com.example.tool.helper"_s);
    const QString backup = world.homePath(u"undo.Kolvane2"_s);

    const CtlRun clean = world.runJson({u"clean"_s, u"--backup"_s, backup, world.homePath(kApp)});
    ASSERT_EQ(clean.status, 0) << qPrintable(clean.err);
    for (const char* section : {"domains", "preferenceFiles", "caches"})
        EXPECT_EQ(flags(clean.json[QString::fromUtf8(section)].toArray(), u"deleted"_s),
                  QStringList(clean.json[QString::fromUtf8(section)].toArray().size(), u"true"_s))
            << section;
    EXPECT_FALSE(world.domainExists(u"com.example.tool"_s));
    EXPECT_FALSE(world.domainExists(u"com.example.tool.helper"_s));
    EXPECT_FALSE(QFile::exists(world.homePath(u"Library/Preferences/Tool"_s)));
    EXPECT_EQ(clean.json[u"summary"_s].toString(), u"5 items were deleted. There were 0 errors."_s);
    const QJsonObject written = clean.json[u"backup"_s].toObject();
    EXPECT_TRUE(written[u"written"_s].toBool());
    EXPECT_EQ(written[u"domains"_s].toArray().size(), 2);
    EXPECT_EQ(written[u"files"_s].toArray().size(), 3);
    ASSERT_EQ(written[u"leftOut"_s].toArray().size(), 1);
    EXPECT_EQ(written[u"leftOut"_s][0][u"item"_s].toString(),
              world.homePath(u"Library/Preferences/Tool/empty"_s));

    const CtlRun deploy = world.runJson({u"package"_s, u"deploy"_s, backup});
    ASSERT_EQ(deploy.status, 0) << qPrintable(deploy.err);
    EXPECT_EQ(world.readDomain(u"com.example.tool"_s), toolSettings());
    EXPECT_EQ(world.readDomain(u"com.example.tool.helper"_s), helperSettings);
    for (const QString& file : kPreferenceFiles)
        EXPECT_EQ(CtlWorld::contents(world.homePath(file)), file.toUtf8() + " contents")
            << qPrintable(file);
    // Caches are not settings: they stay gone.
    EXPECT_FALSE(QFile::exists(world.homePath(u"Library/Caches/com.example.tool"_s)));
    const QJsonArray items = deploy.json[u"items"_s].toArray();
    ASSERT_EQ(items.size(), 1);
    EXPECT_EQ(flags(items[0][u"domains"_s].toArray(), u"written"_s),
              (QStringList{u"true"_s, u"true"_s}));
    EXPECT_EQ(flags(items[0][u"files"_s].toArray(), u"state"_s),
              (QStringList{u"new"_s, u"new"_s, u"new"_s}));
}

TEST(Clean, TextReportsEachItemAndTheSummary) {
    CtlWorld world;
    makeToolWorld(world);
    const CtlRun run = world.run({u"clean"_s, world.homePath(kApp)});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    EXPECT_TRUE(run.out.contains(
        u"  deleted  com.example.tool  (user; bundle identifier \"com.example.tool\")\n"_s));
    EXPECT_TRUE(run.out.contains(u"5 items were deleted. There were 0 errors.\n"_s));
    EXPECT_FALSE(run.out.contains(u"still there"_s));
}

// A process whose program lies inside the bundle: the application runs. Every
// test on the machine sees it, so its bundle has an identifier of its own.
class RunningApp {
public:
    explicit RunningApp(const CtlWorld& world) {
        world.makeApp(u"Runner.app"_s, u"com.example.runner"_s);
        world.writeDomain(u"com.example.runner"_s, toolSettings());
        const QString program = world.homePath(kRunner + u"/Contents/MacOS/Runner"_s);
        QDir().mkpath(QFileInfo(program).path());
        QFile::copy(u"/bin/sleep"_s, program);
        process_.start(program, {u"30"_s});
        process_.waitForStarted();
    }
    ~RunningApp() {
        process_.kill();
        process_.waitForFinished();
    }

private:
    QProcess process_;
};

TEST(Clean, IsRefusedWhileTheApplicationRunsAndWritesNoBackup) {
    CtlWorld world;
    const RunningApp running(world);
    const auto before = world.snapshot();
    const QString backup = world.homePath(u"undo.Kolvane2"_s);
    for (const QStringList& extra : {QStringList{}, QStringList{u"--backup"_s, backup}}) {
        const CtlRun run =
            world.run(QStringList{u"clean"_s} + extra + QStringList{world.homePath(kRunner)});
        EXPECT_EQ(run.status, 1);
        // This sandbox has no helper: that is said first, then the refusal.
        ASSERT_EQ(run.errLines().size(), 2) << qPrintable(run.err);
        EXPECT_TRUE(run.errLines().at(0).contains(u"helper is not reachable"_s));
        EXPECT_TRUE(run.errLines().at(1).startsWith(
            u"sorvanectl: Application Running: Please quit Runner before deleting its preferences."_s))
            << qPrintable(run.err);
        EXPECT_EQ(world.snapshot(), before);
    }
    const CtlRun dry = world.runJson({u"clean"_s, u"--dry-run"_s, world.homePath(kRunner)});
    EXPECT_EQ(dry.status, 0);
    EXPECT_TRUE(dry.json[u"running"_s].toBool());
}

} // namespace
