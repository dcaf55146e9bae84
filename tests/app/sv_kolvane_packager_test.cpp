#include "app/app_delegate.h"
#include "app/sv_kolvane_packager.h"

#include "controls/application_chooser.h"
#include "controls/checkbox_table_cell_view.h"
#include "controls/panel_runner.h"
#include "controls/progress_sheet.h"
#include "controls/show_alert.h"
#include "fixed_domains.h"
#include "linux/linux_desktop.h"
#include "package_items.h"
#include "packager/package_creator.h"
#include "packager/package_reader.h"
#include "platform/defaults_store.h"
#include "platform/plist_text_format.h"
#include "platform/user_defaults.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "test_bundles.h"

#include <QCheckBox>
#include <QDialog>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QPushButton>
#include <QScopeGuard>
#include <QTableWidget>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Items = SVKolvanePackager::Items;

// Keeps the GUI thread turning until the condition holds or time runs out.
bool waitFor(const std::function<bool()>& condition, int timeoutMs = 10000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < timeoutMs)
        QTest::qWait(10);
    return condition();
}

class PackagerWindow : public ::testing::Test {
protected:
    void SetUp() override {
        previousAlerts = setAlertPresenter(&alerts);
        previousRunner = PanelRunner::setRunner([this](QFileDialog& panel) {
            ++panelsShown;
            return panelAnswer ? panelAnswer(panel) : 0;
        });
    }
    void TearDown() override {
        setAlertPresenter(previousAlerts);
        PanelRunner::setRunner(previousRunner);
    }

    QUrl makeApp(const QString& name, const QString& identifier) {
        return QUrl::fromLocalFile(testbundles::makeBundle(
            sandbox.path() + u"/Applications/"_s + name, {{u"CFBundleIdentifier"_s, identifier}}));
    }

    // A package file written through the packager core with the given domains' settings.
    QUrl makePackage(const QString& fileName, const QString& component,
                     const QStringList& domains) {
        const DefaultsStore store(sandbox.home());
        for (const QString& domain : domains) {
            PlistValue value = PlistValue::dictionary();
            value.insert(u"key"_s, PlistValue::fromString(domain));
            EXPECT_TRUE(store.writeDomain(domain, value, nullptr));
        }
        std::atomic<bool> cancel{false};
        PackageCreator creator(&cancel, alerts);
        const auto bytes =
            creator.background_createPackage({tickedComponent(component, domains)}, {});
        EXPECT_TRUE(bytes.has_value());
        const QUrl url = QUrl::fromLocalFile(sandbox.path() + u'/' + fileName);
        EXPECT_TRUE(PackageCreator::writePackageFile(bytes.value_or(QByteArray()), url, alerts));
        for (const QString& domain : domains)
            EXPECT_TRUE(store.deleteDomain(domain, nullptr));
        return url;
    }

    static std::unique_ptr<QMimeData> urls(const QList<QUrl>& list) {
        auto mime = std::make_unique<QMimeData>();
        mime->setUrls(list);
        return mime;
    }

    Sandbox sandbox;
    RecordingAlerts alerts;
    ScriptedRunningApplications running;
    AlertPresenter* previousAlerts = nullptr;
    PanelRunner::Runner previousRunner;
    std::function<int(QFileDialog&)> panelAnswer;
    int panelsShown = 0;
};

TEST_F(PackagerWindow, ModesShowTheirOwnButtonAndCreationListsTheCatalogueUnticked) {
    SVKolvanePackager creation;
    creation.displayWindow();
    EXPECT_TRUE(creation.createPackageButton->isVisible());
    EXPECT_FALSE(creation.deployPrefsButton->isVisible());
    ASSERT_FALSE(creation.systemSettings.isEmpty());
    EXPECT_EQ(creation.numberOfRowsInTableView(creation.systemSettingsTable),
              creation.systemSettingsTable->rowCount());
    for (const auto& item : creation.systemSettings)
        EXPECT_FALSE(item->enabled()) << item->displayName().toStdString();
    EXPECT_EQ(creation.applicationsTable->rowCount(), 0);

    const auto deployment = SVKolvanePackager::initWithKolvaneUrl(
        makePackage(u"Dock.Kolvane2"_s, u"Dock"_s, {u"com.example.dock"_s}), running);
    ASSERT_TRUE(deployment);
    deployment->displayWindow();
    EXPECT_FALSE(deployment->createPackageButton->isVisible());
    EXPECT_TRUE(deployment->deployPrefsButton->isVisible());
    ASSERT_EQ(deployment->systemSettingsTable->rowCount(), 1);
    EXPECT_EQ(deployment->systemSettingsTable->item(0, 1)->text(), u"Dock"_s);
    const auto* cell =
        qobject_cast<CheckboxTableCellView*>(deployment->systemSettingsTable->cellWidget(0, 0));
    ASSERT_NE(cell, nullptr);
    EXPECT_TRUE(cell->checkbox()->isChecked());
}

