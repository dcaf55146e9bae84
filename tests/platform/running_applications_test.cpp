#include "platform/file_remover.h"
#include "platform/running_applications.h"

#include "sandbox.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(RunningApplications, BundleOfAnExecutable) {
    EXPECT_EQ(RunningApplications::bundlePathOfExecutable(u"/a/Tool.app/Contents/MacOS/Tool"_s),
              u"/a/Tool.app"_s);
    EXPECT_EQ(RunningApplications::bundlePathOfExecutable(u"/usr/bin/sleep"_s), QString());
    EXPECT_EQ(RunningApplications::bundlePathOfExecutable(QString()), QString());
}

TEST(RunningApplications, SeesAProcessRunningInsideABundleUntilItEnds) {
    Sandbox sandbox;
    const QString bundle = sandbox.makeFolder(sandbox.path() + u"/Apps/Tool.app/Contents/MacOS"_s);
    const QString program = bundle + u"/Tool"_s;
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
    const QString bundlePath = sandbox.path() + u"/Apps/Tool.app"_s;
    EXPECT_FALSE(RunningApplications::runningBundlePaths().contains(bundlePath));

    sandbox.makeFile(
        bundlePath + u"/Contents/Info.plist"_s,
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
        "<key>CFBundleIdentifier</key><string>com.example.sleeper</string></dict></plist>");
    QProcess process;
    process.start(program, {u"30"_s});
    ASSERT_TRUE(process.waitForStarted());
    EXPECT_TRUE(RunningApplications::runningBundlePaths().contains(bundlePath));
    EXPECT_EQ(
        RunningApplications::runningApplicationsWithBundleIdentifier(u"com.example.sleeper"_s),
        QStringList{bundlePath});
    EXPECT_TRUE(
        RunningApplications::runningApplicationsWithBundleIdentifier(u"com.example.SLEEPER"_s)
            .isEmpty());
    process.kill();
    process.waitForFinished();
    EXPECT_FALSE(RunningApplications::runningBundlePaths().contains(bundlePath));
    EXPECT_TRUE(
        RunningApplications::runningApplicationsWithBundleIdentifier(u"com.example.sleeper"_s)
            .isEmpty());
}

// A bundle whose program is a script runs as its interpreter, with the
// script as an argument.
TEST(RunningApplications, SeesAScriptRunByAnInterpreter) {
    Sandbox sandbox;
    const QString bundlePath = sandbox.path() + u"/Apps/Scripted.app"_s;
    const QString script = sandbox.makeFile(bundlePath + u"/Contents/MacOS/run"_s, "read line\n");
    QProcess process;
    process.start(u"/bin/sh"_s, {u"-e"_s, script});
    ASSERT_TRUE(process.waitForStarted());
    EXPECT_TRUE(RunningApplications::runningBundlePaths().contains(bundlePath));
    process.kill();
    process.waitForFinished();
    EXPECT_FALSE(RunningApplications::runningBundlePaths().contains(bundlePath));
}

TEST(FileRemover, RemovesFilesFoldersAndLinksWithoutFollowingThem) {
    Sandbox sandbox;
    const QString outside = sandbox.makeFile(sandbox.path() + u"/keep/precious"_s, "x");
    const QString folder = sandbox.makeFolder(sandbox.homePath(u"Library/Caches/Tool"_s));
    sandbox.makeFile(folder + u"/a/b"_s, "y");
    ASSERT_TRUE(QFile::link(sandbox.path() + u"/keep"_s, folder + u"/link"_s));
    const QString file = sandbox.makeFile(sandbox.homePath(u"Library/Caches/tool.db"_s));

    EXPECT_TRUE(FileRemover::removeItem(folder));
    EXPECT_TRUE(FileRemover::removeItem(file));
    EXPECT_FALSE(QFile::exists(folder));
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_TRUE(QFile::exists(outside));
    QString error;
    EXPECT_FALSE(FileRemover::removeItem(file, &error));
    EXPECT_TRUE(error.contains(file));
}

} // namespace
