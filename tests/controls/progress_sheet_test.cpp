#include "controls/progress_sheet.h"

#include <QLabel>
#include <QProgressBar>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

TEST(ProgressSheet, EscapeLeavesItUpAndOtherThreadsReachItWithoutWaiting) {
    QWidget window;
    window.show();
    ProgressSheet sheet(&window, u"Working"_s);

    std::thread([&sheet] { sheet.showWithMessage(u"Creating Package"_s); }).join();
    EXPECT_FALSE(sheet.isVisible()); // queued to the GUI thread, not yet shown
    QTRY_VERIFY_WITH_TIMEOUT(sheet.isVisible(), 5000);
    EXPECT_EQ(sheet.label()->text(), u"Creating Package"_s);
    EXPECT_EQ(sheet.progressBar()->maximum(), 0); // indeterminate

    QTest::keyClick(&sheet, Qt::Key_Escape);
    EXPECT_TRUE(sheet.isVisible());

    std::thread([&sheet] {
        sheet.setMessage(u"Preparing to save file"_s);
        sheet.closeSheet();
    }).join();
    QTRY_VERIFY_WITH_TIMEOUT(!sheet.isVisible(), 5000);
    EXPECT_EQ(sheet.label()->text(), u"Preparing to save file"_s);
    EXPECT_EQ(sheet.progressBar()->maximum(), 1);
}

} // namespace
