#include "controls/application_chooser.h"
#include "qt_printers.h"

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

ApplicationEntry entry(const QString& name, const QString& identifier, bool hidden = false,
                       const QString& iconName = {}) {
    const QUrl url = QUrl::fromLocalFile(u"/usr/share/applications/%1.desktop"_s.arg(identifier));
    return ApplicationEntry{url, identifier, name, iconName, hidden};
}

QList<ApplicationEntry> desktopEntries() {
    return {
        entry(u"Text Editor"_s, u"org.gnome.TextEditor"_s),
        entry(u"Terminal"_s, u"org.gnome.Terminal"_s),
        entry(u"Secret Tool"_s, u"org.example.SecretTool"_s, true),
        entry(u"Calculator"_s, u"org.kde.kcalc"_s),
        entry(u"Firefox ESR"_s, u"firefox-esr"_s),
    };
}

QList<ApplicationEntry> numberedEntries(int count) {
    QList<ApplicationEntry> entries;
    for (int i = 1; i <= count; ++i) {
        // Every row has its own icon name, so each drawn row costs one lookup.
        entries.append(entry(u"App %1"_s.arg(i), u"org.example.App%1"_s.arg(i), false,
                             u"sorvane-test-missing-icon-%1"_s.arg(i)));
    }
    return entries;
}

QModelIndex row(const ApplicationChooser& chooser, int number) {
    return chooser.listView()->model()->index(number, 0);
}

QStringList shownNames(const ApplicationChooser& chooser) {
    QStringList names;
    for (int i = 0; i < chooser.listView()->model()->rowCount(); ++i)
        names.append(row(chooser, i).data().toString());
    return names;
}

int currentRow(const ApplicationChooser& chooser) {
    return chooser.listView()->currentIndex().row();
}

// Opens the chooser as the main window would and waits until it is drawn.
bool openAndWait(ApplicationChooser& chooser) {
    chooser.open();
    return QTest::qWaitForWindowExposed(&chooser);
}

struct FilterCase {
    QString typed;
    QStringList shown;
};

void PrintTo(const FilterCase& filterCase, std::ostream* out) {
    PrintTo(filterCase.typed, out);
}

class ApplicationChooserFilter : public ::testing::TestWithParam<FilterCase> {};

TEST_P(ApplicationChooserFilter, ShowsMatchesOfNameOrIdentifierAndSelectsTheFirst) {
    ApplicationChooser chooser(desktopEntries());
    ASSERT_TRUE(openAndWait(chooser));
    const FilterCase& filterCase = GetParam();

    QTest::keyClicks(chooser.filterField(), filterCase.typed);

    EXPECT_EQ(shownNames(chooser), filterCase.shown);
    EXPECT_EQ(chooser.visibleCount(), filterCase.shown.size());
    const bool any = !filterCase.shown.isEmpty();
    EXPECT_EQ(currentRow(chooser), any ? 0 : -1);
    EXPECT_EQ(chooser.listView()->selectionModel()->isRowSelected(0), any);
    EXPECT_EQ(chooser.chooseButton()->isEnabled(), any);
    EXPECT_EQ(chooser.listView()->isVisible(), any);
    EXPECT_EQ(chooser.emptyLabel()->isVisible(), !any);
    if (!any) {
        EXPECT_EQ(chooser.emptyLabel()->text(),
                  u"No application matches \"%1\"."_s.arg(filterCase.typed));
    }
}

INSTANTIATE_TEST_SUITE_P(
    ApplicationChooser, ApplicationChooserFilter,
    ::testing::Values(
        FilterCase{u""_s, {u"Calculator"_s, u"Firefox ESR"_s, u"Terminal"_s, u"Text Editor"_s}},
        FilterCase{u"lator"_s, {u"Calculator"_s}},                 // name only
        FilterCase{u"tERMin"_s, {u"Terminal"_s}},                  // name, any case
        FilterCase{u"Firefox E"_s, {u"Firefox ESR"_s}},            // spaces belong to the text
        FilterCase{u"kcalc"_s, {u"Calculator"_s}},                 // identifier only
        FilterCase{u"GNOME"_s, {u"Terminal"_s, u"Text Editor"_s}}, // identifier, any case
        FilterCase{u"secret"_s, {}},                               // hidden entries never show
        FilterCase{u"Calculator2"_s, {}}));

TEST(ApplicationChooser, SortsByNameNumericallyIgnoringCase) {
    ApplicationChooser chooser({entry(u"Zed"_s, u"dev.zed"_s), entry(u"App 10"_s, u"a10"_s),
                                entry(u"beta"_s, u"b"_s), entry(u"app 2"_s, u"a2"_s),
                                entry(u"App 1"_s, u"a1"_s)});

    EXPECT_EQ(shownNames(chooser),
              (QStringList{u"App 1"_s, u"app 2"_s, u"App 10"_s, u"beta"_s, u"Zed"_s}));
}

