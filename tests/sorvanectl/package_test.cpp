#include "ctl_world.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

PlistValue numbers(const QList<QPair<QString, int>>& entries) {
    QList<QPair<QString, PlistValue>> values;
    for (const auto& [key, number] : entries)
        values.append({key, PlistValue::fromInteger(number)});
    return CtlWorld::dict(values);
}

const PlistValue kDockAtPacking = numbers({{u"a"_s, 1}, {u"b"_s, 2}, {u"c"_s, 3}});
const PlistValue kToolAtPacking = numbers({{u"size"_s, 10}, {u"zoom"_s, 2}});

class Packages : public testing::Test {
protected:
    void SetUp() override {
        world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
        world.writeDomain(u"com.example.dock"_s, kDockAtPacking);
        world.writeDomain(u"com.example.tool"_s, kToolAtPacking);
        world.writeDomain(u"zz.last"_s, numbers({{u"k"_s, 1}}));
        world.makeFile(world.homePath(u"Library/Application Support/Tool/state.json"_s),
                       "{\"open\": 3}");
    }

    // Dock and Tool packed into a new package file; its path.
    QString createPackage(const QString& name = u"settings.Kolvane2"_s) {
        const QString path = world.homePath(name);
        const CtlRun run =
            world.runJson({u"package"_s, u"create"_s, u"--component"_s, u"Dock"_s, u"--app"_s,
                           world.homePath(u"Applications/Tool.app"_s), u"-o"_s, path});
        EXPECT_EQ(run.status, 0) << qPrintable(run.err);
        created = run.json;
        return path;
    }

    CtlWorld world;
    QJsonObject created;
};

void expectHoldsDockAndTool(const QJsonObject& summary) {
    const QJsonArray components = summary[u"components"_s].toArray();
    ASSERT_EQ(components.size(), 1);
    EXPECT_EQ(components[0][u"name"_s].toString(), u"Dock"_s);
    EXPECT_EQ(components[0][u"domains"_s][0][u"domain"_s].toString(), u"com.example.dock"_s);
    EXPECT_EQ(components[0][u"domains"_s][0][u"keys"_s].toInt(), 3);
    const QJsonArray applications = summary[u"applications"_s].toArray();
    ASSERT_EQ(applications.size(), 1);
    EXPECT_EQ(applications[0][u"identifier"_s].toString(), u"com.example.tool"_s);
    EXPECT_EQ(applications[0][u"domains"_s][0][u"keys"_s].toInt(), 2);
    // The catalogue's packable file travels with its size.
    EXPECT_EQ(
        applications[0][u"files"_s].toArray(),
        (QJsonArray{QJsonObject{{u"path"_s, u"~/Library/Application Support/Tool/state.json"_s},
                                {u"size"_s, 11}}}));
}

TEST_F(Packages, CreateSavesAFileThatInspectShows) {
    const QString package = createPackage();
    EXPECT_EQ(created[u"kind"_s].toString(), u"package"_s);
    expectHoldsDockAndTool(created);
    const CtlRun inspect = world.runJson({u"package"_s, u"inspect"_s, package});
    ASSERT_EQ(inspect.status, 0);
    expectHoldsDockAndTool(inspect.json);
    const CtlRun text = world.run({u"package"_s, u"inspect"_s, package});
    EXPECT_TRUE(text.out.contains(u"  Dock — Dock layout\n    com.example.dock  (3 keys)\n"_s))
        << qPrintable(text.out);
    EXPECT_TRUE(text.out.contains(
        u"    file ~/Library/Application Support/Tool/state.json  (11 bytes)\n"_s));
    const QString again = world.homePath(u"again.Kolvane2"_s);
    const CtlRun create =
        world.run({u"package"_s, u"create"_s, u"--component"_s, u"Dock"_s, u"--output"_s, again});
    EXPECT_EQ(create.status, 0);
    EXPECT_TRUE(create.out.startsWith(u"Saved the package %1\nComponents (1):\n"_s.arg(again)))
        << qPrintable(create.out);
}

