// Every underlined letter opens one thing only, in every window Sorvane
// builds: the main window (its menu bar titles, tabs and buttons share the
// window's Alt keys) and its sheets, the packager in both modes, the
// self-deploying package's window and the application chooser; the actions
// of each menu share that menu's keys.
#include "app/app_delegate.h"
#include "app/cleaning_history_dialog.h"
#include "app/main_window.h"
#include "app/self_deploy_window.h"
#include "app/sv_kolvane_packager.h"

#include "controls/application_chooser.h"
#include "controls/progress_sheet.h"
#include "fixed_domains.h"
#include "package_items.h"
#include "packager/package_creator.h"
#include "platform/defaults_store.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QTabBar>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <map>

using namespace Qt::StringLiterals;

namespace {

// The letter after the single "&" of a text, lower-cased; null without one.
QChar mnemonicOf(const QString& text) {
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text.at(i) != u'&')
            continue;
        if (text.at(i + 1) == u'&') {
            ++i;
            continue;
        }
        return text.at(i + 1).toLower();
    }
    return {};
}

// Fails for every letter that two of the texts share.
void expectUnique(const QStringList& texts, const QString& where) {
    std::map<QChar, QString> seen;
    for (const QString& text : texts) {
        const QChar letter = mnemonicOf(text);
        if (letter.isNull())
            continue;
        const auto [it, added] = seen.emplace(letter, text);
        EXPECT_TRUE(added) << qPrintable(where) << ": \"" << qPrintable(text) << "\" and \""
                           << qPrintable(it->second) << "\" share Alt+"
                           << qPrintable(QString(letter));
    }
}

QStringList actionTexts(const QWidget* widget) {
    QStringList texts;
    for (const QAction* action : widget->actions())
        texts.append(action->text());
    return texts;
}

// Whatever takes an Alt key in the window itself (a sheet is a window of its
// own): buttons, labels that lead to a control, group boxes, tabs and the
// menu bar's titles.
QStringList windowKeys(QWidget* window) {
    QStringList texts;
    for (QWidget* widget : window->findChildren<QWidget*>()) {
        if (widget->window() != window)
            continue;
        if (auto* button = qobject_cast<QAbstractButton*>(widget))
            texts.append(button->text());
        else if (auto* label = qobject_cast<QLabel*>(widget); label && label->buddy())
            texts.append(label->text());
        else if (auto* group = qobject_cast<QGroupBox*>(widget))
            texts.append(group->title());
        else if (auto* menuBar = qobject_cast<QMenuBar*>(widget))
            texts.append(actionTexts(menuBar));
        else if (auto* tabs = qobject_cast<QTabBar*>(widget))
            for (int i = 0; i < tabs->count(); ++i)
                texts.append(tabs->tabText(i));
    }
    return texts;
}

QString describe(const QWidget* window) {
    return u"%1 \"%2\""_s.arg(QString::fromLatin1(window->metaObject()->className()),
                              window->windowTitle());
}

class Mnemonics : public ::testing::Test {
protected:
    // A package file of one component, written through the packager core.
    QUrl makePackage(const QString& fileName) {
        const DefaultsStore store(sandbox.home());
        PlistValue value = PlistValue::dictionary();
        value.insert(u"key"_s, PlistValue::fromBool(true));
        EXPECT_TRUE(store.writeDomain(u"com.example.dock"_s, value, nullptr));
        std::atomic<bool> cancel{false};
        PackageCreator creator(&cancel, alerts);
        const auto bytes = creator.background_createPackage(
            {tickedComponent(u"Dock"_s, {u"com.example.dock"_s})}, {});
        const QUrl url = QUrl::fromLocalFile(sandbox.path() + u'/' + fileName);
        EXPECT_TRUE(PackageCreator::writePackageFile(bytes.value_or(QByteArray()), url, alerts));
        return url;
    }

    Sandbox sandbox;
    RecordingAlerts alerts;
    ScriptedRunningApplications running;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
};

TEST_F(Mnemonics, EveryWindowAndMenuGivesEachLetterToOneThing) {
    AppDelegate delegate(AppServices{helper, defaults, domains, running});
    SVKolvanePackager creation;
    const auto deployment =
        SVKolvanePackager::initWithKolvaneUrl(makePackage(u"Dock.Kolvane2"_s), running);
    ASSERT_TRUE(deployment);
    SelfDeployWindow selfDeploy(u"Team"_s, QImage(), {tickedComponent(u"Dock"_s, {u"a.b"_s})},
                                {tickedApplication(u"Editor"_s, u"com.example.Editor"_s)}, alerts,
                                running);
    ApplicationChooser chooser({}, delegate.window);
    CleaningHistoryDialog history(delegate.cleaningBackups(), delegate.window);

    // Every window alive is walked, so a dialog added later is walked too;
    // the ones built above must be among them.
    QList<QWidget*> walked;
    int menus = 0;
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (auto* menu = qobject_cast<QMenu*>(top)) {
            expectUnique(actionTexts(menu), u"menu "_s + menu->title());
            ++menus;
            continue;
        }
        expectUnique(windowKeys(top), describe(top));
        walked.append(top);
    }
    const QList<QWidget*> built{delegate.window,
                                delegate.opCompleteSheet,
                                delegate.progressSheet,
                                creation.window,
                                creation.progressSheet,
                                deployment->window,
                                &selfDeploy,
                                &chooser,
                                &history};
    for (QWidget* expected : built)
        EXPECT_TRUE(walked.contains(expected)) << qPrintable(describe(expected));
    EXPECT_GE(menus, 5);
    EXPECT_GE(windowKeys(delegate.window).size(), 15);
}

// The checker itself: a shared letter fails, a doubled "&" is no letter.
TEST(MnemonicCheck, FindsSharedLettersOnly) {
    EXPECT_EQ(mnemonicOf(u"Save && &Quit"_s), u'q');
    EXPECT_TRUE(mnemonicOf(u"Rock && Roll"_s).isNull());
    EXPECT_NONFATAL_FAILURE(expectUnique({u"&Help"_s, u"C&hoose"_s}, u"w"_s), "share Alt+h");
}

} // namespace