// Rows are all as tall as each other, in both tables, whether they hold an
// icon or not; at the window's default size at least fifteen are in view;
// the columns start as wide as their contents, never wrap, and the user may
// resize them.
TEST_F(PackagerWindow, RowsAreUniformAndFifteenAreInViewAtTheDefaultSize) {
    SVKolvanePackager packager;
    packager.systemSettings.clear();
    const QString longest = u"Keyboard shortcuts of the whole desktop and its panels"_s;
    for (int i = 0; i < 50; ++i)
        packager.systemSettings.append(
            tickedComponent(i == 7 ? longest : u"Part %1"_s.arg(i), {u"com.example.p"_s}));
    packager.applications = {tickedApplication(u"Editor"_s, u"com.example.editor"_s),
                             tickedComponent(u"No Icon"_s, {u"com.example.plain"_s})};
    packager.reloadTable(packager.systemSettingsTable);
    packager.reloadTable(packager.applicationsTable);
    packager.displayWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(packager.window));

    const int height = packager.systemSettingsTable->rowHeight(0);
    for (QTableWidget* table : {packager.systemSettingsTable, packager.applicationsTable}) {
        ASSERT_GT(table->rowCount(), 1);
        EXPECT_GE(height, table->fontMetrics().height());
        EXPECT_GE(height, table->iconSize().height());
        for (int row = 1; row < table->rowCount(); ++row)
            EXPECT_EQ(table->rowHeight(row), height) << "row " << row;
        EXPECT_FALSE(table->wordWrap());
        EXPECT_EQ(table->horizontalHeader()->sectionResizeMode(1), QHeaderView::Interactive);
    }
    const QTableWidget* system = packager.systemSettingsTable;
    EXPECT_GE(system->viewport()->height() / system->rowHeight(0), 15)
        << "viewport " << system->viewport()->height() << ", rows " << system->rowHeight(0);
    EXPECT_GE(system->columnWidth(1), system->fontMetrics().horizontalAdvance(longest));
}

struct ModeCase {
    const char* name;
    bool deployment;
    bool dropHint;
    QString title;
};

class PackagerModes : public PackagerWindow, public ::testing::WithParamInterface<ModeCase> {};

// Only a window that takes drops invites them; deployment windows are told
// apart by their package file's name.
TEST_P(PackagerModes, DropHintAndTitleFollowTheMode) {
    const ModeCase& c = GetParam();
    std::unique_ptr<SVKolvanePackager> packager =
        c.deployment
            ? SVKolvanePackager::initWithKolvaneUrl(
                  makePackage(u"Team Dock.Kolvane2"_s, u"Dock"_s, {u"com.example.dock"_s}), running)
            : std::make_unique<SVKolvanePackager>();
    ASSERT_TRUE(packager);
    EXPECT_EQ(packager->applicationsLabel->text().contains(u"drop"_s), c.dropHint)
        << packager->applicationsLabel->text().toStdString();
    EXPECT_EQ(packager->applicationsLabel->buddy(), packager->applicationsTable);
    EXPECT_EQ(packager->window->windowTitle(), c.title);
    EXPECT_EQ(packager->addApplicationButton->isVisibleTo(packager->window), !c.deployment);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, PackagerModes,
    ::testing::Values(ModeCase{"Creation", false, true, u"Preference Packager"_s},
                      ModeCase{"Deployment", true, false,
                               u"Team Dock.Kolvane2 – Deploy Preference Package"_s}),
    [](const auto& test) { return std::string(test.param.name); });

