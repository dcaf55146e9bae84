#include "controls/sv_list_item_view.h"
#include "controls/sv_list_view.h"
#include "controls/sv_list_view_delegate.h"
#include "log_capture.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

// Answers with a fixed verdict and remembers what it was asked.
class RecordingListDelegate : public SVListViewDelegate {
public:
    explicit RecordingListDelegate(bool answer)
        : answer_(answer) {}

    bool shouldListViewDeleteListItem(SVListView* listView, SVListItemView* item) override {
        asked.append({listView, item->label()});
        return answer_;
    }

    QList<std::pair<SVListView*, QString>> asked;

private:
    bool answer_;
};

QStringList labels(const SVListView& list) {
    QStringList names;
    for (SVListItemView* item : list.items())
        names.append(item->label());
    return names;
}

class SVListViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        list.resize(300, 200);
        list.show();
    }

    SVListItemView* row(int index) const { return list.items().value(index); }

    SVListView list;
};

TEST_F(SVListViewTest, RowsShowNamesInOrderWithFullNameToolTips) {
    list.addItemWithName(u"com.example.first"_s, true);
    list.addItemWithName(u"com.example.second"_s, false);
    list.addItemWithName(u"com.example.first"_s, true);

    EXPECT_EQ(labels(list), (QStringList{u"com.example.first"_s, u"com.example.second"_s,
                                         u"com.example.first"_s}));
    EXPECT_EQ(row(1)->labelField()->toolTip(), u"com.example.second"_s);
    EXPECT_TRUE(row(0)->deleteButton()->isEnabled());
    EXPECT_FALSE(row(1)->deleteButton()->isEnabled());
    EXPECT_EQ(row(0)->delegate(), &list);
}

// A long path is cut in the middle: its file's name stays in sight, while the
// row's label and tool tip keep the whole path.
TEST_F(SVListViewTest, LongPathsAreCutInTheMiddle) {
    const QString path = u"/home/"_s + QString(280, u'x') + u"/.config/org.example.Tool.conf"_s;
    ASSERT_GE(path.size(), 300);
    list.addItemWithName(path, true);
    const QString why =
        u"application name \"tool\", in the configuration folder "_s + QString(200, u'y');
    row(0)->setDetail(why);
    QTest::qWait(20);

    const QString shown = row(0)->labelField()->text();
    EXPECT_LT(shown.size(), path.size());
    EXPECT_TRUE(shown.endsWith(u"org.example.Tool.conf"_s))
        << qPrintable(shown) << " in " << row(0)->labelField()->width() << " pixels";
    EXPECT_TRUE(shown.startsWith(u"/home/"_s)) << qPrintable(shown);
    EXPECT_EQ(row(0)->label(), path);
    EXPECT_EQ(row(0)->labelField()->toolTip(), path);
    // The reason under it is cut at its end, never clipped; it too stays whole.
    const QString reason = row(0)->detailField()->text();
    EXPECT_TRUE(reason.startsWith(u"application name"_s)) << qPrintable(reason);
    EXPECT_TRUE(reason.endsWith(u"…"_s)) << qPrintable(reason);
    EXPECT_LE(row(0)->detailField()->fontMetrics().horizontalAdvance(reason),
              row(0)->detailField()->width());
    EXPECT_EQ(row(0)->detail(), why);
    EXPECT_EQ(row(0)->detailField()->toolTip(), why);

    // A wider row shows more of it.
    list.resize(900, 200);
    QTest::qWait(20);
    EXPECT_GT(row(0)->labelField()->text().size(), shown.size());
}

TEST_F(SVListViewTest, DisabledButtonNeverAsks) {
    RecordingListDelegate delegate(true);
    list.setDelegate(&delegate);
    list.addItemWithName(u"locked"_s, false);

    QTest::mouseClick(row(0)->deleteButton(), Qt::LeftButton);
    QTest::qWait(5 * SVListItemView::kDeleteDelayMs);

    EXPECT_TRUE(delegate.asked.isEmpty());
    EXPECT_EQ(list.items().size(), 1);
}

TEST_F(SVListViewTest, ClickAsksOnlyAfterTheDeferral) {
    RecordingListDelegate delegate(true);
    list.setDelegate(&delegate);
    list.addItemWithName(u"first"_s, true);
    list.addItemWithName(u"second"_s, true);
    LogCapture log;

    QElapsedTimer clock;
    clock.start();
    QTest::mouseClick(row(1)->deleteButton(), Qt::LeftButton);
    EXPECT_TRUE(delegate.asked.isEmpty()) << "asked before the button's action had finished";

    ASSERT_TRUE(QTest::qWaitFor([&] { return !delegate.asked.isEmpty(); }, 1000));
    // A precise timer never fires early, so this holds however busy the machine is.
    EXPECT_GE(clock.elapsed(), SVListItemView::kDeleteDelayMs);
    EXPECT_EQ(delegate.asked.first().first, &list);
    EXPECT_EQ(delegate.asked.first().second, u"second"_s);
    EXPECT_EQ(log.lines(), QStringList{u"SVListView::shouldDeleteListItem"_s});
    EXPECT_EQ(labels(list), QStringList{u"first"_s});
}

