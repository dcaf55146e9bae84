// The Linux desktop's dconf domains in the workflows: found for an
// application with their levels and reasons, deleted by a cleaning through
// Sorvane's own defaults program, and carried by a package with their types.
#include "dconf_fixture.h"

#include "linux/dconf_domain_matcher.h"
#include "linux/linux_desktop.h"
#include "packager/package_creator.h"
#include "packager/package_deployer.h"
#include "packager/package_reader.h"
#include "workflows/application_search.h"
#include "workflows/cleaning.h"
#include "workflows/system_services.h"

#include "package_items.h"
#include "recording_helper.h"
#include "recording_services.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

// The child programs (Sorvane's defaults) work on the Linux desktop too.
class LinuxDconfWorkflows : public DconfFixture {
protected:
    void SetUp() override {
        DconfFixture::SetUp();
        previous_ = qgetenv("SORVANE_SETTINGS");
        qputenv("SORVANE_SETTINGS", "linux");
        SettingsSystem::setCurrent(std::make_unique<LinuxDesktop>());
        entry_ = writeEntry();
    }
    void TearDown() override {
        qputenv("SORVANE_SETTINGS", previous_);
        SettingsSystem::setCurrent(nullptr);
        DconfFixture::TearDown();
    }

    QString writeEntry() const {
        const QString folder =
            QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) + u"/applications"_s;
        QDir().mkpath(folder);
        const QString path = folder + u"/org.gnome.TextEditor.desktop"_s;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\nName=Text Editor\n"
                   "Exec=gnome-text-editor %U\n");
        return path;
    }

    LinuxDesktop desktop;
    QString entry_;
    QByteArray previous_;
};

} // namespace

TEST_F(LinuxDconfWorkflows, AnApplicationsDomainsAreFoundWithTheirReasons) {
    dconfWrite(u"/org/gnome/TextEditor/style-scheme"_s, u"'classic'"_s);
    dconfWrite(u"/org/gnome/TextEditor/plugins/spell/enabled"_s, u"true"_s);
    dconfWrite(u"/org/gnome/desktop/notifications/application/org-gnome-texteditor/enable"_s,
               u"false"_s);
    dconfWrite(u"/org/gnome/TextEditorPlus/size"_s, u"3"_s);

    DconfDomainMatcher matcher;
    ApplicationSearchResults results;
    ApplicationSearchReasons reasons;
    ASSERT_EQ(ApplicationSearch(matcher, desktop)
                  .doSearchesForApp(QUrl::fromLocalFile(entry_), results, &reasons),
              ApplicationSearch::Outcome::Found);
    const QList<SVDefaultsDomain> expected = {
        {u"org.gnome.TextEditor"_s, 0},
        {u"org.gnome.TextEditor.plugins.spell"_s, 0},
        {u"org.gnome.desktop.notifications.application.org-gnome-texteditor"_s, 0}};
    EXPECT_EQ(results.appDomainResults, expected);
    ASSERT_EQ(reasons.domains.size(), 3);
    EXPECT_EQ(reasons.domains[0].kind, MatchReason::Kind::ApplicationId);
    EXPECT_EQ(reasons.domains[2].kind, MatchReason::Kind::NotificationSettings);
}

TEST_F(LinuxDconfWorkflows, CleaningResetsTheUsersDomainsThroughTheDefaultsProgram) {
    dconfWrite(u"/org/gnome/TextEditor/style-scheme"_s, u"'classic'"_s);
    dconfWrite(u"/org/gnome/TextEditor/plugins/spell/enabled"_s, u"true"_s);
    dconfWrite(u"/org/gnome/TextEditorPlus/size"_s, u"3"_s);
    DconfDomainMatcher matcher;
    ApplicationSearchResults results;
    ASSERT_EQ(
        ApplicationSearch(matcher, desktop).doSearchesForApp(QUrl::fromLocalFile(entry_), results),
        ApplicationSearch::Outcome::Found);

    RecordingHelper helper;
    TaskMasterDomainRunner defaults;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    Cleaning cleaning({helper, defaults, matcher, running, alerts});
    const DeletionCounter counter = cleaning.cleanDefaultsDomains(results.appDomainResults);

    EXPECT_EQ(counter, (DeletionCounter{2, 0}));
    EXPECT_TRUE(dconfDump(u"/org/gnome/TextEditor/"_s).isEmpty());
    EXPECT_EQ(dconfRead(u"/org/gnome/TextEditorPlus/size"_s), u"3"_s);
}

TEST_F(LinuxDconfWorkflows, APackageCarriesDomainsWithTheirTypes) {
    const QList<QPair<QString, QString>> values = {
        {u"/org/example/Notes/title"_s, u"'It\\'s \"quoted\"\\nand two lines'"_s},
        {u"/org/example/Notes/width"_s, u"int64 -5000000000"_s},
        {u"/org/example/Notes/ratio"_s, u"0.25"_s},
        {u"/org/example/Notes/sizes"_s, u"@au []"_s},
        {u"/org/example/Notes/window/geometry"_s, u"(10, 20, uint16 300)"_s},
        {u"/org/example/Notes/window/tags"_s, u"{'a': <byte 0x01>}"_s}};
    for (const auto& [key, value] : values)
        dconfWrite(key, value);
    const QString before = dconfDump(u"/org/example/Notes/"_s);

    std::atomic<bool> cancel{false};
    RecordingAlerts alerts;
    PackageCreator creator(&cancel, alerts);
    const auto bytes = creator.background_createPackage(
        {}, {tickedApplication(u"Notes"_s, u"org.example.Notes"_s)});
    ASSERT_TRUE(bytes);
    const QString package = sandbox().folder() + u"/notes.Kolvane2"_s;
    QFile::remove(package);
    ASSERT_TRUE(
        PackageCreator::saveAssembledPackaged(*bytes, QUrl::fromLocalFile(package), alerts));

    // Values that were never packed must be gone after the deployment, too.
    ASSERT_TRUE(sandbox().resetAll());
    dconfWrite(u"/org/example/Notes/stale"_s, u"true"_s);

    PackageReader reader(alerts, u"1.0"_s);
    ASSERT_TRUE(reader.initWithKolvaneUrl(QUrl::fromLocalFile(package)));
    ScriptedRunningApplications running;
    PackageDeployer deployer(&cancel, alerts, running);
    deployer.setPause(std::chrono::milliseconds(0));
    deployer.background_deployPreferences(reader.systemSettings(), reader.applications());

    EXPECT_EQ(dconfDump(u"/org/example/Notes/"_s), before);
    // dconf prints every value but the string exactly as it was written.
    for (const auto& [key, value] : values.mid(1))
        EXPECT_EQ(dconfRead(key), value) << key.toStdString();
    EXPECT_TRUE(dconfRead(u"/org/example/Notes/stale"_s).isEmpty());
    EXPECT_TRUE(alerts.shown.isEmpty());
}
