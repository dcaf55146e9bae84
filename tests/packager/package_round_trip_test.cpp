#include "catalogues/sv_known_app.h"
#include "packager/package_creator.h"
#include "packager/package_deployer.h"
#include "packager/package_reader.h"
#include "platform/tool_locations.h"

#include "log_capture.h"
#include "package_items.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

using Items = PackageCreator::Items;

QString runDefaults(const QStringList& arguments) {
    QProcess process;
    process.start(ToolLocations::defaultsTool(), arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const QString kTyped = uR"({
    "a string" = "two words";
    count = <*I42>;
    ratio = <*R0.5>;
    enabled = <*BY>;
    when = <*D2024-05-06 07:08:09 +0000>;
    blob = <00ff1020>;
    nested = (
        first,
        { inner = ( <*I1>, <*BN> ); }
    );
})"_s;

class PackageRoundTrip : public ::testing::Test {
protected:
    Sandbox sandbox;
    RecordingAlerts alerts;
    ScriptedRunningApplications running;
    std::atomic<bool> shouldCancel{false};

    void TearDown() override { SVKnownApp::unloadKnownAppData(); }

    void knownApps(const QByteArray& xml) {
        const QString path = sandbox.makeFile(sandbox.path() + u"/AppData.xml"_s, xml);
        SVKnownApp::loadKnownAppDataFromFile(path);
    }
};

TEST_F(PackageRoundTrip, CapturedDomainsAndFilesComeBackWithTheirTypes) {
    const QStringList domains = {u"com.example.Dock"_s, u"com.example.Finder"_s,
                                 u"com.example.Editor"_s, u"com.example.Editor.extra"_s};
    for (const QString& domain : domains)
        runDefaults({u"write"_s, domain, kTyped});
    const QString file = sandbox.makeFile(sandbox.homePath(u"Library/Editor/state.db"_s),
                                          QByteArray("state\0bytes", 11));
    const QString folderFile =
        sandbox.makeFile(sandbox.homePath(u"Library/Editor/Styles/a.css"_s), "body{}");
    sandbox.makeFile(sandbox.homePath(u"Library/Editor/Styles/empty.css"_s));
    knownApps("<applist><app id=\"com.example.Editor\"><domain>com.example.Editor.extra</domain>"
              "<path>~/Library/Editor/state.db</path><path>~/Library/Editor/Styles</path>"
              "</app></applist>");
    const QMap<QString, QString> before = [&] {
        QMap<QString, QString> texts;
        for (const QString& domain : domains)
            texts.insert(domain, runDefaults({u"read"_s, domain}));
        return texts;
    }();

    const Items system = {tickedComponent(u"Dock"_s, {domains[0], domains[1]})};
    const Items apps = {tickedApplication(u"Editor"_s, domains[2])};
    PackageCreator creator(&shouldCancel, alerts);
    const auto bytes = creator.background_createPackage(system, apps);
    ASSERT_TRUE(bytes);
    const QString package = sandbox.path() + u"/Settings.Kolvane2"_s;
    ASSERT_TRUE(
        PackageCreator::saveAssembledPackaged(*bytes, QUrl::fromLocalFile(package), alerts));

    for (const QString& domain : domains)
        runDefaults({u"delete"_s, domain});
    QDir(sandbox.homePath(u"Library/Editor"_s)).removeRecursively();
    ASSERT_TRUE(runDefaults({u"read"_s, domains[0]}).isEmpty());

    PackageReader reader(alerts, u"1.0"_s);
    ASSERT_TRUE(reader.initWithKolvaneUrl(QUrl::fromLocalFile(package)));
    ASSERT_EQ(reader.applications().size(), 1);
    EXPECT_TRUE(reader.applications()[0]->enabled());
    EXPECT_EQ(reader.applications()[0]->icon().size(), QSize(44, 44));
    PackageDeployer deployer(&shouldCancel, alerts, running);
    deployer.setPause(std::chrono::milliseconds(0));
    ASSERT_TRUE(deployer.promptUserToQuitApplications(reader.applications()));
    deployer.background_deployPreferences(reader.systemSettings(), reader.applications());

    for (const QString& domain : domains)
        EXPECT_EQ(runDefaults({u"read"_s, domain}), before.value(domain)) << domain.toStdString();
    EXPECT_EQ(readFile(file), QByteArray("state\0bytes", 11));
    EXPECT_EQ(readFile(folderFile), QByteArray("body{}"));
    EXPECT_FALSE(QFile::exists(sandbox.homePath(u"Library/Editor/Styles/empty.css"_s)));
    EXPECT_TRUE(alerts.shown.isEmpty());
}

