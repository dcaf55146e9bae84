// Every underlined letter of the main window opens one thing only: the menu
// bar's titles, the tabs and the buttons share the window's Alt keys, and the
// actions of each menu share that menu's keys.
#include "app/main_window.h"

#include <QAbstractButton>
#include <QMenu>
#include <QMenuBar>
#include <QTabWidget>

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
void expectUnique(const QStringList& texts, const char* where) {
    std::map<QChar, QString> seen;
    for (const QString& text : texts) {
        const QChar letter = mnemonicOf(text);
        if (letter.isNull())
            continue;
        const auto [it, added] = seen.emplace(letter, text);
        EXPECT_TRUE(added) << where << ": \"" << qPrintable(text) << "\" and \""
                           << qPrintable(it->second) << "\" share Alt+"
                           << qPrintable(QString(letter));
    }
}

} // namespace

TEST(MainWindowMnemonics, EveryLetterOpensOneThing) {
    MainWindow window;
    QStringList windowKeys;
    for (QAction* menu : window.menuBar()->actions()) {
        windowKeys.append(menu->text());
        QStringList menuKeys;
        for (QAction* action : menu->menu()->actions())
            menuKeys.append(action->text());
        expectUnique(menuKeys, qPrintable(menu->text()));
    }
    for (int i = 0; i < window.tabs->count(); ++i)
        windowKeys.append(window.tabs->tabText(i));
    // Buttons of the window itself; its sheets are windows with keys of their own.
    for (QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
        if (button->window() == &window)
            windowKeys.append(button->text());
    }
    ASSERT_GE(windowKeys.size(), 10);
    expectUnique(windowKeys, "main window");
}
