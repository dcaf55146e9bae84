#include "ctl_world.h"

#include "private_bus.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

// A bad argument: one line on standard error, the status, nothing written.
struct BadInput {
    const char* name;
    QStringList arguments; // "@" stands for the sandbox folder
    int status;
    const char* complaint;
};

void PrintTo(const BadInput& c, std::ostream* os) {
    *os << c.name;
}

class BadInputs : public testing::TestWithParam<BadInput> {
protected:
    void SetUp() override {
        world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
        world.makeFolder(world.homePath(u"Plain folder"_s));
        world.makeFile(world.homePath(u"notes.txt"_s), "text");
        world.makeFile(world.homePath(u"damaged.Kolvane2"_s), "bplist00 not really");
        world.makeFile(world.homePath(u"Library/Caches/com.example.tool/c"_s));
        world.writeDomain(u"com.example.tool"_s,
                          CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}}));
    }

    QStringList arguments() const {
        QStringList result;
        for (QString word : GetParam().arguments)
            result.append(word.replace(u'@', world.home()));
        return result;
    }

    CtlWorld world;
};

TEST_P(BadInputs, SayOneLineAndChangeNothing) {
    const auto before = world.snapshot();
    const CtlRun run = world.run(arguments());
    EXPECT_EQ(run.status, GetParam().status) << qPrintable(run.err);
    ASSERT_EQ(run.errLines().size(), 1) << qPrintable(run.err);
    EXPECT_TRUE(run.err.startsWith(u"sorvanectl: "_s));
    EXPECT_TRUE(run.err.contains(QString::fromUtf8(GetParam().complaint))) << qPrintable(run.err);
    EXPECT_TRUE(run.out.isEmpty()) << qPrintable(run.out);
    EXPECT_EQ(world.snapshot(), before);
}

TEST_P(BadInputs, InJsonTheDocumentCarriesStatusAndError) {
    const CtlRun run = world.runJson(arguments());
    EXPECT_EQ(run.status, GetParam().status);
    EXPECT_EQ(run.json[u"status"_s].toInt(), GetParam().status);
    EXPECT_EQ(run.json[u"error"_s].toString() + u'\n', run.err.mid(12));
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadInputs,
    testing::Values(
        BadInput{"MissingApplication", {u"search"_s, u"@/Missing.app"_s}, 2, "no such file"},
        BadInput{"FolderThatIsNotABundle",
                 {u"clean"_s, u"@/Plain folder"_s},
                 2,
                 "is not an application bundle (no CFBundleIdentifier"},
        BadInput{"FileThatIsNotABundle",
                 {u"search"_s, u"@/notes.txt"_s},
                 2,
                 "is not an application bundle (not a folder)"},
        BadInput{"DamagedPackage",
                 {u"package"_s, u"inspect"_s, u"@/damaged.Kolvane2"_s},
                 1,
                 "Error Reading Package: The package is either corrupt"},
        BadInput{"DeployOfADamagedPackage",
                 {u"package"_s, u"deploy"_s, u"@/damaged.Kolvane2"_s},
                 1,
                 "Error Reading Package"},
        BadInput{
            "MissingPackage", {u"package"_s, u"deploy"_s, u"@/gone.Kolvane2"_s}, 2, "no such file"},
        BadInput{"NotAPackage",
                 {u"package"_s, u"inspect"_s, u"@/notes.txt"_s},
                 2,
                 "Unsupported File Type"},
        BadInput{"BackupOfAnotherType",
                 {u"clean"_s, u"--backup"_s, u"@/backup.zip"_s, u"@/Applications/Tool.app"_s},
                 2,
                 "must be a .Kolvane2 file"},
        BadInput{"BackupOverAnExistingFile",
                 {u"clean"_s, u"--backup"_s, u"@/damaged.Kolvane2"_s, u"@/Applications/Tool.app"_s},
                 2,
                 "already exists"},
        BadInput{"PackageOfAnotherType",
                 {u"package"_s, u"create"_s, u"--component"_s, u"Dock"_s, u"-o"_s, u"@/p.zip"_s},
                 2,
                 "OUT must end in .Kolvane2"},
        BadInput{"PackageOfNothing",
                 {u"package"_s, u"create"_s, u"-o"_s, u"@/p.Kolvane2"_s},
                 2,
                 "name at least one --component or --app"},
        BadInput{
            "UnknownPackageComponent",
            {u"package"_s, u"create"_s, u"--component"_s, u"Nope"_s, u"-o"_s, u"@/p.Kolvane2"_s},
            2,
            "no package component is named \"Nope\""},
        BadInput{"UnknownComponent",
                 {u"components"_s, u"clean"_s, u"Nope"_s},
                 2,
                 "no component is named \"Nope\""},
        BadInput{"CheckOfAMissingFolder", {u"check"_s, u"@/Missing"_s}, 2, "is not a folder"},
        BadInput{"TwoFoldersToCheck", {u"check"_s, u"--user"_s, u"--system"_s}, 2, "give one of"},
        BadInput{
            "UnknownOption", {u"search"_s, u"--fast"_s, u"x.app"_s}, 2, "unknown option --fast"},
        BadInput{
            "MissingValue", {u"clean"_s, u"x.app"_s, u"--backup"_s}, 2, "--backup needs a value"},
        BadInput{"UnknownCommand", {u"frobnicate"_s}, 2, "unknown command frobnicate"},
        BadInput{"NoCommand", {}, 2, "name a command"}));

