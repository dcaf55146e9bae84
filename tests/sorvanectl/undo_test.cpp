// Undo with the real sorvanectl: a cleaning keeps what it deletes in a
// backup, "sorvanectl undo" puts the whole sandbox back as it was, backups
// are listed, restored by name and discarded, and a backup that cannot be
// written stops the cleaning unless --no-backup says to go on without one.
#include "qt_printers.h"

#include "ctl_world.h"
#include "scoped_environment.h"
#include "tree_snapshot.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString kMacBackups = u"Library/Application Support/Sorvane"_s;
const QString kLinuxBackups = u".local/share/sorvane"_s;

PlistValue everyType() {
    PlistValue list = PlistValue::array();
    list.append(PlistValue::fromString(u"one"_s));
    list.append(PlistValue::fromInteger(-2));
    return CtlWorld::dict({{u"name"_s, PlistValue::fromString(u"two words"_s)},
                           {u"count"_s, PlistValue::fromInteger(42)},
                           {u"huge"_s, PlistValue::fromUnsigned(18446744073709551615ull)},
                           {u"ratio"_s, PlistValue::fromReal(0.25)},
                           {u"enabled"_s, PlistValue::fromBool(false)},
                           // Whole seconds: the captured text of a date keeps no more,
                           // in a backup as in any package.
                           {u"since"_s, PlistValue::fromDate(700000000)},
                           {u"blob"_s, PlistValue::fromData(QByteArray("\x00\x01\xff", 3))},
                           {u"list"_s, list},
                           {u"nested"_s, CtlWorld::dict({{u"x"_s, PlistValue::fromBool(true)}})}});
}

void setMode(const QString& path, mode_t mode) {
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0) << qPrintable(path);
}

// Files, folders and a link below a folder an application search takes whole.
void makeSettingsTree(const CtlWorld& world, const QString& folder) {
    world.makeFile(world.homePath(folder + u"/a.cfg"_s), "a settings\n");
    world.makeFile(world.homePath(folder + u"/sub/deeper/b.bin"_s), QByteArray("\x00\x7f\xfe", 3));
    world.makeFile(world.homePath(folder + u"/empty"_s), "");
    world.makeFolder(world.homePath(folder + u"/nothing-yet"_s));
    QFile::link(u"sub/deeper/b.bin"_s, world.homePath(folder + u"/current"_s));
    setMode(world.homePath(folder + u"/a.cfg"_s), 0600);
    setMode(world.homePath(folder + u"/sub/deeper/b.bin"_s), 0750);
    setMode(world.homePath(folder + u"/sub"_s), 0700);
}

struct SystemCase {
    const char* name;
    bool linux;
};

class UndoRoundTrip : public testing::TestWithParam<SystemCase> {
protected:
    void SetUp() override {
        if (GetParam().linux)
            makeLinuxWorld();
        else
            makeMacWorld();
    }

    void makeMacWorld() {
        app = world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
        world.writeDomain(u"com.example.tool"_s, everyType());
        world.writeDomain(u"com.example.tool.helper"_s,
                          CtlWorld::dict({{u"port"_s, PlistValue::fromInteger(8080)}}));
        world.writeDomain(u"zz.last"_s, CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}}));
        makeSettingsTree(world, u"Library/Preferences/Tool"_s);
        world.makeFile(world.homePath(u"Library/Application Support/Tool/state.json"_s), "{}");
        world.makeFile(world.homePath(u"Library/Caches/com.example.tool/cache.db"_s), "cache");
        gone = {u"Library/Preferences/Tool"_s, u"Library/Application Support/Tool"_s,
                u"Library/Caches/com.example.tool"_s,
                u"Library/Preferences/com.example.tool.plist"_s};
        backups = kMacBackups;
    }

    void makeLinuxWorld() {
        environment.set("SORVANE_SETTINGS", u"linux"_s);
        environment.set("XDG_CONFIG_HOME", world.homePath(u".config"_s));
        environment.set("XDG_DATA_HOME", world.homePath(u".local/share"_s));
        environment.set("XDG_CACHE_HOME", world.homePath(u".cache"_s));
        environment.set("XDG_STATE_HOME", world.homePath(u".local/state"_s));
        environment.set("XDG_DATA_DIRS", world.rootPath(u"usr/share"_s));
        for (const auto& [file, root] : {std::pair{"AppData.xml", "applist"},
                                         {"SystemData.xml", "systemdata"},
                                         {"PackagerData.xml", "packagerdata"}})
            world.makeFile(world.resources() + u"/linux/"_s + QString::fromLatin1(file),
                           QByteArray("<") + root + ">\n</" + root + ">\n");
        app = world.makeFile(world.rootPath(u"usr/share/applications/org.kde.kate.desktop"_s),
                             "[Desktop Entry]\nType=Application\nName=Kate\nExec=kate %U\n");
        makeSettingsTree(world, u".config/kate"_s);
        world.makeFile(world.homePath(u".config/katerc"_s), "[General]\nx=1\n");
        world.makeFile(world.homePath(u".local/share/kate/sessions/work.katesession"_s), "s");
        world.makeFile(world.homePath(u".config/kwriterc"_s), "neighbour");
        gone = {u".config/kate"_s, u".config/katerc"_s, u".local/share/kate"_s};
        backups = kLinuxBackups;
    }

    QMap<QString, QString> sandboxTree() const {
        QMap<QString, QString> tree = treeSnapshot(world.home(), {backups});
        const QMap<QString, QString> root = treeSnapshot(world.root());
        for (auto it = root.cbegin(); it != root.cend(); ++it)
            tree.insert(u"/root/"_s + it.key(), it.value());
        return tree;
    }

    CtlWorld world;
    ScopedEnvironment environment;
    QString app;
    QStringList gone;
    QString backups;
};