TEST(ApplicationChooser, SaysSoWhenThereIsNothingToList) {
    const QList<QList<ApplicationEntry>> cases{
        {}, {entry(u"Secret Tool"_s, u"org.example.SecretTool"_s, true)}};
    for (const QList<ApplicationEntry>& entries : cases) {
        ApplicationChooser chooser(entries);
        ASSERT_TRUE(openAndWait(chooser));
        const QString none = u"No installed applications were found."_s;

        EXPECT_EQ(chooser.visibleCount(), 0);
        EXPECT_TRUE(chooser.emptyLabel()->isVisible());
        EXPECT_FALSE(chooser.listView()->isVisible());
        EXPECT_EQ(chooser.emptyLabel()->text(), none);
        EXPECT_FALSE(chooser.chooseButton()->isEnabled());
        // Typing does not turn it into a "no match" message.
        QTest::keyClicks(chooser.filterField(), u"secret"_s);
        EXPECT_EQ(chooser.emptyLabel()->text(), none);
    }
}

TEST(ApplicationChooser, MovementKeysTypedInTheFieldMoveTheListSelection) {
    ApplicationChooser chooser(numberedEntries(40));
    ASSERT_TRUE(openAndWait(chooser));
    QLineEdit* field = chooser.filterField();
    ASSERT_EQ(chooser.focusWidget(), field);
    const auto press = [field](Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(field, key, modifiers);
    };

    press(Qt::Key_Up);
    EXPECT_EQ(currentRow(chooser), 0);
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    EXPECT_EQ(currentRow(chooser), 2);
    press(Qt::Key_Up);
    EXPECT_EQ(currentRow(chooser), 1);
    press(Qt::Key_End);
    EXPECT_EQ(currentRow(chooser), 39);
    press(Qt::Key_Home);
    EXPECT_EQ(currentRow(chooser), 0);
    press(Qt::Key_PageDown);
    EXPECT_GT(currentRow(chooser), 1);
    press(Qt::Key_PageUp);
    EXPECT_EQ(currentRow(chooser), 0);
    EXPECT_EQ(chooser.listView()->selectionModel()->selectedRows().size(), 1);
    EXPECT_EQ(chooser.focusWidget(), field);

    // With Shift, Home stays with the field and selects its text.
    QTest::keyClicks(field, u"App 3"_s);
    press(Qt::Key_Down);
    press(Qt::Key_Home, Qt::ShiftModifier);
    EXPECT_EQ(field->selectedText(), u"App 3"_s);
    EXPECT_EQ(currentRow(chooser), 1);
}

TEST(ApplicationChooser, ReturnChoosesTheSelectedRow) {
    ApplicationChooser chooser(desktopEntries());
    ASSERT_TRUE(openAndWait(chooser));

    QTest::keyClicks(chooser.filterField(), u"gnome"_s);
    QTest::keyClick(chooser.filterField(), Qt::Key_Down);
    QTest::keyClick(chooser.filterField(), Qt::Key_Return);

    EXPECT_FALSE(chooser.isVisible());
    EXPECT_EQ(chooser.result(), QDialog::Accepted);
    ASSERT_TRUE(chooser.chosenEntry().has_value());
    EXPECT_EQ(chooser.chosenEntry()->identifier, u"org.gnome.TextEditor"_s);
    EXPECT_EQ(chooser.chosenEntry()->url,
              QUrl::fromLocalFile(u"/usr/share/applications/org.gnome.TextEditor.desktop"_s));
}

TEST(ApplicationChooser, DoubleClickChoosesTheRowUnderThePointer) {
    ApplicationChooser chooser(desktopEntries());
    ASSERT_TRUE(openAndWait(chooser));
    QListView* list = chooser.listView();

    const QPoint third = list->visualRect(row(chooser, 2)).center();

    // What a double-click delivers: a click, then the double-click event.
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, third);
    EXPECT_TRUE(chooser.isVisible());
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, third);

    EXPECT_EQ(chooser.result(), QDialog::Accepted);
    ASSERT_TRUE(chooser.chosenEntry().has_value());
    EXPECT_EQ(chooser.chosenEntry()->name, u"Terminal"_s);
}

TEST(ApplicationChooser, EscapeCancelsWithNothingChosen) {
    ApplicationChooser chooser(desktopEntries());
    ASSERT_TRUE(openAndWait(chooser));

    QTest::keyClick(chooser.filterField(), Qt::Key_Down);
    QTest::keyClick(chooser.filterField(), Qt::Key_Escape);

    EXPECT_FALSE(chooser.isVisible());
    EXPECT_EQ(chooser.result(), QDialog::Rejected);
    EXPECT_FALSE(chooser.chosenEntry().has_value());
}

