// The helper's settings check walk, in this process: what it takes, what it
// leaves, and how a walk started again goes on where the last one stopped.
#include "helper/settings_check_walk.h"

#include "helper/unique_fd.h"
#include "linux/config_checker.h"
#include "platform/plist_checker.h"

#include "sandbox.h"

#include <QFile>
#include <QMap>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Mode = SettingsCheckWalk::Mode;

namespace {

struct Walked {
    QStringList begun;
    QMap<QString, QString> verdicts;
};

Walked walk(const QString& folder, Mode mode, qsizetype skip = 0) {
    Walked walked;
    QString current;
    SettingsCheckWalk walker(
        mode,
        [&](const QString& path) {
            walked.begun.append(path);
            current = path;
        },
        [&](const QString& verdict) {
            if (!verdict.isNull())
                walked.verdicts.insert(current, verdict);
        });
    const UniqueFd fd(::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY));
    walker.run(fd.get(), folder, skip);
    return walked;
}

// A folder with property lists, other files, a link out and a FIFO.
QString prepare(const Sandbox& sandbox) {
    const QString folder = sandbox.homePath(u"Library/Preferences"_s);
    sandbox.makeFile(folder + u"/b.plist"_s, "{a = 1;}");
    sandbox.makeFile(folder + u"/a.PLIST"_s, "(unclosed");
    sandbox.makeFile(folder + u"/ByHost/c.plist"_s, "");
    sandbox.makeFile(folder + u"/notes.txt"_s, "no");
    sandbox.makeFile(folder + u"/apprc"_s, "[General]\nx=1\n");
    sandbox.makeFile(sandbox.path() + u"/outside/secret.plist"_s, "(secret");
    QFile::link(sandbox.path() + u"/outside"_s, folder + u"/linked"_s);
    QFile::link(sandbox.path() + u"/outside/secret.plist"_s, folder + u"/link.plist"_s);
    ::mkfifo(QFile::encodeName(folder + u"/pipe.plist"_s).constData(), 0600);
    return folder;
}

} // namespace

TEST(SettingsCheckWalk, ChecksPropertyListsInAFixedOrderAndFollowsNoLink) {
    Sandbox sandbox;
    const QString folder = prepare(sandbox);

    const Walked walked = walk(folder, Mode::PropertyLists);

    EXPECT_EQ(walked.begun, (QStringList{folder + u"/a.PLIST"_s, folder + u"/b.plist"_s,
                                         folder + u"/ByHost/c.plist"_s}));
    EXPECT_EQ(walked.verdicts.value(folder + u"/a.PLIST"_s), PlistChecker::check("(unclosed"));
    EXPECT_EQ(walked.verdicts.value(folder + u"/b.plist"_s), u"OK"_s);
    EXPECT_EQ(walked.verdicts.value(folder + u"/ByHost/c.plist"_s), PlistChecker::check({}));
}

TEST(SettingsCheckWalk, ChecksConfigurationFilesByTheirFormat) {
    Sandbox sandbox;
    const QString folder = prepare(sandbox);

    const Walked walked = walk(folder, Mode::ConfigFiles);

    EXPECT_EQ(walked.verdicts.value(folder + u"/apprc"_s), u"OK"_s);
    EXPECT_FALSE(walked.begun.contains(folder + u"/notes.txt"_s)) << "no known format";
    for (const QString& path : walked.begun)
        EXPECT_FALSE(path.contains(u"secret"_s)) << path.toStdString();
}

// A worker started again after a file it could not check skips what the
// last one began.
TEST(SettingsCheckWalk, AWalkStartedAgainSkipsTheFilesAlreadyBegun) {
    Sandbox sandbox;
    const QString folder = prepare(sandbox);
    const Walked whole = walk(folder, Mode::PropertyLists);
    for (qsizetype skip = 0; skip <= whole.begun.size(); ++skip)
        EXPECT_EQ(walk(folder, Mode::PropertyLists, skip).begun, whole.begun.mid(skip)) << skip;
}

TEST(SettingsCheckWalk, AFileBeyondTheSizeBoundIsReportedUnread) {
    Sandbox sandbox;
    const QString folder = sandbox.homePath(u"Library/Preferences"_s);
    const QString big = sandbox.makeFile(folder + u"/big.plist"_s, "(");
    ASSERT_EQ(::truncate(QFile::encodeName(big).constData(), SettingsCheckWalk::maxFileSize + 1),
              0);
    const QString rc = sandbox.makeFile(folder + u"/bigrc"_s, "[General]\n");
    ASSERT_EQ(::truncate(QFile::encodeName(rc).constData(), SettingsCheckWalk::maxFileSize + 1), 0);

    EXPECT_EQ(walk(folder, Mode::PropertyLists).verdicts.value(big),
              SettingsCheckWalk::tooLarge(Mode::PropertyLists, big));
    EXPECT_EQ(walk(folder, Mode::ConfigFiles).verdicts.value(rc),
              SettingsCheckWalk::tooLarge(Mode::ConfigFiles, rc));
}

// As a plain user, a file it may not read has no verdict, and a folder it
// may not list is not entered.
TEST(SettingsCheckWalk, WhatTheWalkerMayNotReadHasNoVerdict) {
    if (!runningAsRoot()) {
        Sandbox sandbox;
        const QString folder = sandbox.homePath(u"Library/Preferences"_s);
        const QString closed = sandbox.makeFile(folder + u"/closed.plist"_s, "(secret");
        const QString hidden = sandbox.makeFile(folder + u"/Hidden/inner.plist"_s, "(secret");
        ::chmod(QFile::encodeName(closed).constData(), 0);
        ::chmod(QFile::encodeName(folder + u"/Hidden"_s).constData(), 0);
        const Walked walked = walk(folder, Mode::PropertyLists);
        EXPECT_FALSE(walked.verdicts.contains(closed));
        EXPECT_FALSE(walked.begun.contains(hidden));
        return;
    }
    const RerunResult run = rerunCurrentTestUnprivileged();
    if (!run.ran)
        GTEST_SKIP() << run.output.toStdString();
    EXPECT_TRUE(run.passed) << run.output.toStdString();
}