// The delegate's verdict: yes, no, or no delegate at all.
class SVListViewVerdict : public SVListViewTest,
                          public ::testing::WithParamInterface<std::optional<bool>> {};

TEST_P(SVListViewVerdict, OnlyYesRemovesTheRow) {
    std::optional<RecordingListDelegate> delegate;
    if (GetParam())
        list.setDelegate(&delegate.emplace(*GetParam()));
    list.addItemWithName(u"same"_s, true);
    list.addItemWithName(u"same"_s, true);
    QPointer<SVListItemView> second = row(1);

    second->deleteItemAction();
    QTest::qWait(5 * SVListItemView::kDeleteDelayMs);

    const bool removed = GetParam().value_or(false);
    EXPECT_EQ(list.items().size(), removed ? 1 : 2);
    EXPECT_EQ(list.items().contains(second.data()), !removed);
    if (delegate) {
        EXPECT_EQ(delegate->asked.size(), 1);
    }
    if (removed) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_TRUE(second.isNull()) << "a removed row must be destroyed";
    }
}

INSTANTIATE_TEST_SUITE_P(Answers, SVListViewVerdict,
                         ::testing::Values(std::optional<bool>(true), std::optional<bool>(false),
                                           std::optional<bool>()));

TEST_F(SVListViewTest, RemoveAllItemsEmptiesAndNewRowsStartAtTheTop) {
    list.removeAllItems();
    EXPECT_TRUE(list.items().isEmpty());

    list.addItemWithName(u"a"_s, true);
    list.addItemWithName(u"b"_s, true);
    QCoreApplication::processEvents();
    const int top = row(0)->y();
    list.removeAllItems();
    EXPECT_TRUE(list.items().isEmpty());

    list.addItemWithName(u"c"_s, true);
    QCoreApplication::processEvents();
    EXPECT_EQ(labels(list), QStringList{u"c"_s});
    EXPECT_EQ(row(0)->y(), top);
}

// The list says what to do next only while it has no rows, and only when
// it was given something to say.
TEST_F(SVListViewTest, PlaceholderShowsOnlyWhileEmpty) {
    QLabel* empty = list.emptyStateLabel();
    EXPECT_FALSE(empty->isVisible()) << "nothing to say yet";
    list.setPlaceholderText(u"Choose an application"_s);
    EXPECT_TRUE(empty->isVisible());
    EXPECT_EQ(empty->text(), u"Choose an application"_s);
    EXPECT_EQ(empty->geometry(), list.rect());

    list.addItemWithName(u"a"_s, true);
    EXPECT_FALSE(empty->isVisible());
    EXPECT_EQ(list.items().size(), 1) << "the placeholder is no row";
    list.removeAllItems();
    EXPECT_TRUE(empty->isVisible());
    list.resize(420, 260);
    EXPECT_EQ(empty->geometry(), list.rect());
}

// The button of the list's contract is still the delete button, but what it
// shows and says is that the item is kept out of the cleaning.
TEST_F(SVListViewTest, TheRowButtonSaysItKeepsTheItem) {
    list.addItemWithName(u"com.example.tool"_s, true);
    QToolButton* button = row(0)->deleteButton();
    EXPECT_EQ(button->objectName(), u"deleteButton"_s);
    for (const QString& said : {button->text(), button->toolTip(), button->accessibleName()}) {
        EXPECT_TRUE(said.contains(u"Keep"_s)) << said.toStdString();
        EXPECT_FALSE(said.contains(u"Delete"_s)) << said.toStdString();
    }
    EXPECT_TRUE(button->toolTip().contains(u"out of the cleaning"_s));
    EXPECT_TRUE(button->toolTip().contains(u"Nothing is deleted"_s));
}

TEST_F(SVListViewTest, DeleteButtonIsReachableByKeyboard) {
    RecordingListDelegate delegate(false);
    list.setDelegate(&delegate);
    list.addItemWithName(u"keyboard"_s, true);
    QToolButton* button = row(0)->deleteButton();

    EXPECT_TRUE(button->focusPolicy() & Qt::TabFocus);
    button->setFocus();
    QTest::keyClick(button, Qt::Key_Space);

    EXPECT_TRUE(QTest::qWaitFor([&] { return delegate.asked.size() == 1; }, 1000));
}

} // namespace
