#include "controls/empty_state_label.h"

#include <QTableWidget>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Over a table it is shown exactly while the table has no rows, however
// the rows come and go, covers the visible area and lets clicks through.
TEST(EmptyStateLabel, OverAViewFollowsItsRows) {
    QTableWidget table(0, 2);
    table.resize(400, 300);
    auto* label = EmptyStateLabel::overView(&table, u"Press Check to begin"_s);
    table.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&table));
    EXPECT_TRUE(label->isVisible());
    EXPECT_EQ(label->geometry(), table.viewport()->rect());
    EXPECT_TRUE(label->testAttribute(Qt::WA_TransparentForMouseEvents));

    table.setRowCount(3);
    EXPECT_FALSE(label->isVisible());
    table.removeRow(0);
    EXPECT_FALSE(label->isVisible());
    table.setRowCount(0);
    EXPECT_TRUE(label->isVisible());
    table.model()->insertRow(0);
    EXPECT_FALSE(label->isVisible());
    table.clear();
    table.setRowCount(0);
    EXPECT_TRUE(label->isVisible());

    table.resize(600, 500);
    QTest::qWait(10);
    EXPECT_EQ(label->geometry(), table.viewport()->rect());
}

} // namespace