struct HelpCase {
    QStringList command;
    const char* usage;
};

class Help : public testing::TestWithParam<HelpCase> {};

TEST_P(Help, EveryCommandExplainsItself) {
    CtlWorld world;
    const CtlRun run = world.run(GetParam().command + QStringList{u"--help"_s});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.startsWith(QString::fromUtf8(GetParam().usage))) << qPrintable(run.out);
    EXPECT_TRUE(run.out.contains(u"Exit status"_s));
    EXPECT_TRUE(run.err.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Commands, Help,
    testing::Values(HelpCase{{}, "Usage: sorvanectl [--json]"},
                    HelpCase{{u"search"_s}, "Usage: sorvanectl search"},
                    HelpCase{{u"clean"_s}, "Usage: sorvanectl clean"},
                    HelpCase{{u"components"_s, u"list"_s}, "Usage: sorvanectl components list"},
                    HelpCase{{u"components"_s, u"clean"_s}, "Usage: sorvanectl components clean"},
                    HelpCase{{u"check"_s}, "Usage: sorvanectl check"},
                    HelpCase{{u"package"_s, u"components"_s},
                             "Usage: sorvanectl package components"},
                    HelpCase{{u"package"_s, u"create"_s}, "Usage: sorvanectl package create"},
                    HelpCase{{u"package"_s, u"inspect"_s}, "Usage: sorvanectl package inspect"},
                    HelpCase{{u"package"_s, u"deploy"_s}, "Usage: sorvanectl package deploy"}));

// A command that needs the helper says at once that it is missing and goes on.
struct Unreachable {
    const char* name;
    QStringList arguments; // "@" stands for the home folder
    int status;
};

void PrintTo(const Unreachable& c, std::ostream* os) {
    *os << c.name;
}

class HelperUnreachable : public testing::TestWithParam<Unreachable> {
protected:
    void expectSaidAtOnce(const CtlWorld& world) {
        world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
        world.writeDomain(u"com.example.tool"_s,
                          CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}}));
        world.writeDomain(u"zz.last"_s, CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}}));
        world.makeFile(world.homePath(u"Library/Preferences/broken.plist"_s), "<plist><dict>");
        QStringList arguments;
        for (QString word : GetParam().arguments)
            arguments.append(word.replace(u'@', world.home()));
        const CtlRun run = world.runJson(arguments);
        // Far below the link's 5- and 10-second waits: nobody waited for them.
        EXPECT_LT(run.elapsedMs, 3000);
        EXPECT_EQ(run.status, GetParam().status) << qPrintable(run.err);
        ASSERT_EQ(run.errLines().size(), 1) << qPrintable(run.err);
        EXPECT_TRUE(run.err.contains(u"the privileged helper is not reachable"_s));
        EXPECT_TRUE(run.err.contains(u"--install"_s));
        EXPECT_FALSE(run.json[u"helper"_s][u"reachable"_s].toBool());
    }
};

TEST_P(HelperUnreachable, WithoutAnyBus) {
    CtlWorld world;
    expectSaidAtOnce(world);
}

TEST_P(HelperUnreachable, OnABusWithoutTheHelper) {
    PrivateBus bus;
    ASSERT_TRUE(bus.isRunning()) << qPrintable(bus.lastError());
    CtlWorld world;
    world.setHelperBus(bus.address());
    expectSaidAtOnce(world);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, HelperUnreachable,
    testing::Values(
        Unreachable{"Search", {u"search"_s, u"@/Applications/Tool.app"_s}, 0},
        Unreachable{"CleanDryRun", {u"clean"_s, u"--dry-run"_s, u"@/Applications/Tool.app"_s}, 0},
        Unreachable{"Clean", {u"clean"_s, u"@/Applications/Tool.app"_s}, 0},
        Unreachable{"ComponentsClean", {u"components"_s, u"clean"_s, u"Dock"_s}, 0},
        // The user's folder is then checked with the user's own rights.
        Unreachable{"CheckUser", {u"check"_s, u"--user"_s}, 1}));

TEST(Progress, IsShownOnATerminalOnly) {
    CtlWorld world;
    world.makeFile(world.homePath(u"Check/a.plist"_s), "<plist><dict>");
    const QStringList check{u"check"_s, world.homePath(u"Check"_s)};
    const CtlRun plain = world.run(check);
    EXPECT_EQ(plain.status, 1);
    EXPECT_TRUE(plain.err.isEmpty()) << qPrintable(plain.err);
    // script(1) gives the program a terminal for all its streams.
    const CtlRun terminal =
        world.runThrough({u"script"_s, u"-qec"_s,
                          u"'%1' check '%2'"_s.arg(CtlWorld::program(), world.homePath(u"Check"_s)),
                          u"/dev/null"_s});
    EXPECT_TRUE(terminal.out.contains(u"Scanning files..."_s)) << qPrintable(terminal.out);
    EXPECT_TRUE(terminal.out.contains(u"1 file were scanned. 1 file had errors."_s));
}

} // namespace
