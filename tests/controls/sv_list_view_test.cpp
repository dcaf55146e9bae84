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
    QTest::qWait(20);

    const QString shown = row(0)->labelField()->text();
    EXPECT_LT(shown.size(), path.size());
    EXPECT_TRUE(shown.endsWith(u"org.example.Tool.conf"_s))
        << qPrintable(shown) << " in " << row(0)->labelField()->width() << " pixels";
    EXPECT_TRUE(shown.startsWith(u"/home/"_s)) << qPrintable(shown);
    EXPECT_EQ(row(0)->label(), path);
    EXPECT_EQ(row(0)->labelField()->toolTip(), path);

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
