// Undo in the desktop application, offscreen: a cleaning keeps a backup,
// Edit ▸ Undo Last Cleaning puts the domain and the files back and says so,
// and Cleaning History lists the backup, restores it and discards it only
// when the user agrees.
#include "app/app_delegate.h"
#include "app/cleaning_history_dialog.h"
#include "app/main_window.h"

#include "controls/panel_runner.h"
#include "controls/show_alert.h"
#include "fixed_domains.h"
#include "platform/defaults_store.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "test_bundles.h"
#include "workflows/system_services.h"

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class AnsweringAlerts : public RecordingAlerts {
public:
    bool answer = false;
    QStringList questions;
    bool confirm(AlertKind, const QString& message, const QString& informative,
                 const QString&) override {
        questions.append(message);
        shown.append({message, informative});
        return answer;
    }
};

PlistValue toolSettings() {
    PlistValue value = PlistValue::dictionary();
    value.insert(u"count"_s, PlistValue::fromInteger(42));
    value.insert(u"name"_s, PlistValue::fromString(u"two words"_s));
    value.insert(u"on"_s, PlistValue::fromBool(true));
    return value;
}

class CleaningUndoMenu : public ::testing::Test {
protected:
    void SetUp() override {
        previousAlerts_ = setAlertPresenter(&alerts);
        bundle = QUrl::fromLocalFile(
            testbundles::makeBundle(sandbox.path() + u"/Applications/Tool.app"_s,
                                    {{u"CFBundleIdentifier"_s, u"com.example.tool"_s}}));
        QString error;
        ASSERT_TRUE(store.writeDomain(u"com.example.tool"_s, toolSettings(), &error))
            << qPrintable(error);
        settingsFile =
            sandbox.makeFile(sandbox.homePath(u"Library/Preferences/Tool/a.cfg"_s), "settings\n");
        domains.user = {u"com.example.tool"_s};
        delegate = std::make_unique<AppDelegate>(AppServices{helper, defaults, domains, running});
        delegate->window->show();
        delegate->setApplicationUrl(bundle);
    }
    void TearDown() override {
        delegate.reset();
        setAlertPresenter(previousAlerts_);
        PanelRunner::setDialogRunner({});
    }

    void cleanAndCloseTheSheet() {
        delegate->cleanAppPreferences();
        ASSERT_TRUE(delegate->opCompleteSheet->isVisible());
        delegate->opComplete_closeSheet();
        ASSERT_FALSE(store.domainExists(u"com.example.tool"_s));
        ASSERT_FALSE(QFile::exists(settingsFile));
    }

    void expectRestored() const {
        QString error;
        EXPECT_EQ(store.readDomain(u"com.example.tool"_s, &error), toolSettings());
        QFile file(settingsFile);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), "settings\n");
    }

    Sandbox sandbox;
    DefaultsStore store{sandbox.home()};
    RecordingHelper helper;
    TaskMasterDomainRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    AnsweringAlerts alerts;
    QUrl bundle;
    QString settingsFile;
    std::unique_ptr<AppDelegate> delegate;

private:
    AlertPresenter* previousAlerts_ = nullptr;
};

TEST_F(CleaningUndoMenu, UndoLastCleaningPutsTheApplicationBack) {
    cleanAndCloseTheSheet();
    ASSERT_EQ(delegate->cleaningBackups().backups().size(), 1);

    delegate->window->undoCleaningAction->trigger();
    expectRestored();
    EXPECT_TRUE(delegate->opCompleteSheet->isVisible());
    EXPECT_EQ(delegate->opCompleteMessageLabel->text(), u"Cleaning Undone"_s);
    EXPECT_EQ(delegate->opCompleteInfoLabel->text(),
              u"3 items were restored. 0 could not be restored."_s);
    EXPECT_FALSE(delegate->opCompleteRebootButton->isVisible());
    delegate->opComplete_closeSheet();

    // Its backup is spent.
    delegate->window->undoCleaningAction->trigger();
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown.first().first, u"Nothing to Undo"_s);
}

struct DiscardCase {
    const char* name;
    bool agree;
};

class HistoryDiscard : public CleaningUndoMenu,
                       public ::testing::WithParamInterface<DiscardCase> {};

TEST_P(HistoryDiscard, ListsRestoresAndDiscardsOnlyWhenAgreed) {
    cleanAndCloseTheSheet();
    alerts.answer = GetParam().agree;
    int shown = 0;
    PanelRunner::setDialogRunner([&](QDialog& dialog) {
        auto* history = qobject_cast<CleaningHistoryDialog*>(&dialog);
        EXPECT_TRUE(history);
        if (!history)
            return 0;
        ++shown;
        EXPECT_EQ(history->list()->topLevelItemCount(), 1);
        EXPECT_EQ(history->list()->topLevelItem(0)->text(1), u"Tool"_s);
        EXPECT_EQ(history->list()->topLevelItem(0)->text(2), u"1 domain, 1 file, 1 folder"_s);
        EXPECT_TRUE(history->list()->topLevelItem(0)->text(3).isEmpty());

        history->restoreButton()->click();
        expectRestored();
        EXPECT_TRUE(history->statusLabel()->text().startsWith(u"Restored the cleaning of Tool"_s))
            << qPrintable(history->statusLabel()->text());
        EXPECT_FALSE(history->list()->topLevelItem(0)->text(3).isEmpty());

        history->discardButton()->click();
        EXPECT_EQ(alerts.questions, QStringList{u"Discard This Backup?"_s});
        EXPECT_EQ(history->list()->topLevelItemCount(), GetParam().agree ? 0 : 1);
        return 0;
    });
    delegate->window->cleaningHistoryAction->trigger();
    EXPECT_EQ(shown, 1);
    EXPECT_EQ(delegate->cleaningBackups().backups().size(), GetParam().agree ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(Answers, HistoryDiscard,
                         ::testing::Values(DiscardCase{"Agreed", true},
                                           DiscardCase{"Refused", false}),
                         [](const ::testing::TestParamInfo<DiscardCase>& tested) {
                             return std::string(tested.param.name);
                         });

} // namespace