TEST_P(UndoRoundTrip, PutsTheWholeSandboxBackAsItWas) {
    const QMap<QString, QString> before = sandboxTree();
    const PlistValue toolSettings = world.readDomain(u"com.example.tool"_s);
    const qint64 fileTime = modifiedMs(world.homePath(gone.first() + u"/sub/deeper/b.bin"_s));

    const CtlRun clean = world.runJson({u"clean"_s, app});
    ASSERT_EQ(clean.status, 0) << qPrintable(clean.err);
    for (const QString& path : gone)
        EXPECT_FALSE(QFileInfo::exists(world.homePath(path))) << qPrintable(path);
    const QJsonObject backup = clean.json[u"undoBackup"_s].toObject();
    EXPECT_TRUE(backup[u"notKept"_s].toArray().isEmpty());
    EXPECT_TRUE(QFile::exists(backup[u"package"_s].toString()));
    EXPECT_TRUE(backup[u"package"_s].toString().startsWith(world.homePath(backups)));

    const CtlRun undo = world.runJson({u"undo"_s});
    ASSERT_EQ(undo.status, 0) << qPrintable(undo.err) << qPrintable(undo.out);
    EXPECT_EQ(undo.json[u"failed"_s].toInt(), 0);
    EXPECT_GT(undo.json[u"restored"_s].toInt(), 8);
    EXPECT_EQ(treeDifferences(before, sandboxTree()), QStringList());
    EXPECT_EQ(world.readDomain(u"com.example.tool"_s), toolSettings);
    EXPECT_EQ(modifiedMs(world.homePath(gone.first() + u"/sub/deeper/b.bin"_s)), fileTime);

    // The backup is spent: the next undo has nothing to restore.
    const CtlRun again = world.run({u"undo"_s});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.err.contains(u"nothing to undo"_s)) << qPrintable(again.err);
    const CtlRun list = world.run({u"undo"_s, u"--list"_s});
    EXPECT_TRUE(list.out.contains(u"(restored "_s)) << qPrintable(list.out);
}

INSTANTIATE_TEST_SUITE_P(SettingsSystems, UndoRoundTrip,
                         testing::Values(SystemCase{"MacHome", false},
                                         SystemCase{"LinuxDesktop", true}),
                         [](const testing::TestParamInfo<SystemCase>& tested) {
                             return std::string(tested.param.name);
                         });

class UndoHistory : public testing::Test {
protected:
    void SetUp() override {
        const PlistValue some = CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}});
        for (const QString& domain :
             {u"com.example.dock"_s, u"com.example.clock.a"_s, u"com.example.clock.b"_s})
            world.writeDomain(domain, some);
        desktop = world.makeFile(world.homePath(u"Library/Application Support/Dock/desktop.db"_s),
                                 "dock layout");
        app = world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
        world.writeDomain(u"com.example.tool"_s, some);
        // The defaults program's list leaves out its last domain.
        world.writeDomain(u"zz.last"_s, some);
    }

    QStringList ids() const {
        QStringList found;
        for (const QJsonValue& backup :
             world.runJson({u"undo"_s, u"--list"_s}).json[u"backups"_s].toArray())
            found.append(backup[u"id"_s].toString());
        return found;
    }

    CtlWorld world;
    QString desktop;
    QString app;
};

