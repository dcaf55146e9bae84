// What the main window tells a user who has not done anything yet, or whose
// search or check found nothing, and where its file panels open.
#include "app/app_delegate.h"
#include "app/main_window.h"

#include "controls/app_icon_image_view.h"
#include "controls/empty_state_label.h"
#include "controls/ft_path_control.h"
#include "controls/panel_runner.h"
#include "controls/show_alert.h"
#include "controls/sv_list_view.h"
#include "fixed_domains.h"
#include "linux/linux_desktop.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "scoped_environment.h"
#include "test_bundles.h"

#include <QFileDialog>
#include <QLabel>
#include <QTableWidget>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class Guidance : public ::testing::Test {
protected:
    void SetUp() override {
        domains.user = {u"com.example.tool"_s};
        previousAlerts = setAlertPresenter(&alerts);
        previousRunner = PanelRunner::setRunner([this](QFileDialog& panel) {
            panelFolders.append(panel.directory().absolutePath());
            return 0;
        });
    }
    void TearDown() override {
        delegate.reset();
        setAlertPresenter(previousAlerts);
        PanelRunner::setRunner(previousRunner);
    }

    void makeDelegate(SettingsSystem& system) {
        delegate =
            std::make_unique<AppDelegate>(AppServices{helper, defaults, domains, running, system});
        delegate->window->show();
    }
    void makeDelegate() { makeDelegate(SettingsSystem::current()); }

    QUrl makeBundle(const QString& name, const QString& identifier) {
        return QUrl::fromLocalFile(testbundles::makeBundle(
            sandbox.homePath(u"Applications/"_s + name), {{u"CFBundleIdentifier"_s, identifier}}));
    }

    // Whether the list shows its empty state, and what it says.
    static QString emptyText(const SVListView* list) {
        return list->emptyStateLabel()->isVisibleTo(list) ? list->emptyStateLabel()->text()
                                                          : QString();
    }

    Sandbox sandbox;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    AlertPresenter* previousAlerts = nullptr;
    PanelRunner::Runner previousRunner;
    QStringList panelFolders;
    std::unique_ptr<AppDelegate> delegate;
};

TEST_F(Guidance, TheApplicationTabSaysHowToChooseUntilAnApplicationIsChosen) {
    makeDelegate();
    MainWindow* window = delegate->window;
    EXPECT_TRUE(window->chooseHintLabel->isVisible());
    EXPECT_TRUE(window->chooseHintLabel->text().contains(u"Choose Application"_s));
    EXPECT_FALSE(delegate->app_iconView->placeholderText().isEmpty());
    for (const SVListView* list :
         {delegate->appDefaultsDomainsListView, delegate->appAdditionalPrefsFilesListView,
          delegate->appCachesListView})
        EXPECT_TRUE(emptyText(list).startsWith(u"Choose an application"_s));

    // Domains are found; no preference file or cache is.
    delegate->setApplicationUrl(makeBundle(u"Tool.app"_s, u"com.example.tool"_s));
    EXPECT_FALSE(window->chooseHintLabel->isVisible());
    EXPECT_EQ(delegate->appDefaultsDomainsListView->items().size(), 1);
    EXPECT_TRUE(emptyText(delegate->appDefaultsDomainsListView).isEmpty());
    EXPECT_EQ(emptyText(delegate->appCachesListView),
              u"No caches were found for this application."_s);

    delegate->setApplicationUrl(QUrl());
    EXPECT_TRUE(window->chooseHintLabel->isVisible());
}

// The check's table says what to press before any check, and that nothing
// was found after a check without failures; rows hide it.
TEST_F(Guidance, TheCheckSaysWhatToDoBeforeAndWhatWasFoundAfter) {
    makeDelegate();
    delegate->window->tabs->setCurrentIndex(2);
    EmptyStateLabel* empty = delegate->window->failuresEmptyState;
    EXPECT_TRUE(empty->isVisible());
    EXPECT_TRUE(empty->text().contains(u"Check User Preferences"_s));

    helper.checkAnswer = QMap<QString, QString>{{u"/p/good.plist"_s, u"OK"_s}};
    delegate->checkUserPrefs();
    QTRY_VERIFY_WITH_TIMEOUT(delegate->opCompleteSheet->isVisible(), 5000);
    EXPECT_TRUE(empty->isVisible());
    EXPECT_TRUE(empty->text().startsWith(u"No damaged files were found"_s));

    delegate->opComplete_closeSheet();
    helper.checkAnswer = QMap<QString, QString>{{u"/p/bad.plist"_s, u"Broken"_s}};
    delegate->checkUserPrefs();
    QTRY_VERIFY_WITH_TIMEOUT(delegate->opCompleteSheet->isVisible(), 5000);
    EXPECT_EQ(delegate->plutilFailuresTable->rowCount(), 1);
    EXPECT_FALSE(empty->isVisible());
}