TEST_F(PackageRoundTrip, MissingDomainIsLeftOutWithoutALogLine) {
    runDefaults({u"write"_s, u"com.example.here"_s, kTyped});
    PackageCreator creator(&shouldCancel, alerts);
    LogCapture log;
    EXPECT_FALSE(creator.plistForDomain(u"com.example.absent"_s));
    const auto record = creator.packagedPrefsForComponent(
        *tickedComponent(u"Mixed"_s, {u"com.example.absent"_s, u"com.example.here"_s}));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->value(u"prefs"_s).toMap().keys(), QStringList{u"com.example.here"_s});
    EXPECT_EQ(record->value(u"description"_s).toString(), u""_s);
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(u'\n').toStdString();
}

TEST_F(PackageRoundTrip, NothingCapturedIsReportedAndFilesAloneMakeNoRecord) {
    sandbox.makeFile(sandbox.homePath(u"Library/Editor/state.db"_s), "x");
    knownApps("<applist><app id=\"com.example.Gone\"><path>~/Library/Editor/state.db</path>"
              "</app></applist>");
    PackageCreator creator(&shouldCancel, alerts);
    EXPECT_FALSE(creator.background_createPackage(
        {tickedComponent(u"Empty"_s, {})}, {tickedApplication(u"Gone"_s, u"com.example.Gone"_s)}));
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].first, u"Package Could Not Be Created"_s);
    EXPECT_EQ(alerts.shown[0].second, u"No content could be packaged."_s);
}

TEST_F(PackageRoundTrip, RecordWithoutIdentifierIsCutOffAfterTheName) {
    runDefaults({u"write"_s, u"com.example.NoId"_s, kTyped});
    auto item = tickedApplication(u"NoId"_s, u"com.example.NoId"_s);
    item->setAppId(QString());
    PackageCreator creator(&shouldCancel, alerts);
    const auto record = creator.packagedPrefsForApplication(*item);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->keys(), (QStringList{u"iconPng"_s, u"name"_s}));
    EXPECT_EQ(item->icon().size(), QSize(44, 44));
}

TEST_F(PackageRoundTrip, FoldersPackOnlyTheirNonEmptyDirectFiles) {
    sandbox.makeFile(sandbox.homePath(u"Lib/sub/deep.txt"_s), "deep");
    sandbox.makeFile(sandbox.homePath(u"Lib/.hidden"_s), "h");
    sandbox.makeFile(sandbox.homePath(u"Lib/zero"_s));
    PackageCreator creator(&shouldCancel, alerts);
    LogCapture log;
    const auto files = creator.packedFilesAtUrl(QUrl::fromLocalFile(sandbox.homePath(u"Lib"_s)));
    ASSERT_TRUE(files);
    EXPECT_EQ(files->keys(), QStringList{u"~/Lib/.hidden"_s});
    EXPECT_EQ(log.lines(), (QStringList{u"PackageCreator::packedFilesAtUrl"_s,
                                        u"Error reading file: (null)"_s}));
    EXPECT_EQ(creator.packedFilesAtUrl(QUrl::fromLocalFile(sandbox.homePath(u"none"_s))),
              PackageCreator::FilesByPath());
}

