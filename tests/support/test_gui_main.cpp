// Entry point of the GUI test suites: like the core one, with a QApplication
// on the offscreen platform.
#include <QApplication>
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
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
