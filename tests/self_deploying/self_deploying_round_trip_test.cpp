// A package captured from the sandbox, carried by a self-deploying
// application made from the real template, deployed by that application's
// own program as a real process.
#include "self_deploying_fixture.h"

#include "platform/defaults_store.h"
#include "test_bundles.h"

#include <QDir>
#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

// Settings of every type, told apart per domain by n (two digits).
QString typedSettings(int n) {
    return uR"({
    "a string" = "two words %1";
    count = <*I%1>;
    ratio = <*R%1.25>;
    enabled = <*BY>;
    off = <*BN>;
    when = <*D2024-05-06 07:08:%1 +0000>;
    blob = <00ff%1>;
    nested = (
        first,
        { inner = ( <*I1>, <*BN>, { deep = "%1"; } ); }
    );
    empty = { };
})"_s.arg(n);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

class SelfDeployingRoundTrip : public SelfDeployingFixture {
protected:
    const QStringList systemDomains = {u"com.example.dock"_s, u"com.example.finder"_s};
    const QStringList editorDomains = {u"com.example.Editor"_s, u"com.example.Editor.extra"_s};
    const QString viewerDomain = u"com.example.Viewer"_s;
    const QByteArray stateBytes = QByteArray("state\0bytes", 11);

    QStringList allDomains() const {
        return systemDomains + editorDomains + QStringList{viewerDomain};
    }

    // Writes every domain and the editor's files, and a catalogue entry that
    // packs those files; returns the package of a component and two apps.
    QByteArray packageOfEverything() {
        int n = 11;
        for (const QString& domain : allDomains())
            runDefaults({u"write"_s, domain, typedSettings(n++)});
        sandbox.makeFile(sandbox.homePath(u"Library/Editor/state.db"_s), stateBytes);
        sandbox.makeFile(sandbox.homePath(u"Library/Editor/Styles/a.css"_s), "body{}");
        // Catalogue paths that start with "/" lie below the system root, so
        // this file travels under an absolute path outside the home folder.
        sandbox.makeFile(sandbox.rootPath(u"shared/team.cfg"_s), "team=1\n");
        knownApps(
            "<applist><app id=\"com.example.Editor\"><domain>com.example.Editor.extra</domain>"
            "<path>~/Library/Editor/state.db</path><path>~/Library/Editor/Styles</path>"
            "<path>/shared/team.cfg</path></app></applist>");
        return createPackage({tickedComponent(u"Dock"_s, systemDomains)},
                             {tickedApplication(u"Editor"_s, editorDomains[0]),
                              tickedApplication(u"Viewer"_s, viewerDomain)});
    }

    void removeEverything() {
        for (const QString& domain : allDomains())
            runDefaults({u"delete"_s, domain});
        QDir(sandbox.homePath(u"Library/Editor"_s)).removeRecursively();
        QDir(sandbox.rootPath(u"shared"_s)).removeRecursively();
    }
};

TEST_F(SelfDeployingRoundTrip, EveryDomainAndFileComesBackWithItsTypes) {
    const QByteArray package = packageOfEverything();
    const DefaultsStore store(sandbox.home());
    QMap<QString, PlistValue> before;
    QString error;
    for (const QString& domain : allDomains())
        before.insert(domain, store.readDomain(domain, &error));
    const QString bundle = assemble(package, u"Team Settings"_s);
    ASSERT_FALSE(bundle.isEmpty());
    removeEverything();
    ASSERT_FALSE(store.readDomain(systemDomains[0], &error).isValid());
    ASSERT_FALSE(QFile::exists(sandbox.homePath(u"Library/Editor/state.db"_s)));

    const DeployRun run = runDeploy(bundle);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.err, u""_s);
    EXPECT_TRUE(
        run.out.endsWith(u"Deployed 5 domains and 3 files into %1.\n"_s.arg(sandbox.home())))
        << run.out.toStdString();

    for (const QString& domain : allDomains()) {
        const PlistValue after = store.readDomain(domain, &error);
        ASSERT_TRUE(after.isDictionary()) << domain.toStdString() << ": " << error.toStdString();
        EXPECT_TRUE(after == before.value(domain)) << domain.toStdString();
    }
    // The values kept their types, not just their texts.
    const PlistValue dock = store.readDomain(systemDomains[0], &error);
    EXPECT_EQ(dock.find(u"count"_s)->type(), PlistValue::Type::Integer);
    EXPECT_EQ(dock.find(u"count"_s)->toInteger(), 11);
    EXPECT_EQ(dock.find(u"ratio"_s)->type(), PlistValue::Type::Real);
    EXPECT_DOUBLE_EQ(dock.find(u"ratio"_s)->toReal(), 11.25);
    EXPECT_EQ(dock.find(u"enabled"_s)->type(), PlistValue::Type::Boolean);
    EXPECT_TRUE(dock.find(u"enabled"_s)->toBool());
    EXPECT_FALSE(dock.find(u"off"_s)->toBool());
    EXPECT_EQ(dock.find(u"when"_s)->toDateTime(),
              QDateTime(QDate(2024, 5, 6), QTime(7, 8, 11), Qt::UTC));
    EXPECT_EQ(dock.find(u"blob"_s)->toData(), QByteArray("\x00\xff\x11", 3));
    const PlistValue& nested = *dock.find(u"nested"_s);
    ASSERT_TRUE(nested.isArray());
    ASSERT_EQ(nested.count(), 2);
    EXPECT_EQ(nested.at(1).find(u"inner"_s)->at(2).find(u"deep"_s)->toString(), u"11"_s);
    EXPECT_TRUE(dock.find(u"empty"_s)->isDictionary());

    EXPECT_EQ(readFile(sandbox.homePath(u"Library/Editor/state.db"_s)), stateBytes);
    EXPECT_EQ(readFile(sandbox.homePath(u"Library/Editor/Styles/a.css"_s)), QByteArray("body{}"));
    EXPECT_EQ(readFile(sandbox.rootPath(u"shared/team.cfg"_s)), QByteArray("team=1\n"));
}