struct DropCase {
    const char* name;
    bool deployment;
    bool applicationsTable;
    int proposed;
    int answer;
};

class PackagerDropValidation : public PackagerWindow,
                               public ::testing::WithParamInterface<DropCase> {};

TEST_P(PackagerDropValidation, AnswersAsTheModeAndTableSay) {
    const DropCase& c = GetParam();
    std::unique_ptr<SVKolvanePackager> packager =
        c.deployment
            ? SVKolvanePackager::initWithKolvaneUrl(
                  makePackage(u"p.Kolvane2"_s, u"Dock"_s, {u"com.example.dock"_s}), running)
            : std::make_unique<SVKolvanePackager>();
    ASSERT_TRUE(packager);
    const QTableWidget* table =
        c.applicationsTable ? packager->applicationsTable : packager->systemSettingsTable;
    EXPECT_EQ(packager->tableViewValidateDrop(table, nullptr, c.proposed), c.answer);
}

INSTANTIATE_TEST_SUITE_P(
    Drops, PackagerDropValidation,
    ::testing::Values(DropCase{"OnARowIsALink", false, true, SVKolvanePackager::kDropOn,
                               SVKolvanePackager::kDragOperationLink},
                      DropCase{"AboveARowIsALink", false, true, SVKolvanePackager::kDropAbove,
                               SVKolvanePackager::kDragOperationLink},
                      DropCase{"SixteenIsAMove", false, true, SVKolvanePackager::kDragOperationMove,
                               SVKolvanePackager::kDragOperationMove},
                      DropCase{"SystemTableRefuses", false, false, SVKolvanePackager::kDropOn,
                               SVKolvanePackager::kDragOperationNone},
                      DropCase{"DeploymentRefuses", true, true, SVKolvanePackager::kDropOn,
                               SVKolvanePackager::kDragOperationNone}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(PackagerWindow, DroppedApplicationsAreAppendedTickedEvenTwice) {
    SVKolvanePackager packager;
    const QUrl app = makeApp(u"Tool.app"_s, u"com.example.tool"_s);
    const QUrl notAnApp = QUrl::fromLocalFile(sandbox.makeFile(sandbox.path() + u"/notes.txt"_s));

    EXPECT_TRUE(
        packager.tableViewAcceptDrop(packager.applicationsTable, urls({app}).get(), nullptr));
    EXPECT_TRUE(packager.tableViewAcceptDrop(packager.applicationsTable,
                                             urls({notAnApp, app}).get(), nullptr));
    ASSERT_EQ(packager.applications.size(), 2);
    ASSERT_EQ(packager.applicationsTable->rowCount(), 2);
    for (int row = 0; row < 2; ++row) {
        EXPECT_TRUE(packager.applications.at(row)->enabled());
        EXPECT_EQ(packager.applicationsTable->item(row, 1)->text(), u"Tool"_s);
    }

    // Nothing usable, the table's own rows, and the other table are refused.
    EXPECT_FALSE(packager.tableViewAcceptDrop(packager.applicationsTable, urls({}).get(), nullptr));
    EXPECT_FALSE(packager.tableViewAcceptDrop(packager.applicationsTable, urls({app}).get(),
                                              packager.applicationsTable));
    EXPECT_FALSE(
        packager.tableViewAcceptDrop(packager.systemSettingsTable, urls({app}).get(), nullptr));
    EXPECT_EQ(packager.applications.size(), 2);
}

TEST_F(PackagerWindow, AddApplicationTakesTheBundleThePanelPicks) {
    SVKolvanePackager packager;
    const QUrl app = makeApp(u"Tool.app"_s, u"com.example.tool"_s);
    QString startFolder;
    panelAnswer = [&](QFileDialog& panel) {
        startFolder = panel.directory().absolutePath();
        panel.selectUrl(app);
        return int(QDialog::Rejected);
    };
    packager.addApplicationButton->click();
    EXPECT_TRUE(packager.applications.isEmpty()) << "a cancelled panel added a row";
    panelAnswer = [&](QFileDialog& panel) {
        panel.selectUrl(app);
        return int(QDialog::Accepted);
    };
    packager.addApplicationButton->click();
    ASSERT_EQ(packager.applications.size(), 1);
    EXPECT_EQ(packager.applications.at(0)->appId(), u"com.example.tool"_s);
    EXPECT_EQ(packager.applicationsTable->item(0, 1)->text(), u"Tool"_s);
    EXPECT_EQ(panelsShown, 2);
}

// On the Linux desktop the button opens the list of installed applications.
TEST_F(PackagerWindow, AddApplicationOnTheLinuxDesktopTakesTheChosenEntry) {
    const QString entry = sandbox.makeFile(
        qEnvironmentVariable("XDG_DATA_HOME") + u"/applications/org.example.Sketch.desktop"_s,
        "[Desktop Entry]\nType=Application\nName=Sketch\nExec=sketch\n");
    SettingsSystem::setCurrent(std::make_unique<LinuxDesktop>());
    const auto restore = qScopeGuard([] { SettingsSystem::setCurrent(nullptr); });
    const PanelRunner::DialogRunner previous = PanelRunner::setDialogRunner([](QDialog& dialog) {
        auto* chooser = qobject_cast<ApplicationChooser*>(&dialog);
        EXPECT_TRUE(chooser);
        if (chooser) {
            chooser->filterField()->setText(u"Sketch"_s);
            chooser->listView()->setCurrentIndex(chooser->listView()->model()->index(0, 0));
        }
        dialog.accept();
        return dialog.result();
    });
    SVKolvanePackager packager;
    packager.addApplicationButton->click();
    PanelRunner::setDialogRunner(previous);
    ASSERT_EQ(packager.applications.size(), 1);
    EXPECT_EQ(packager.applications.at(0)->appId(), u"org.example.Sketch"_s);
    EXPECT_EQ(packager.applicationsTable->item(0, 1)->text(), u"Sketch"_s);
    QFile::remove(entry);
}

TEST_F(PackagerWindow, ADropOnTheTableReachesThePackager) {
    SVKolvanePackager packager;
    packager.displayWindow();
    const auto mime = urls({makeApp(u"Tool.app"_s, u"com.example.tool"_s)});
    QWidget* viewport = packager.applicationsTable->viewport();
    const QPoint centre = viewport->rect().center();
    QDragEnterEvent enter(centre, Qt::CopyAction | Qt::LinkAction, mime.get(), Qt::LeftButton,
                          Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &enter);
    EXPECT_TRUE(enter.isAccepted());
    EXPECT_EQ(enter.dropAction(), Qt::LinkAction);
    QDropEvent drop(QPointF(centre), Qt::CopyAction | Qt::LinkAction, mime.get(), Qt::LeftButton,
                    Qt::NoModifier);
    QCoreApplication::sendEvent(viewport, &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(packager.applications.size(), 1);
}

TEST_F(PackagerWindow, TickBoxesTickTheirItemsAndTheWindowKeepsThemWhenReopened) {
    SVKolvanePackager packager;
    packager.displayWindow();
    ASSERT_FALSE(packager.systemSettings.isEmpty());
    auto* cell =
        qobject_cast<CheckboxTableCellView*>(packager.systemSettingsTable->cellWidget(0, 0));
    ASSERT_NE(cell, nullptr);
    QTest::mouseClick(cell->checkbox(), Qt::LeftButton);
    EXPECT_TRUE(packager.systemSettings.at(0)->enabled());

    packager.window->close();
    packager.displayWindow();
    EXPECT_TRUE(packager.systemSettings.at(0)->enabled());
    cell = qobject_cast<CheckboxTableCellView*>(packager.systemSettingsTable->cellWidget(0, 0));
    EXPECT_TRUE(cell->checkbox()->isChecked());
}

TEST_F(PackagerWindow, NothingTickedIsRefusedWithoutAPanel) {
    SVKolvanePackager packager;
    packager.createPackage();
    packager.waitForBackgroundWork();
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0], qMakePair(u"Package Could Not Be Created"_s,
                                         u"No items are selected for packaging."_s));
    EXPECT_EQ(panelsShown, 0);
}

TEST_F(PackagerWindow, CreatePackageSavesWhereThePanelSaysInTheRememberedType) {
    ASSERT_TRUE(UserDefaults::setObject(
        u"SaveKolvaneFileType"_s,
        PlistValue::fromInteger(SVKolvanePackager::kSaveAsSelfDeployingApplication)));
    PlistValue settings = PlistValue::dictionary();
    settings.insert(u"autohide"_s, PlistValue::fromBool(true));
    ASSERT_TRUE(
        DefaultsStore(sandbox.home()).writeDomain(u"com.example.dock"_s, settings, nullptr));

    SVKolvanePackager packager;
    packager.systemSettings = {tickedComponent(u"Dock"_s, {u"com.example.dock"_s})};
    const QString target = sandbox.path() + u"/Saved.Kolvane2"_s;
    QString filterAtOpening;
    QString suffixAtOpening;
    panelAnswer = [&](QFileDialog& panel) {
        filterAtOpening = panel.selectedNameFilter();
        suffixAtOpening = panel.defaultSuffix();
        // The user picks the package-file type, then names the file.
        const QString packageFilter = panel.nameFilters().constFirst();
        panel.selectNameFilter(packageFilter);
        Q_EMIT panel.filterSelected(packageFilter);
        EXPECT_EQ(panel.defaultSuffix(), u"Kolvane2"_s);
        panel.selectFile(target);
        return int(QDialog::Accepted);
    };
    packager.createPackage();
    EXPECT_TRUE(packager.progressSheet->isVisible());
    ASSERT_TRUE(waitFor([&] { return panelsShown == 1 && QFile::exists(target); }));

    EXPECT_TRUE(filterAtOpening.contains(u"*.app"_s)) << filterAtOpening.toStdString();
    EXPECT_EQ(suffixAtOpening, u"app"_s);
    EXPECT_EQ(UserDefaults::integerForKey(u"SaveKolvaneFileType"_s),
              SVKolvanePackager::kSaveAsPackageFile);
    EXPECT_FALSE(packager.progressSheet->isVisible());
    EXPECT_TRUE(alerts.shown.isEmpty());
    PackageReader reader(alerts, u"1.0"_s);
    ASSERT_TRUE(reader.initWithKolvaneUrl(QUrl::fromLocalFile(target)));
    ASSERT_EQ(reader.systemSettings().size(), 1);
    EXPECT_EQ(reader.systemSettings().at(0)->displayName(), u"Dock"_s);
}

TEST_F(PackagerWindow, PackageFilesOpenInOrderAndLeaveWhenTheirWindowsClose) {
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    AppDelegate delegate(AppServices{helper, defaults, domains, running});
    const QUrl first = makePackage(u"First.Kolvane2"_s, u"First"_s, {u"com.example.first"_s});
    const QUrl second = makePackage(u"Second.Kolvane2"_s, u"Second"_s, {u"com.example.second"_s});
    const QUrl capitals = makePackage(u"Caps.KOLVANE2"_s, u"Caps"_s, {u"com.example.caps"_s});
    const QUrl other = QUrl::fromLocalFile(sandbox.makeFile(sandbox.path() + u"/x.app"_s));

    delegate.applicationOpenURLs({first, capitals, other, second});
    ASSERT_TRUE(delegate.unpackagers.has_value());
    ASSERT_EQ(delegate.unpackagers->size(), 2u);
    EXPECT_EQ(delegate.unpackagers->at(0)->systemSettings.at(0)->displayName(), u"First"_s);
    EXPECT_EQ(delegate.unpackagers->at(1)->systemSettings.at(0)->displayName(), u"Second"_s);
    EXPECT_TRUE(delegate.unpackagers->at(1)->window->isVisible());
    EXPECT_TRUE(alerts.shown.isEmpty());

    delegate.unpackagers->at(0)->window->close();
    ASSERT_TRUE(waitFor([&] { return delegate.unpackagers->size() == 1; }));
    EXPECT_EQ(delegate.unpackagers->at(0)->systemSettings.at(0)->displayName(), u"Second"_s);
}

TEST_F(PackagerWindow, TheMenuOpensTheOneSharedCreationWindow) {
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    AppDelegate delegate(AppServices{helper, defaults, domains, running});
    delegate.openPreferencePackager();
    SVKolvanePackager* shared = SVKolvanePackager::sharedPackager();
    EXPECT_FALSE(shared->deploymentMode);
    EXPECT_TRUE(shared->window->isVisible());
    EXPECT_EQ(shared->delegate, nullptr);

    shared->window->close();
    delegate.openPreferencePackager();
    EXPECT_EQ(SVKolvanePackager::sharedPackager(), shared);
    EXPECT_TRUE(shared->window->isVisible());
    EXPECT_FALSE(delegate.unpackagers.has_value());
    shared->window->close();
}

TEST_F(PackagerWindow, ACancelledDeployPanelOpensNothing) {
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    AppDelegate delegate(AppServices{helper, defaults, domains, running});
    delegate.deployKolvane();
    EXPECT_EQ(panelsShown, 1);
    EXPECT_FALSE(delegate.unpackagers.has_value());

    const QUrl package = makePackage(u"Chosen.Kolvane2"_s, u"Dock"_s, {u"com.example.dock"_s});
    panelAnswer = [&](QFileDialog& panel) {
        EXPECT_EQ(panel.windowTitle(), u"Deploy PreferencePackage"_s);
        EXPECT_EQ(panel.fileMode(), QFileDialog::ExistingFiles);
        panel.selectUrl(package);
        return int(QDialog::Accepted);
    };
    delegate.deployKolvane();
    ASSERT_TRUE(delegate.unpackagers.has_value());
    EXPECT_EQ(delegate.unpackagers->size(), 1u);
}

TEST_F(PackagerWindow, DeployWritesTheTickedDomainsAndARunningApplicationStopsIt) {
    const QUrl package = makePackage(u"Dock.Kolvane2"_s, u"Dock"_s, {u"com.example.dock"_s});
    auto packager = SVKolvanePackager::initWithKolvaneUrl(package, running);
    ASSERT_TRUE(packager);
    packager->deploymentPause = std::chrono::milliseconds(0);
    auto app = std::make_shared<SVPPItem>();
    app->setDisplayName(u"Tool"_s);
    app->setAppId(u"com.example.tool"_s);
    app->setEnabled(true);
    packager->applications = {app};

    running.answers = {true};
    packager->deployPreferences();
    packager->waitForBackgroundWork();
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].first, u"Application Running"_s);
    const DefaultsStore store(sandbox.home());
    EXPECT_FALSE(store.domainExists(u"com.example.dock"_s));

    packager->deployPreferences();
    packager->waitForBackgroundWork();
    ASSERT_TRUE(waitFor([&] { return !packager->progressSheet->isVisible(); }));
    QString error;
    const PlistValue written = store.readDomain(u"com.example.dock"_s, &error);
    ASSERT_TRUE(written.isDictionary()) << error.toStdString();
    ASSERT_NE(written.find(u"key"_s), nullptr);
    EXPECT_EQ(written.find(u"key"_s)->toString(), u"com.example.dock"_s);
}