TEST_F(UndoHistory, BackupsAreListedNewestFirstRestoredByNameAndDiscarded) {
    ASSERT_EQ(world.run({u"components"_s, u"clean"_s, u"Clock"_s, u"Dock"_s}).status, 0);
    ASSERT_EQ(world.run({u"clean"_s, app}).status, 0);
    const QStringList both = ids();
    ASSERT_EQ(both.size(), 2);
    const QJsonArray listed = world.runJson({u"undo"_s, u"--list"_s}).json[u"backups"_s].toArray();
    EXPECT_EQ(listed[0][u"title"_s].toString(), u"Tool"_s);
    EXPECT_EQ(listed[1][u"kind"_s].toString(), u"components"_s);
    EXPECT_EQ(listed[1][u"holds"_s].toString(), u"3 domains, 1 file"_s);

    // The older one, by name: the components come back, the application stays clean.
    const CtlRun undo = world.runJson({u"undo"_s, both.at(1)});
    ASSERT_EQ(undo.status, 0) << qPrintable(undo.err);
    for (const QString& domain :
         {u"com.example.dock"_s, u"com.example.clock.a"_s, u"com.example.clock.b"_s})
        EXPECT_TRUE(world.domainExists(domain)) << qPrintable(domain);
    EXPECT_EQ(CtlWorld::contents(desktop), "dock layout");
    EXPECT_FALSE(world.domainExists(u"com.example.tool"_s));

    const CtlRun discard = world.runJson({u"undo"_s, u"--discard"_s, both.at(0)});
    EXPECT_EQ(discard.status, 0) << qPrintable(discard.err);
    EXPECT_EQ(ids(), QStringList{both.at(1)});
    EXPECT_EQ(world.run({u"undo"_s, u"--discard"_s, both.at(0)}).status, 2);
    EXPECT_EQ(world.run({u"undo"_s, u"../../etc"_s}).status, 2);
}

struct UnwritableCase {
    const char* name;
    QStringList command; // "@" stands for the application
};

class UnwritableBackups : public UndoHistory, public testing::WithParamInterface<UnwritableCase> {
protected:
    QStringList command(const QStringList& extra = {}) const {
        QStringList arguments;
        for (QString word : GetParam().command)
            arguments.append(word.replace(u'@', app));
        return arguments + extra;
    }
};

// A file where the backups' folder would go: not even root can write there.
TEST_P(UnwritableBackups, NothingIsDeletedUnlessNoBackupIsAskedFor) {
    world.makeFile(world.homePath(kMacBackups), "in the way");
    const auto before = world.snapshot();
    const CtlRun refused = world.runJson(command());
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.json[u"error"_s].toString().startsWith(
        u"The Cleaning Could Not Be Backed Up: Sorvane keeps what a cleaning deletes"_s))
        << qPrintable(refused.err);
    EXPECT_TRUE(refused.err.contains(u"give --no-backup to clean without a backup"_s));
    EXPECT_EQ(treeDifferences(before, world.snapshot()), QStringList());

    const CtlRun cleaned = world.runJson(command({u"--no-backup"_s}));
    EXPECT_EQ(cleaned.status, 0) << qPrintable(cleaned.err);
    EXPECT_FALSE(cleaned.json.contains(u"undoBackup"_s));
    EXPECT_NE(treeDifferences(before, world.snapshot()), QStringList());
}

INSTANTIATE_TEST_SUITE_P(Commands, UnwritableBackups,
                         testing::Values(UnwritableCase{"Application", {u"clean"_s, u"@"_s}},
                                         UnwritableCase{"Components",
                                                        {u"components"_s, u"clean"_s, u"Dock"_s}}),
                         [](const testing::TestParamInfo<UnwritableCase>& tested) {
                             return std::string(tested.param.name);
                         });

TEST(Undo, ExplainsItselfAndRefusesMixedRequests) {
    CtlWorld world;
    const CtlRun help = world.run({u"undo"_s, u"--help"_s});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.startsWith(u"Usage: sorvanectl undo"_s));
    EXPECT_TRUE(help.out.contains(u"Exit status"_s));
    for (const QStringList& wrong : {QStringList{u"undo"_s, u"--list"_s, u"--discard"_s, u"x"_s},
                                     QStringList{u"undo"_s, u"a"_s, u"b"_s}}) {
        const CtlRun run = world.run(wrong);
        EXPECT_EQ(run.status, 2) << qPrintable(wrong.join(u' '));
        EXPECT_TRUE(run.out.isEmpty());
    }
    const CtlRun none = world.runJson({u"undo"_s, u"--list"_s});
    EXPECT_EQ(none.status, 0);
    EXPECT_TRUE(none.json[u"backups"_s].toArray().isEmpty());
}

} // namespace
