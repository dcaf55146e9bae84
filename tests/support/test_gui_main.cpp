// Entry point of the GUI test suites: a QApplication, offscreen, in a
// private test environment.
#include "test_environment.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QTemporaryDir scratch;
    if (!prepareTestEnvironment(scratch))
        return 1;
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
