// Entry point of the core test suites: a QCoreApplication in a private test
// environment.
#include "test_environment.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QTemporaryDir scratch;
    if (!prepareTestEnvironment(scratch))
        return 1;
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