TEST(ApplicationChooser, ChooseNeedsASelectedRow) {
    ApplicationChooser chooser(desktopEntries());
    ASSERT_TRUE(openAndWait(chooser));
    QLineEdit* field = chooser.filterField();

    QTest::keyClicks(field, u"nothing like it"_s);
    EXPECT_FALSE(chooser.chooseButton()->isEnabled());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(chooser.isVisible());

    field->clear();
    EXPECT_TRUE(chooser.chooseButton()->isEnabled());
    chooser.listView()->selectionModel()->clearSelection();
    EXPECT_FALSE(chooser.chooseButton()->isEnabled());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(chooser.isVisible());
    EXPECT_FALSE(chooser.chosenEntry().has_value());

    QTest::keyClick(field, Qt::Key_Down);
    EXPECT_TRUE(chooser.chooseButton()->isEnabled());
}

TEST(ApplicationChooser, TabGoesFromTheFieldToTheListAndTheButtons) {
    ApplicationChooser chooser(desktopEntries());
    ASSERT_TRUE(openAndWait(chooser));
    chooser.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&chooser));
    ASSERT_EQ(QApplication::focusWidget(), chooser.filterField());

    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), chooser.listView());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QWidget* firstButton = QApplication::focusWidget();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QWidget* secondButton = QApplication::focusWidget();

    ASSERT_TRUE(firstButton && secondButton);
    EXPECT_EQ(QSet<QString>({firstButton->property("text").toString(),
                             secondButton->property("text").toString()}),
              QSet<QString>({u"&Choose"_s, u"Cancel"_s}));
}

TEST(ApplicationChooser, IconsComeFromPathsOrTheThemeElseTheFallbackEachNameOnce) {
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString red = folder.filePath(u"red.png"_s);
    QImage image(32, 32, QImage::Format_ARGB32);
    image.fill(Qt::red);
    ASSERT_TRUE(image.save(red));
    ApplicationChooser chooser({
        entry(u"A Painted"_s, u"a"_s, false, red),
        entry(u"B Painted Too"_s, u"b"_s, false, red),
        entry(u"C Unnamed"_s, u"c"_s, false, QString()),
        entry(u"D Lost File"_s, u"d"_s, false, folder.filePath(u"gone.png"_s)),
        entry(u"E Unknown Name"_s, u"e"_s, false, u"sorvane-test-no-such-icon"_s),
    });
    const auto icon = [&chooser](int number) {
        return qvariant_cast<QIcon>(row(chooser, number).data(Qt::DecorationRole));
    };

    const QIcon painted = icon(0);
    EXPECT_EQ(painted.pixmap(32).toImage().pixelColor(16, 16), QColor(Qt::red));
    EXPECT_EQ(icon(1).cacheKey(), painted.cacheKey());
    const QIcon fallback = icon(2);
    EXPECT_FALSE(fallback.isNull());
    EXPECT_NE(fallback.cacheKey(), painted.cacheKey());
    EXPECT_EQ(icon(3).cacheKey(), fallback.cacheKey());
    EXPECT_EQ(icon(4).cacheKey(), fallback.cacheKey());
    icon(0);
    EXPECT_EQ(chooser.iconLookupCount(), 4); // red.png, "", gone.png, the unknown name
}

TEST(ApplicationChooser, ShowingManyEntriesMakesIconsOnlyForDrawnRows) {
    ApplicationChooser chooser(numberedEntries(300));
    EXPECT_EQ(chooser.iconLookupCount(), 0);
    ASSERT_TRUE(openAndWait(chooser));
    QListView* list = chooser.listView();
    const auto drawnRows = [&chooser, list] {
        int drawn = 0;
        for (int i = 0; i < chooser.visibleCount(); ++i)
            drawn += list->visualRect(row(chooser, i)).intersects(list->viewport()->rect());
        return drawn;
    };

    QTRY_VERIFY(chooser.iconLookupCount() > 0);
    const int firstScreen = drawnRows();
    EXPECT_LT(firstScreen, 300);
    EXPECT_LE(chooser.iconLookupCount(), firstScreen);

    const int before = chooser.iconLookupCount();
    QTest::keyClick(chooser.filterField(), Qt::Key_End);
    QTRY_VERIFY(chooser.iconLookupCount() > before);
    EXPECT_LE(chooser.iconLookupCount(), before + drawnRows());
    EXPECT_TRUE(list->visualRect(row(chooser, 299)).intersects(list->viewport()->rect()));
}

} // namespace