TEST_F(Guidance, AnEmptyComponentsListSaysWhy) {
    makeDelegate();
    delegate->window->tabs->setCurrentIndex(1);
    delegate->osComponents.clear();
    delegate->reloadComponentsTable();
    EXPECT_TRUE(delegate->window->componentsEmptyState->isVisible());
    EXPECT_TRUE(delegate->window->componentsEmptyState->text().contains(u"catalogue"_s));

    const QString catalogue = sandbox.makeFile(
        sandbox.path() + u"/SystemData.xml"_s,
        "<systemdata><component name=\"Dock\"><domain>com.example.dock</domain></component>"
        "</systemdata>");
    delegate->osComponents =
        SVOSComponent::loadDataFromFile(catalogue).value_or(QList<SVOSComponent>());
    ASSERT_EQ(delegate->osComponents.size(), 1);
    delegate->reloadComponentsTable();
    EXPECT_FALSE(delegate->window->componentsEmptyState->isVisible());
}

// Where each panel opens: among the applications of the home being worked
// on, else the system's, else the home folder; package panels in the home
// folder, never the program's working folder.
struct PanelCase {
    const char* name;
    QStringList folders; // made in the sandbox before the panel opens
    QString expected;    // relative to the sandbox's home ("~/") or system root ("/")
    enum Panel { Browse, PathControl, Deploy } panel;
};

class PanelFolders : public Guidance, public ::testing::WithParamInterface<PanelCase> {
protected:
    QString inSandbox(const QString& path) const {
        return path.startsWith(u"~/"_s) ? sandbox.homePath(path.mid(2))
               : path == u"~"_s         ? sandbox.home()
                                        : sandbox.rootPath(path.mid(1));
    }
};

TEST_P(PanelFolders, OpenWhereTheUserLooksFirst) {
    const PanelCase& c = GetParam();
    for (const QString& folder : c.folders)
        sandbox.makeFolder(inSandbox(folder));
    makeDelegate();
    switch (c.panel) {
    case PanelCase::Browse:
        delegate->browseForApp();
        break;
    case PanelCase::PathControl:
        delegate->app_pathControl->actionForUnsetControl(delegate->app_pathControl);
        break;
    case PanelCase::Deploy:
        delegate->deployKolvane();
        break;
    }
    ASSERT_EQ(panelFolders.size(), 1);
    EXPECT_EQ(panelFolders.first(), QDir(inSandbox(c.expected)).absolutePath());
}

INSTANTIATE_TEST_SUITE_P(
    Panels, PanelFolders,
    ::testing::Values(PanelCase{"BrowseHomeApplications",
                                {u"~/Applications"_s, u"/Applications"_s},
                                u"~/Applications"_s,
                                PanelCase::Browse},
                      PanelCase{"BrowseSystemApplications",
                                {u"/Applications"_s},
                                u"/Applications"_s,
                                PanelCase::Browse},
                      PanelCase{"BrowseHome", {}, u"~"_s, PanelCase::Browse},
                      PanelCase{"PathControlHomeApplications",
                                {u"~/Applications"_s},
                                u"~/Applications"_s,
                                PanelCase::PathControl},
                      PanelCase{"DeployHome", {u"~/Applications"_s}, u"~"_s, PanelCase::Deploy}),
    [](const auto& test) { return std::string(test.param.name); });

// On the Linux desktop the path control's panel picks desktop entries among
// the user's own, then the system's.
TEST_F(Guidance, LinuxEntryPanelOpensAmongTheEntries) {
    ScopedEnvironment environment;
    environment.set("XDG_DATA_HOME", sandbox.homePath(u".local/share"_s));
    LinuxDesktop desktop;
    makeDelegate(desktop);
    const QString system = sandbox.makeFolder(sandbox.rootPath(u"usr/share/applications"_s));
    delegate->app_pathControl->actionForUnsetControl(delegate->app_pathControl);
    const QString own = sandbox.makeFolder(sandbox.homePath(u".local/share/applications"_s));
    delegate->app_pathControl->actionForUnsetControl(delegate->app_pathControl);
    EXPECT_EQ(panelFolders, (QStringList{system, own}));
}

} // namespace