TEST_F(SelfDeployingRoundTrip, ListingPrintsTheContentsAndChangesNothing) {
    runDefaults({u"write"_s, systemDomains[0], typedSettings(21)});
    runDefaults({u"write"_s, systemDomains[1], typedSettings(22)});
    runDefaults({u"write"_s, editorDomains[0], typedSettings(23)});
    sandbox.makeFile(sandbox.homePath(u"Library/Editor/state.db"_s), stateBytes);
    knownApps("<applist><app id=\"com.example.Editor\"><path>~/Library/Editor/state.db</path>"
              "</app></applist>");
    const QString bundle =
        assemble(createPackage({tickedComponent(u"Dock"_s, systemDomains)},
                               {tickedApplication(u"Editor"_s, editorDomains[0])}),
                 u"Team Settings"_s);
    ASSERT_FALSE(bundle.isEmpty());
    // What the listing must not bring back.
    runDefaults({u"delete"_s, systemDomains[1]});
    QFile::remove(sandbox.homePath(u"Library/Editor/state.db"_s));
    const auto before = homeSnapshot();

    const DeployRun run = runDeploy(bundle, {u"--list"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, u""_s);
    EXPECT_EQ(run.out, u"Team Settings (%1/Contents/Resources/Package.Kolvane2)\n"
                       u"System settings: 1\n"
                       u"  Dock\n"
                       u"    domain com.example.dock\n"
                       u"    domain com.example.finder\n"
                       u"Applications: 1\n"
                       u"  Editor (com.example.Editor)\n"
                       u"    domain com.example.Editor\n"
                       u"    file ~/Library/Editor/state.db (11 bytes)\n"_s.arg(bundle));
    EXPECT_EQ(homeSnapshot(), before);
}

TEST_F(SelfDeployingRoundTrip, WithoutItsDefaultsProgramTheDomainsAreReportedAsProblems) {
    const QByteArray package = packageOfEverything();
    const QString bundle = assemble(package, u"Team Settings"_s);
    ASSERT_FALSE(bundle.isEmpty());
    removeEverything();
    ASSERT_TRUE(QFile::remove(bundle + u"/Contents/MacOS/defaults"_s));

    const DeployRun run = runDeploy(bundle);
    EXPECT_EQ(run.exitCode, 1);
    const QStringList writeErrors =
        run.errLines().filter(u"sorvane-deploy: Error running defaults write command: "_s);
    EXPECT_EQ(writeErrors.size(), 5) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(u"Deployment into %1 finished with "_s.arg(sandbox.home())))
        << run.out.toStdString();
    EXPECT_TRUE(homeSnapshot().keys().filter(u"Library/Preferences/com.example"_s).isEmpty());
    // Files are the program's own work and still arrive.
    EXPECT_EQ(readFile(sandbox.homePath(u"Library/Editor/state.db"_s)), stateBytes);
}

TEST_F(SelfDeployingRoundTrip, ARunningApplicationStopsTheDeploymentBeforeAnyWrite) {
    // Every test on the machine sees a running process, so this application
    // has an identifier no other test uses.
    const QString sketcher = u"com.example.Sketcher"_s;
    runDefaults({u"write"_s, sketcher, typedSettings(31)});
    const QString bundle =
        assemble(createPackage({}, {tickedApplication(u"Sketcher"_s, sketcher)}), u"Mine"_s);
    ASSERT_FALSE(bundle.isEmpty());
    runDefaults({u"delete"_s, sketcher});
    // A copy of sleep inside a bundle with the sketcher's identifier is the
    // running sketcher.
    const QString app = testbundles::makeBundle(sandbox.path() + u"/Apps/Sketcher.app"_s,
                                                {{u"CFBundleIdentifier"_s, sketcher}});
    const QString program = app + u"/Contents/MacOS/Sketcher"_s;
    QDir().mkpath(app + u"/Contents/MacOS"_s);
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
    QProcess sleeper;
    sleeper.start(program, {u"60"_s});
    ASSERT_TRUE(sleeper.waitForStarted());

    const DeployRun run = runDeploy(bundle);
    sleeper.kill();
    sleeper.waitForFinished();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errLines(),
              QStringList{u"sorvane-deploy: Application Running: Please quit Sketcher. While the "
                          u"application is running, its preferences are stored in memory and "
                          u"replacing them will not have the desired effect."_s});
    EXPECT_TRUE(runDefaults({u"read"_s, sketcher}).isEmpty());
}

} // namespace
