// Entry point of the core test suites: a QCoreApplication, and a private
// temporary folder standing for HOME and the system root before any test runs,
// so that no test can reach the real home folder or /Library by accident.
#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QTemporaryDir scratch;
    if (!scratch.isValid())
        return 1;
    const QString home = scratch.filePath(QStringLiteral("home"));
    const QString root = scratch.filePath(QStringLiteral("root"));
    QDir().mkpath(home);
    QDir().mkpath(root);
    qputenv("HOME", QFile::encodeName(home));
    qputenv("SORVANE_SYSTEM_ROOT", QFile::encodeName(root));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(scratch.filePath(QStringLiteral("config"))));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(scratch.filePath(QStringLiteral("cache"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(scratch.filePath(QStringLiteral("data"))));
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