TEST_F(Packages, CreateMakesASelfDeployingApplicationForAnAppName) {
    const QString application = createPackage(u"Tool Settings.app"_s);
    EXPECT_EQ(created[u"kind"_s].toString(), u"application"_s);
    EXPECT_TRUE(QFile::exists(application + u"/Contents/MacOS/deploy"_s));
    EXPECT_TRUE(QFile::exists(application + u"/Contents/Resources/Package.Kolvane2"_s));
    const CtlRun inspect = world.runJson({u"package"_s, u"inspect"_s, application});
    ASSERT_EQ(inspect.status, 0);
    expectHoldsDockAndTool(inspect.json);
}

TEST_F(Packages, CreateWithTheShippedTemplate) {
    const QString shipped = QCoreApplication::applicationDirPath() + u"/../share/sorvane"_s;
    if (!QFile::exists(shipped + u"/sdkv2.zip"_s))
        GTEST_SKIP() << "the build has no self-deploying template (sdkv2.zip) yet";
    QFile::copy(shipped + u"/sdkv2.zip"_s, world.resources() + u"/shipped.zip"_s);
    QFile::remove(world.resources() + u"/sdkv2.zip"_s);
    QFile::rename(world.resources() + u"/shipped.zip"_s, world.resources() + u"/sdkv2.zip"_s);
    const QString application = createPackage(u"Tool Settings.app"_s);
    EXPECT_TRUE(QFile::exists(application + u"/Contents/Resources/Package.Kolvane2"_s));
    EXPECT_EQ(world.runJson({u"package"_s, u"inspect"_s, application}).status, 0);
}

TEST_F(Packages, DeployDryRunShowsTheKeysAddedChangedAndRemoved) {
    const QString package = createPackage();
    world.writeDomain(u"com.example.dock"_s, numbers({{u"b"_s, 2}, {u"c"_s, 4}, {u"d"_s, 5}}));
    world.writeDomain(u"com.example.tool"_s, kToolAtPacking);
    const auto before = world.snapshot();
    const CtlRun run = world.runJson({u"package"_s, u"deploy"_s, u"--dry-run"_s, package});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    EXPECT_EQ(world.snapshot(), before);
    const QJsonArray items = run.json[u"items"_s].toArray();
    ASSERT_EQ(items.size(), 2);
    const QJsonObject dock = items[0][u"domains"_s][0].toObject();
    EXPECT_TRUE(dock[u"exists"_s].toBool());
    EXPECT_EQ(dock[u"added"_s].toArray(), QJsonArray{u"a"_s});
    EXPECT_EQ(dock[u"changed"_s].toArray(), QJsonArray{u"c"_s});
    EXPECT_EQ(dock[u"removed"_s].toArray(), QJsonArray{u"d"_s});
    EXPECT_FALSE(dock.contains(u"written"_s));
    const QJsonObject tool = items[1][u"domains"_s][0].toObject();
    EXPECT_TRUE(tool[u"added"_s].toArray().isEmpty() && tool[u"changed"_s].toArray().isEmpty() &&
                tool[u"removed"_s].toArray().isEmpty());
    EXPECT_EQ(items[1][u"files"_s][0][u"state"_s].toString(), u"same"_s);

    const CtlRun text = world.run({u"package"_s, u"deploy"_s, u"--dry-run"_s, package});
    EXPECT_TRUE(text.out.contains(u"  domain com.example.dock: +a ~c -d\n"_s))
        << qPrintable(text.out);
    EXPECT_TRUE(text.out.contains(u"  domain com.example.tool: no change\n"_s));

    const CtlRun deploy = world.runJson({u"package"_s, u"deploy"_s, package});
    ASSERT_EQ(deploy.status, 0);
    EXPECT_EQ(world.readDomain(u"com.example.dock"_s), kDockAtPacking);
    EXPECT_TRUE(deploy.json[u"items"_s][0][u"domains"_s][0][u"written"_s].toBool());
}

