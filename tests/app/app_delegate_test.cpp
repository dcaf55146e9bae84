#include "app/app_delegate.h"
#include "app/main_window.h"

#include "controls/app_icon_image_view.h"
#include "controls/checkbox_table_cell_view.h"
#include "controls/ft_path_control.h"
#include "controls/panel_runner.h"
#include "controls/progress_sheet.h"
#include "controls/show_alert.h"
#include "controls/sv_list_item_view.h"
#include "controls/sv_list_view.h"
#include "fixed_domains.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "test_bundles.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDialog>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSet>
#include <QSignalSpy>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList labels(SVListView* list) {
    QStringList result;
    for (SVListItemView* item : list->items())
        result.append(item->label());
    return result;
}

class AppDelegateTest : public ::testing::Test {
protected:
    void SetUp() override {
        domains.user = {u"com.example.tool"_s, u"com.example.other"_s};
        domains.root = {u"com.example.tool"_s};
        bundle = makeBundle(u"Tool.app"_s, u"com.example.tool"_s);
        previousAlerts = setAlertPresenter(&alerts);
        previousRunner = PanelRunner::setRunner([this](QFileDialog& panel) {
            ++panelsShown;
            if (panelAnswer.isEmpty())
                return 0;
            panel.selectUrl(panelAnswer);
            panelSelected = panelAnswer;
            return 1;
        });
        delegate = std::make_unique<AppDelegate>(AppServices{helper, defaults, domains, running});
        delegate->window->show();
    }
    void TearDown() override {
        delegate.reset();
        setAlertPresenter(previousAlerts);
        PanelRunner::setRunner(previousRunner);
    }

    QUrl makeBundle(const QString& name, const QString& identifier) {
        QList<QPair<QString, QString>> info{{u"CFBundleName"_s, u"Display Name"_s}};
        if (!identifier.isNull())
            info.append({u"CFBundleIdentifier"_s, identifier});
        return QUrl::fromLocalFile(
            testbundles::makeBundle(sandbox.path() + u"/Applications/"_s + name, info));
    }

    void expectSearchedFor(const QUrl& app) {
        EXPECT_EQ(delegate->appUrl, app);
        EXPECT_EQ(delegate->app_BundleIdentifierLabel->text(), u"com.example.tool"_s);
        EXPECT_EQ(labels(delegate->appDefaultsDomainsListView),
                  (QStringList{u"com.example.tool"_s, u"com.example.tool"_s}));
    }

    static std::unique_ptr<QMimeData> urlsMime(const QList<QUrl>& urls) {
        auto mime = std::make_unique<QMimeData>();
        mime->setUrls(urls);
        return mime;
    }

    Sandbox sandbox;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    AlertPresenter* previousAlerts = nullptr;
    PanelRunner::Runner previousRunner;
    QUrl panelAnswer;
    QUrl panelSelected;
    int panelsShown = 0;
    QUrl bundle;
    std::unique_ptr<AppDelegate> delegate;
};

TEST_F(AppDelegateTest, BrowsePanelEndsInASearch) {
    panelAnswer = bundle;
    delegate->browseForApp();
    EXPECT_EQ(panelsShown, 1);
    expectSearchedFor(bundle);
    EXPECT_EQ(delegate->app_nameLabel->text(), u"Tool"_s);
    EXPECT_EQ(delegate->app_pathControl->URL(), bundle);
}

TEST_F(AppDelegateTest, PathControlsOwnPanelEndsInASearchAndRefusesOtherFiles) {
    const QUrl notAnApp = QUrl::fromLocalFile(sandbox.makeFolder(sandbox.path() + u"/Folder"_s));
    panelAnswer = notAnApp;
    delegate->app_pathControl->actionForUnsetControl(delegate->app_pathControl);
    EXPECT_TRUE(delegate->appUrl.isEmpty());
    EXPECT_TRUE(delegate->app_pathControl->targetIsControl());

    panelAnswer = bundle;
    delegate->app_pathControl->actionForUnsetControl(delegate->app_pathControl);
    expectSearchedFor(bundle);
    EXPECT_FALSE(delegate->app_pathControl->targetIsControl());
}

TEST_F(AppDelegateTest, DropOnThePathControlAcceptsAppsInAnyCase) {
    const QUrl upper = makeBundle(u"Shout.APP"_s, u"com.example.tool"_s);
    EXPECT_FALSE(delegate->app_pathControl->acceptDrop(
        urlsMime({QUrl::fromLocalFile(sandbox.path() + u"/notes.txt"_s)}).get()));
    EXPECT_TRUE(delegate->appUrl.isEmpty());
    EXPECT_TRUE(delegate->app_pathControl->acceptDrop(urlsMime({upper}).get()));
    expectSearchedFor(upper);
}

