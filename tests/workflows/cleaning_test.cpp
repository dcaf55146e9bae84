#include "workflows/cleaning.h"

#include "catalogues/sv_os_component.h"
#include "fixed_domains.h"
#include "log_capture.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "workflows/application_search.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class CleaningTest : public ::testing::Test {
protected:
    Cleaning cleaning() { return Cleaning({helper, defaults, domains, running, alerts}); }

    Sandbox sandbox;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    LogCapture log;
    const QUrl appUrl = QUrl::fromLocalFile(u"/Applications/Tool.app"_s);
};

TEST_F(CleaningTest, DomainsGoToTheDefaultsProgramOrTheHelperByLevel) {
    helper.deleteDomainAnswer = [](const QString& domain) { return domain != u"root.fails"_s; };
    const DeletionCounter counter = cleaning().cleanDefaultsDomains({{u"user.a"_s, 0},
                                                                     {u"root.a"_s, 1},
                                                                     {u"root.fails"_s, 1},
                                                                     {u"odd.level"_s, 7},
                                                                     {u"user.b"_s, 0}});
    EXPECT_EQ(defaults.deleted, (QStringList{u"user.a"_s, u"user.b"_s}));
    EXPECT_EQ(helper.calls,
              (QStringList{u"deleteDefaultsDomain root.a"_s, u"deleteDefaultsDomain root.fails"_s,
                           u"deleteDefaultsDomain odd.level"_s}));
    EXPECT_EQ(counter, (DeletionCounter{4, 1}));
    EXPECT_EQ(log.lines(),
              QStringList{u"Error deleting defaults domain: <SVDefaultsDomain: domain = "
                          u"root.fails, authLevel = 1>"_s});
}

TEST_F(CleaningTest, FailedDefaultsRunIsAnError) {
    defaults.answer = false;
    EXPECT_EQ(cleaning().cleanDefaultsDomains({{u"user.a"_s, 0}}), (DeletionCounter{0, 1}));
    EXPECT_TRUE(helper.calls.isEmpty());
    EXPECT_EQ(cleaning().cleanDefaultsDomains({}), (DeletionCounter{0, 0}));
}

TEST_F(CleaningTest, FilesAreRemovedDirectlyAndTheHelperAnswerIsReadReversed) {
    const QString removable = sandbox.makeFile(sandbox.homePath(u"Library/Caches/tool/a"_s));
    const QString folder = sandbox.homePath(u"Library/Caches/tool"_s);
    // Missing paths cannot be removed directly, so they reach the helper.
    const QString helperSaysDeleted = sandbox.homePath(u"Library/Caches/gone-true"_s);
    const QString helperSaysNot = sandbox.homePath(u"Library/Caches/gone-false"_s);
    helper.deleteFileAnswer = [](const QUrl& url) { return url.path().endsWith(u"gone-true"_s); };

    const DeletionCounter counter =
        cleaning().deleteFiles({QUrl::fromLocalFile(folder), QUrl::fromLocalFile(helperSaysDeleted),
                                QUrl::fromLocalFile(helperSaysNot)});
    EXPECT_FALSE(QFile::exists(removable));
    EXPECT_EQ(helper.calls, (QStringList{u"deleteFileAtUrl "_s + helperSaysDeleted,
                                         u"deleteFileAtUrl "_s + helperSaysNot}));
    // The helper's "true" after a failed direct removal counts as an error.
    EXPECT_EQ(counter, (DeletionCounter{2, 1}));
    EXPECT_EQ(log.lines(), QStringList{u"Unable to delete file: "_s + helperSaysDeleted});
}

TEST_F(CleaningTest, WithoutIdentifierAnAlertAndNothingDeleted) {
    ApplicationSearchResults results;
    results.appDomainResults = {{u"user.a"_s, 0}};
    EXPECT_FALSE(cleaning().cleanAppPreferences(appUrl, results));
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown.first().first, u"The application could not be identified"_s);
    EXPECT_EQ(alerts.shown.first().second,
              u"Unable to identify any preference or cache files to delete"_s);
    EXPECT_TRUE(defaults.deleted.isEmpty());
    EXPECT_FALSE(cleaning().cleanAppPreferences(QUrl(), results));
    EXPECT_EQ(alerts.shown.size(), 1);
}