TEST_F(Packages, DeployToAMachineWithoutTheDomainAddsEveryKey) {
    const QString package = createPackage();
    QFile::remove(world.homePath(u"Library/Preferences/com.example.dock.plist"_s));
    const CtlRun run = world.runJson({u"package"_s, u"deploy"_s, u"--dry-run"_s, package});
    const QJsonObject dock = run.json[u"items"_s][0][u"domains"_s][0].toObject();
    EXPECT_FALSE(dock[u"exists"_s].toBool());
    EXPECT_EQ(dock[u"added"_s].toArray(), (QJsonArray{u"a"_s, u"b"_s, u"c"_s}));
}

struct OnlyCase {
    const char* name;
    QStringList only;
    bool dock;
    bool tool;
};

void PrintTo(const OnlyCase& c, std::ostream* os) {
    *os << c.name;
}

class DeployOnly : public Packages, public testing::WithParamInterface<OnlyCase> {};

TEST_P(DeployOnly, WritesTheNamedItemsOnly) {
    const QString package = createPackage();
    const PlistValue changed = numbers({{u"other"_s, 9}});
    world.writeDomain(u"com.example.dock"_s, changed);
    world.writeDomain(u"com.example.tool"_s, changed);
    QStringList arguments{u"package"_s, u"deploy"_s, package};
    for (const QString& name : GetParam().only)
        arguments << u"--only"_s << name;
    const CtlRun run = world.runJson(arguments);
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    EXPECT_EQ(world.readDomain(u"com.example.dock"_s), GetParam().dock ? kDockAtPacking : changed);
    EXPECT_EQ(world.readDomain(u"com.example.tool"_s), GetParam().tool ? kToolAtPacking : changed);
    EXPECT_EQ(run.json[u"items"_s].toArray().size(), int(GetParam().dock) + int(GetParam().tool));
    EXPECT_EQ(run.json[u"skipped"_s].toArray().size(),
              int(!GetParam().dock) + int(!GetParam().tool));
}

INSTANTIATE_TEST_SUITE_P(
    Names, DeployOnly,
    testing::Values(OnlyCase{"ApplicationByName", {u"Tool"_s}, false, true},
                    OnlyCase{"ApplicationByIdentifier", {u"com.example.tool"_s}, false, true},
                    OnlyCase{"Component", {u"Dock"_s}, true, false},
                    OnlyCase{"Both", {u"Dock"_s, u"Tool"_s}, true, true},
                    OnlyCase{"Everything", {}, true, true}));

TEST_F(Packages, DeployOnlyAnUnknownNameWritesNothing) {
    const QString package = createPackage();
    world.writeDomain(u"com.example.dock"_s, numbers({{u"other"_s, 9}}));
    const auto before = world.snapshot();
    const CtlRun run = world.run({u"package"_s, u"deploy"_s, u"--only"_s, u"Finder"_s, package});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errLines().size(), 1);
    EXPECT_TRUE(run.err.contains(u"the package holds nothing named \"Finder\""_s));
    EXPECT_EQ(world.snapshot(), before);
}

TEST_F(Packages, ComponentsListsWhatAPackageCanCapture) {
    const CtlRun run = world.runJson({u"package"_s, u"components"_s});
    ASSERT_EQ(run.status, 0);
    const QJsonArray components = run.json[u"components"_s].toArray();
    ASSERT_EQ(components.size(), 2);
    EXPECT_EQ(components[0][u"name"_s].toString(), u"Dock"_s);
    EXPECT_EQ(components[1][u"domains"_s].toArray(), QJsonArray{u"NSGlobalDomain"_s});
    EXPECT_EQ(world.run({u"package"_s, u"components"_s}).out,
              u"Dock — Dock layout\n    com.example.dock\n"
              u"Global settings — Settings every application reads\n    NSGlobalDomain\n"_s);
}

} // namespace
