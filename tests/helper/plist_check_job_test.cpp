#include "helper/plist_check_job.h"

#include "platform/plist_checker.h"

#include "sandbox.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kGood = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>";

void makeFolder(const Sandbox& sandbox, int files) {
    for (int i = 0; i < files; ++i)
        sandbox.makeFile(sandbox.homePath(u"Prefs/f%1.plist"_s.arg(i)), kGood);
    sandbox.makeFile(sandbox.homePath(u"Prefs/ByHost/host.PLIST"_s), "garbage");
    sandbox.makeFile(sandbox.homePath(u"Prefs/readme.txt"_s), "not checked");
    // Nobody ever writes to it: opening it for reading would block for good.
    ::mkfifo(QFile::encodeName(sandbox.homePath(u"Prefs/pipe.plist"_s)).constData(), 0600);
}

} // namespace

TEST(PlistCheckJob, ChecksEveryPropertyListBelowTheFolder) {
    Sandbox sandbox;
    makeFolder(sandbox, 50);
    const std::atomic<bool> cancelled{false};

    const auto results = PlistCheckJob::run(sandbox.homePath(u"Prefs"_s), cancelled,
                                            QDeadlineTimer(QDeadlineTimer::Forever));

    EXPECT_EQ(results.size(), 51);
    EXPECT_EQ(results.value(sandbox.homePath(u"Prefs/f7.plist"_s)), u"OK"_s);
    EXPECT_EQ(results.value(sandbox.homePath(u"Prefs/ByHost/host.PLIST"_s)),
              PlistChecker::check("garbage"));
    EXPECT_FALSE(results.contains(sandbox.homePath(u"Prefs/readme.txt"_s)));
    EXPECT_FALSE(results.contains(sandbox.homePath(u"Prefs/pipe.plist"_s)));
}

TEST(PlistCheckJob, StopsWhenCancelledOrOutOfTime) {
    Sandbox sandbox;
    makeFolder(sandbox, 20);
    const std::atomic<bool> cancelled{true};
    EXPECT_TRUE(PlistCheckJob::run(sandbox.homePath(u"Prefs"_s), cancelled,
                                   QDeadlineTimer(QDeadlineTimer::Forever))
                    .isEmpty());
    const std::atomic<bool> running{false};
    EXPECT_TRUE(
        PlistCheckJob::run(sandbox.homePath(u"Prefs"_s), running, QDeadlineTimer(0)).isEmpty());
}