TEST_F(AppDelegateTest, IconViewDropEndsInASearch) {
    EXPECT_TRUE(delegate->app_iconView->performDragOperation(urlsMime({bundle}).get()));
    expectSearchedFor(bundle);
}

TEST_F(AppDelegateTest, PasteEndsInASearchAndTextIsRefused) {
    QGuiApplication::clipboard()->setText(u"just text"_s);
    EXPECT_FALSE(delegate->readAppUrlFromPasteboard(QGuiApplication::clipboard()->mimeData()));
    EXPECT_TRUE(delegate->appUrl.isEmpty());
    QGuiApplication::clipboard()->setMimeData(urlsMime({bundle}).release());
    delegate->window->pasteAction->trigger();
    expectSearchedFor(bundle);
}

// Only the first URL counts, and it is judged by its path's extension alone,
// whatever its scheme.
TEST_F(AppDelegateTest, PasteTakesTheFirstUrlByItsExtensionOnly) {
    const QUrl text = QUrl::fromLocalFile(sandbox.path() + u"/notes.txt"_s);
    EXPECT_FALSE(delegate->readAppUrlFromPasteboard(urlsMime({text, bundle}).get()));
    EXPECT_TRUE(delegate->appUrl.isEmpty());

    const QUrl web(u"https://example.com/downloads/Tool.app"_s);
    EXPECT_TRUE(delegate->readAppUrlFromPasteboard(urlsMime({web, text}).get()));
    EXPECT_EQ(delegate->appUrl, web);
}

// Rows tell the same domain of root's and of the user's apart, and say why
// each item was found.
TEST_F(AppDelegateTest, RowsSayWhoseDomainAndWhyEachItemWasFound) {
    delegate->setApplicationUrl(bundle);
    const QList<SVListItemView*> rows = delegate->appDefaultsDomainsListView->items();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0]->detail(), u"the system's · bundle identifier \"com.example.tool\""_s);
    EXPECT_EQ(rows[1]->detail(), u"your own · bundle identifier \"com.example.tool\""_s);
    EXPECT_FALSE(rows[1]->detailField()->isHidden());
    EXPECT_EQ(rows[0]->label(), u"com.example.tool"_s);
}

TEST_F(AppDelegateTest, ClearingTheTargetKeepsTheLists) {
    delegate->setApplicationUrl(bundle);
    QTest::qWait(20);
    EXPECT_FALSE(delegate->app_iconView->image().isNull());
    delegate->setApplicationUrl(QUrl());
    EXPECT_TRUE(delegate->app_nameLabel->text().isEmpty());
    EXPECT_TRUE(delegate->app_BundleIdentifierLabel->text().isEmpty());
    EXPECT_TRUE(delegate->app_iconView->image().isNull());
    EXPECT_EQ(labels(delegate->appDefaultsDomainsListView).size(), 2);
}

TEST_F(AppDelegateTest, ApplicationWithoutIdentifierKeepsThePreviousResults) {
    delegate->setApplicationUrl(bundle);
    delegate->setApplicationUrl(makeBundle(u"Anonymous.app"_s, QString()));
    EXPECT_EQ(delegate->app_BundleIdentifierLabel->text(), u"No bundle identifier found"_s);
    EXPECT_EQ(labels(delegate->appDefaultsDomainsListView).size(), 2);
}

TEST_F(AppDelegateTest, DoubleClickOpensThePanelAndASingleClickNever) {
    delegate->setApplicationUrl(bundle);
    FTPathControl* control = delegate->app_pathControl;
    const QPoint point(control->width() - 20, control->height() / 2);
    QTest::mouseClick(control, Qt::LeftButton, {}, point);
    QTest::qWait(50);
    EXPECT_EQ(panelsShown, 0);
    EXPECT_TRUE(delegate->doSingleClick());
    QTest::mouseDClick(control, Qt::LeftButton, {}, point);
    EXPECT_EQ(panelsShown, 1);
    EXPECT_FALSE(delegate->doSingleClick());
}

TEST_F(AppDelegateTest, DeletingRowsStrikesEntriesOff) {
    const QString cache =
        sandbox.makeFolder(sandbox.homePath(u"Library/Caches/com.example.tool"_s));
    delegate->setApplicationUrl(bundle);
    delegate->results.appCacheFiles.append(QUrl::fromLocalFile(cache));
    delegate->updateAppSearchResultsDisplay();
    ASSERT_EQ(labels(delegate->appCachesListView), (QStringList{cache, cache}));

    delegate->appCachesListView->items().first()->deleteButton()->click();
    QTest::qWait(50);
    EXPECT_EQ(labels(delegate->appCachesListView), QStringList{cache});
    EXPECT_TRUE(delegate->results.appCacheFiles.isEmpty());

    delegate->appDefaultsDomainsListView->items().last()->deleteButton()->click();
    QTest::qWait(50);
    ASSERT_EQ(delegate->results.appDomainResults.size(), 1);
    // The first entry of that name goes, whichever row was pressed.
    EXPECT_EQ(delegate->results.appDomainResults.first().authLevel(), 0);
}

