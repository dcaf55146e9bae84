#include "controls/checkbox_table_cell_view.h"

#include <QCheckBox>
#include <QLabel>
#include <QTest>

#include <gtest/gtest.h>

namespace {

TEST(CheckboxTableCellView, TickBoxTogglesByMouseAndByKeyboard) {
    CheckboxTableCellView cell;
    cell.show();
    int clicks = 0;
    QObject::connect(cell.checkbox(), &QCheckBox::clicked, cell.checkbox(), [&] { ++clicks; });

    QTest::mouseClick(cell.checkbox(), Qt::LeftButton);
    EXPECT_TRUE(cell.checkbox()->isChecked());

    cell.setFocus();
    EXPECT_EQ(cell.focusProxy(), cell.checkbox());
    QTest::keyClick(cell.checkbox(), Qt::Key_Space);
    EXPECT_FALSE(cell.checkbox()->isChecked());
    EXPECT_EQ(clicks, 2);
    EXPECT_FALSE(cell.textField()->isVisible());
}

} // namespace