struct RunningCase {
    QList<bool> answers;
    bool cleaned;
    int alerts;
};

class RunningApplication : public CleaningTest,
                           public ::testing::WithParamInterface<RunningCase> {};

TEST_P(RunningApplication, AskedBeforeAndAfterTheWarning) {
    running.answers = GetParam().answers;
    ApplicationSearchResults results;
    results.appBundleIdentifier = u"com.example.tool"_s;
    results.appDomainResults = {{u"com.example.tool"_s, 0}};
    const auto counter = cleaning().cleanAppPreferences(appUrl, results);
    EXPECT_EQ(counter.has_value(), GetParam().cleaned);
    EXPECT_EQ(defaults.deleted.size(), GetParam().cleaned ? 1 : 0);
    ASSERT_EQ(alerts.shown.size(), GetParam().alerts);
    if (GetParam().alerts) {
        EXPECT_EQ(alerts.shown.first().first, u"Application Running"_s);
        EXPECT_EQ(
            alerts.shown.first().second,
            u"Please quit Tool before deleting its preferences. While the application is running, "
            u"its preferences are stored in memory and deleting them will not have the desired effect."_s);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, RunningApplication,
                         ::testing::Values(RunningCase{{false}, true, 0},
                                           // Quit while the alert was open: cleaned.
                                           RunningCase{{true, false}, true, 1},
                                           RunningCase{{true, true}, false, 1}));

TEST_F(CleaningTest, ApplicationCleaningCountsEverythingAndTriesAgainNextTime) {
    ApplicationSearchResults results;
    results.appBundleIdentifier = u"com.example.tool"_s;
    results.appDomainResults = {{u"com.example.tool"_s, 1}, {u"com.example.tool"_s, 0}};
    const QString pref = sandbox.makeFile(sandbox.homePath(u"Library/Preferences/Tool"_s));
    results.appAdditionalPreferenceFiles = {QUrl::fromLocalFile(pref)};
    results.appCacheFiles = {QUrl::fromLocalFile(sandbox.homePath(u"Library/Caches/none"_s))};
    EXPECT_EQ(cleaning().cleanAppPreferences(appUrl, results), (DeletionCounter{4, 0}));
    // The lists are not cleared: a second press tries every item again.
    EXPECT_EQ(cleaning().cleanAppPreferences(appUrl, results), (DeletionCounter{4, 0}));
    EXPECT_EQ(helper.calls.count(u"deleteDefaultsDomain com.example.tool"_s), 2);
}

TEST_F(CleaningTest, ComponentsTakeEveryMatchAndTheirFiles) {
    domains.root = {u"com.apple.dock"_s};
    domains.user = {u"com.apple.dock"_s, u"com.apple.dock.extra"_s, u"com.apple.finder"_s};
    const QString catalogue =
        sandbox.makeFile(sandbox.path() + u"/SystemData.xml"_s,
                         "<systemdata><component name=\"Dock\"><domain>com.apple.dock*</domain>"
                         "<path>~/Library/Application Support/Dock/a.db</path></component>"
                         "<component name=\"Nothing\"><domain>com.example.none</domain>"
                         "<path>~/Library/Preferences/none.plist</path></component></systemdata>");
    const QString dockFile =
        sandbox.makeFile(sandbox.homePath(u"Library/Application Support/Dock/a.db"_s));
    const QString noneFile =
        sandbox.makeFile(sandbox.homePath(u"Library/Preferences/none.plist"_s));
    const auto components = SVOSComponent::loadDataFromFile(catalogue);
    ASSERT_TRUE(components && components->size() == 2);

    QList<const SVOSComponent*> ticked;
    for (const SVOSComponent& component : *components)
        ticked.append(&component);
    EXPECT_EQ(cleaning().cleanOSComponents(ticked), (DeletionCounter{5, 0}));
    EXPECT_EQ(helper.calls, QStringList{u"deleteDefaultsDomain com.apple.dock"_s});
    EXPECT_EQ(defaults.deleted, (QStringList{u"com.apple.dock"_s, u"com.apple.dock.extra"_s}));
    EXPECT_FALSE(QFile::exists(dockFile));
    EXPECT_FALSE(QFile::exists(noneFile));
    EXPECT_EQ(cleaning().cleanOSComponents({}), (DeletionCounter{0, 0}));
}

} // namespace