TEST_F(AppDelegateTest, RebootOfferAfterComponentsOnlyAndItReachesTheHelper) {
    delegate->setApplicationUrl(bundle);
    delegate->cleanAppPreferences();
    EXPECT_TRUE(delegate->opCompleteSheet->isVisible());
    EXPECT_FALSE(delegate->opCompleteRebootButton->isVisible());
    EXPECT_EQ(delegate->opCompleteInfoLabel->text(),
              u"2 items were deleted. There were 0 errors."_s);
    delegate->opComplete_closeSheet();

    delegate->cleanOSComponentPreferences();
    EXPECT_TRUE(delegate->opCompleteRebootButton->isVisible());
    EXPECT_TRUE(delegate->opCompleteRebootLabel->isVisible());
    EXPECT_EQ(delegate->opCompleteInfoLabel->text(),
              u"0 items were deleted. There were 0 errors."_s);
    delegate->opCompleteRebootButton->click();
    EXPECT_FALSE(delegate->opCompleteSheet->isVisible());
    EXPECT_EQ(helper.calls.last(), u"rebootComputer"_s);
}

TEST_F(AppDelegateTest, TickedComponentsAreCleanedAndTicksSurviveSorting) {
    const QString catalogue = sandbox.makeFile(
        sandbox.path() + u"/SystemData.xml"_s,
        "<systemdata><component name=\"Dock "
        "10\"><description>b</description><domain>com.example.other</domain></component>"
        "<component name=\"Dock "
        "9\"><description>a</description><domain>com.example.tool</domain></component></"
        "systemdata>");
    delegate->osComponents = *SVOSComponent::loadDataFromFile(catalogue);
    delegate->reloadComponentsTable();
    QTableWidget* table = delegate->osComponentsTable;
    ASSERT_EQ(table->rowCount(), 2);
    EXPECT_EQ(table->item(0, 1)->text(), u"Dock 9"_s);
    qobject_cast<CheckboxTableCellView*>(table->cellWidget(1, 0))->checkbox()->setChecked(true);

    delegate->sortComponents(2, Qt::DescendingOrder);
    EXPECT_EQ(table->item(0, 1)->text(), u"Dock 10"_s);
    EXPECT_TRUE(
        qobject_cast<CheckboxTableCellView*>(table->cellWidget(0, 0))->checkbox()->isChecked());
    delegate->cleanOSComponentPreferences();
    EXPECT_EQ(defaults.deleted, QStringList{u"com.example.other"_s});
}

TEST_F(AppDelegateTest, OnlyTicksInSightAreCleaned) {
    QByteArray xml = "<systemdata>";
    for (int i = 10; i < 70; ++i)
        xml += QStringLiteral("<component name=\"Part %1\"><domain>com.example.c%1</domain>"
                              "</component>")
                   .arg(i)
                   .toUtf8();
    xml += "</systemdata>";
    delegate->osComponents =
        *SVOSComponent::loadDataFromFile(sandbox.makeFile(sandbox.path() + u"/S.xml"_s, xml));
    domains.user = {u"com.example.c10"_s, u"com.example.c69"_s};
    delegate->window->tabs->setCurrentIndex(1);
    delegate->reloadComponentsTable();
    QTest::qWait(20);
    QTableWidget* table = delegate->osComponentsTable;
    ASSERT_EQ(table->rowCount(), 60);
    for (int row : {0, 59})
        qobject_cast<CheckboxTableCellView*>(table->cellWidget(row, 0))
            ->checkbox()
            ->setChecked(true);

    table->scrollToTop();
    delegate->cleanOSComponentPreferences();
    EXPECT_EQ(defaults.deleted, QStringList{u"com.example.c10"_s});
    delegate->opComplete_closeSheet();

    defaults.deleted.clear();
    table->scrollToBottom();
    delegate->cleanOSComponentPreferences();
    EXPECT_EQ(defaults.deleted, QStringList{u"com.example.c69"_s});
}