TEST_F(PackageRoundTrip, CancelDuringTheFirstCaptureEndsTheRunningDefaults) {
    const QString marker = sandbox.path() + u"/finished"_s;
    const QString fake = sandbox.makeFile(sandbox.path() + u"/slow-defaults"_s,
                                          "#!/bin/sh\nsleep 20\ntouch '" + marker.toUtf8() + "'\n");
    QFile::setPermissions(fake, QFile::ReadOwner | QFile::ExeOwner);
    qputenv("SORVANE_DEFAULTS_TOOL", QFile::encodeName(fake));
    int closed = 0;
    PackageCreator creator(&shouldCancel, alerts, {{}, [&] { ++closed; }});
    std::thread canceller([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        shouldCancel = true;
    });
    const auto bytes =
        creator.background_createPackage({tickedComponent(u"Dock"_s, {u"a"_s, u"b"_s})}, {});
    canceller.join();
    qunsetenv("SORVANE_DEFAULTS_TOOL");
    EXPECT_FALSE(bytes);
    EXPECT_GE(closed, 1);
    EXPECT_TRUE(alerts.shown.isEmpty());
    EXPECT_FALSE(QFile::exists(marker));
}

TEST_F(PackageRoundTrip, SecondDeploymentAfterACancelWritesAtMostOneDomain) {
    const auto item = SVPPItem::itemWithComponent(u"Three"_s, {},
                                                  {{u"com.example.one"_s, kTyped},
                                                   {u"com.example.two"_s, kTyped},
                                                   {u"com.example.three"_s, kTyped}});
    item->setEnabled(true);
    shouldCancel = true; // left set by the cancelled first deployment
    int closed = 0;
    PackageDeployer deployer(&shouldCancel, alerts, running, {{}, {}, [&] { ++closed; }});
    deployer.setPause(std::chrono::milliseconds(0));
    deployer.background_deployPreferences({item}, {});
    const QStringList domains = item->prefsDomains();
    EXPECT_TRUE(runDefaults({u"read"_s, domains[1]}).isEmpty());
    EXPECT_TRUE(runDefaults({u"read"_s, domains[2]}).isEmpty());
    EXPECT_EQ(closed, 1);
}

TEST_F(PackageRoundTrip, OnlyTheFirstTickedRunningApplicationIsNamed) {
    auto unticked = tickedApplication(u"Quiet"_s, u"com.example.Quiet"_s);
    unticked->setEnabled(false);
    running.answers = {true, true};
    PackageDeployer deployer(&shouldCancel, alerts, running);
    EXPECT_FALSE(deployer.promptUserToQuitApplications(
        {unticked, tickedApplication(u"Busy"_s, u"b"_s), tickedApplication(u"Other"_s, u"o"_s)}));
    EXPECT_EQ(running.asked, 1);
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].second,
              u"Please quit Busy. While the application is running, its preferences are stored "
              u"in memory and replacing them will not have the desired effect."_s);
}

TEST_F(PackageRoundTrip, StdoutFromWriteIsAnErrorButStderrIsNot) {
    const QString fake = sandbox.makeFile(
        sandbox.path() + u"/chatty"_s,
        "#!/bin/sh\necho noise >&2\n[ -n \"$CHATTY\" ] && echo \"$CHATTY\"\nexit 0\n");
    QFile::setPermissions(fake, QFile::ReadOwner | QFile::ExeOwner);
    qputenv("SORVANE_DEFAULTS_TOOL", QFile::encodeName(fake));
    PackageDeployer deployer(&shouldCancel, alerts, running);
    LogCapture log;
    qputenv("CHATTY", "complaint");
    EXPECT_FALSE(deployer.writePreferences(u"{}"_s, u"d"_s));
    EXPECT_EQ(log.lines(), QStringList{u"Error writing defaults: complaint\n"_s});
    qunsetenv("CHATTY");
    EXPECT_TRUE(deployer.writePreferences(u"{}"_s, u"d"_s));
    qunsetenv("SORVANE_DEFAULTS_TOOL");
    qunsetenv("CHATTY");
}

} // namespace