TEST_F(PackagerWindow, CancelLeavesTheSheetUpUntilTheJobChecks) {
    // A defaults program that takes its time, so the cancel lands mid-job.
    const QString slow =
        sandbox.makeFile(sandbox.path() + u"/slow-defaults"_s, "#!/bin/sh\nsleep 0.4\n");
    QFile::setPermissions(slow, QFile::ReadOwner | QFile::ExeOwner);
    qputenv("SORVANE_DEFAULTS_TOOL", slow.toLocal8Bit());
    const auto restore = qScopeGuard([] { qunsetenv("SORVANE_DEFAULTS_TOOL"); });

    SVKolvanePackager packager;
    packager.systemSettings = {tickedComponent(u"One"_s, {u"com.example.one"_s}),
                               tickedComponent(u"Two"_s, {u"com.example.two"_s})};
    packager.createPackage();
    ASSERT_TRUE(waitFor([&] { return packager.progressSheet->isVisible(); }));
    packager.progressCancelButton->click();
    EXPECT_TRUE(packager.shouldCancel);
    EXPECT_TRUE(packager.progressSheet->isVisible());
    packager.waitForBackgroundWork();
    ASSERT_TRUE(waitFor([&] { return !packager.progressSheet->isVisible(); }));
    EXPECT_EQ(panelsShown, 0);
    EXPECT_TRUE(alerts.shown.isEmpty());
}

} // namespace