TEST_F(AppDelegateTest,
       CheckShowsProgressThenTheSummaryAndCancelReachesTheHelperOnlyWhileChecking) {
    delegate->progressSheet_cancel();
    EXPECT_TRUE(delegate->actionCancelled.load());
    EXPECT_TRUE(helper.calls.isEmpty());

    helper.checkAnswer = QMap<QString, QString>{{u"/p/good.plist"_s, u"OK"_s},
                                                {u"/p/bad.plist"_s, u"Broken (Error Domain=X)"_s}};
    std::atomic<bool> release = false;
    helper.onCheck = [&release] {
        while (!release)
            QThread::msleep(2);
    };
    delegate->checkUserPrefs();
    EXPECT_TRUE(delegate->progressSheet->isVisible());
    EXPECT_EQ(delegate->progressLabel->text(), u"Scanning files..."_s);
    QTRY_VERIFY_WITH_TIMEOUT(delegate->waitingForPlutil.load(), 5000);
    delegate->progressSheet_cancel();
    EXPECT_EQ(helper.calls.last(), u"cancelPlutilChecks"_s);
    release = true;
    QTRY_VERIFY_WITH_TIMEOUT(delegate->opCompleteSheet->isVisible(), 5000);
    EXPECT_FALSE(delegate->progressSheet->isVisible());
    EXPECT_EQ(delegate->opCompleteMessageLabel->text(), u"Finished Scanning Files"_s);
    EXPECT_EQ(delegate->opCompleteInfoLabel->text(), u"2 files were scanned. 1 file had errors."_s);
    ASSERT_EQ(delegate->plutilFailuresTable->rowCount(), 1);
    EXPECT_EQ(delegate->plutilFailuresTable->item(0, 1)->text(), u"/p/bad.plist"_s);
    EXPECT_EQ(delegate->plutilFailuresTable->item(0, 1)->toolTip(), u"Broken"_s);
}

TEST_F(AppDelegateTest, FailureTicksFollowTheirBoxesAndOnlyTickedRowsAreDeleted) {
    delegate->plutilErrors = {{u"/p/a.plist"_s, u"x"_s}, {u"/p/b.plist"_s, u"y"_s}};
    delegate->reloadFailuresTable();
    qobject_cast<CheckboxTableCellView*>(delegate->plutilFailuresTable->cellWidget(0, 0))
        ->checkbox()
        ->setChecked(false);
    EXPECT_FALSE(delegate->plutilErrors.first().selected());
    delegate->toggleSelectedPlutilFiles();
    EXPECT_TRUE(
        qobject_cast<CheckboxTableCellView*>(delegate->plutilFailuresTable->cellWidget(0, 0))
            ->checkbox()
            ->isChecked());
    EXPECT_FALSE(delegate->plutilErrors.last().selected());
    delegate->deleteSelectedPlutilFiles();
    EXPECT_EQ(helper.calls, QStringList{u"deleteFileAtUrl /p/a.plist"_s});
    EXPECT_EQ(delegate->opCompleteInfoLabel->text(),
              u"0 items were deleted. There were 1 error."_s);
}

TEST_F(AppDelegateTest, RunningApplicationIsRefusedWithAnAlert) {
    delegate->setApplicationUrl(bundle);
    running.answers = {true, true};
    delegate->cleanAppPreferences();
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown.first().first, u"Application Running"_s);
    EXPECT_FALSE(delegate->opCompleteSheet->isVisible());
    EXPECT_TRUE(defaults.deleted.isEmpty());
}

} // namespace

namespace {

// The widgets that Tab reaches, starting from the tab bar, until focus comes round again.
QSet<QWidget*> reachedByTab(QWidget* start) {
    QSet<QWidget*> reached;
    start->setFocus(Qt::TabFocusReason);
    for (int presses = 0; presses < 200; ++presses) {
        QWidget* focus = QApplication::focusWidget();
        if (!focus || reached.contains(focus))
            break;
        reached.insert(focus);
        QTest::keyClick(focus, Qt::Key_Tab);
    }
    return reached;
}

} // namespace

TEST_F(AppDelegateTest, EveryControlOfEachTabIsReachedWithTheTabKey) {
    delegate->setApplicationUrl(bundle);
    delegate->window->activateWindow();
    QApplication::setActiveWindow(delegate->window);
    QTabWidget* tabs = delegate->window->tabs;
    for (int index = 0; index < tabs->count(); ++index) {
        tabs->setCurrentIndex(index);
        QTest::qWait(10);
        const QSet<QWidget*> reached = reachedByTab(tabs->tabBar());
        QWidget* page = tabs->widget(index);
        for (QWidget* control : page->findChildren<QWidget*>()) {
            // A table's header belongs to its table, which takes the focus.
            const bool operable = qobject_cast<QAbstractButton*>(control) ||
                                  (qobject_cast<QAbstractItemView*>(control) &&
                                   !qobject_cast<QHeaderView*>(control)) ||
                                  control == delegate->app_pathControl ||
                                  control == delegate->app_iconView;
            if (!operable || !control->isVisible() || !control->isEnabled())
                continue;
            EXPECT_TRUE(reached.contains(control) || reached.contains(control->focusProxy()))
                << "tab " << index << ": " << control->metaObject()->className() << " "
                << control->objectName().toStdString();
        }
    }
}
