// The real helper under load from a plain user: a property list that would
// take gigabytes to parse, checks that are held up, copies that are too large
// or take long. Each stays within its bound, and other callers are answered.
#include "unprivileged_helper_fixture.h"

#include "helper/helper_file_operations.h"
#include "platform/plist_checker.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonDocument>

#include <signal.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// The most memory the process has held at once, in KiB.
qint64 peakMemoryKiB(qint64 pid) {
    QFile status(u"/proc/%1/status"_s.arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

QJsonObject resultsOf(const QJsonObject& result) {
    return result.value(u"reply"_s).toArray().at(2).toObject();
}

class ResourceBoundTest : public UnprivilegedHelperTest {
protected:
    QString preferences() const { return bus_->home() + u"/Library/Preferences"_s; }

    // A check the test holds up by stopping its worker, for as long as it likes.
    pid_t holdACheck(UnprivilegedCaller& caller, const QString& folder, uid_t uid) {
        caller.start({UnprivilegedCaller::call(P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(folder)})});
        return stopWorkerOf(uid);
    }
};

} // namespace

TEST_F(ResourceBoundTest, APropertyListTooLargeToParseIsReportedAndTheHelperStaysSmall) {
    // About 14 MiB of text whose parse would take more than a gigabyte.
    QByteArray huge = "(";
    huge += QByteArray("a,").repeated(7 * 1024 * 1024);
    huge += "a)";
    const QString big =
        writeFile(preferences() + u"/big.plist"_s, huge, UnprivilegedCaller::kNobody);
    const QString good =
        writeFile(preferences() + u"/zz-good.plist"_s, "{a = 1;}", UnprivilegedCaller::kNobody);
    ASSERT_TRUE(callAsNobody(P::kGetVersion, {}, {}).contains(u"reply"_s));
    const qint64 helper = bus_->ownerPid(P::kLabel);

    const QJsonObject result = callAsNobody(P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(preferences())});

    ASSERT_TRUE(result.value(u"reply"_s).toArray().first().toBool())
        << QJsonDocument(result).toJson().toStdString();
    EXPECT_EQ(resultsOf(result).value(big).toString(),
              u"%1: the file is too large to check"_s.arg(big));
    EXPECT_EQ(resultsOf(result).value(good).toString(), u"OK"_s) << "the check went on after it";
    const qint64 peak = peakMemoryKiB(helper);
    EXPECT_GT(peak, 0);
    EXPECT_LT(peak, 200 * 1024) << "the helper itself held " << peak << " KiB";
}

TEST_F(ResourceBoundTest, OneCheckAtATimePerCallerAndFewInAll) {
    // Files that take the worker a moment each, so that it can be caught.
    const QByteArray slow = slowPropertyList();
    const QString otherPreferences = otherHome() + u"/Library/Preferences"_s;
    for (int i = 0; i < 4; ++i) {
        writeFile(preferences() + u"/slow%1.plist"_s.arg(i), slow, UnprivilegedCaller::kNobody);
        writeFile(otherPreferences + u"/slow%1.plist"_s.arg(i), slow, otherUid_);
    }
    UnprivilegedCaller first(bus_->address());
    const pid_t held = holdACheck(first, preferences(), UnprivilegedCaller::kNobody);
    ASSERT_GT(held, 0) << "no worker for the first check";

    // The same user on another connection waits its turn.
    const QJsonObject second = callAsNobody(P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(preferences())});
    EXPECT_FALSE(second.value(u"reply"_s).toArray().first().toBool());
    EXPECT_TRUE(second.value(u"reply"_s).toArray().at(3).toString().contains(u"Another check"_s));

    // A second user may run one; a third finds the helper at its limit.
    UnprivilegedCaller other(bus_->address(), otherUid_, otherGid_);
    const pid_t heldToo = holdACheck(other, otherPreferences, otherUid_);
    ASSERT_GT(heldToo, 0) << "no worker for the other user's check";
    const auto third = link_->checkPlistsAtUrl(QUrl::fromLocalFile(preferences()));
    EXPECT_FALSE(third.has_value()) << "a third check ran beside two";
    // The event thread answers all the same.
    QElapsedTimer elapsed;
    elapsed.start();
    link_->checkInstalledHelperVersion();
    EXPECT_EQ(link_->currentHelperToolVersion(), std::optional<QString>(u"2.0.0"_s));
    EXPECT_LT(elapsed.elapsed(), 2000);

    ::kill(held, SIGCONT);
    ::kill(heldToo, SIGCONT);
    const QJsonArray firstResult = first.results();
    const QJsonArray otherResult = other.results();
    ASSERT_FALSE(firstResult.isEmpty());
    EXPECT_TRUE(firstResult.first().toObject().value(u"reply"_s).toArray().first().toBool());
    ASSERT_FALSE(otherResult.isEmpty());
    EXPECT_TRUE(otherResult.first().toObject().value(u"reply"_s).toArray().first().toBool());
    // Once they are done the slots are free again.
    EXPECT_TRUE(link_->checkPlistsAtUrl(QUrl::fromLocalFile(preferences())).has_value());
}

TEST_F(ResourceBoundTest, ACopyLargerThanTheBoundIsRefusedAndLeavesNothing) {
    const QString source =
        writeFile(bus_->home() + u"/Library/Caches/huge"_s, {}, UnprivilegedCaller::kNobody);
    // Sparse: as large as a file can look without taking the disk.
    ASSERT_EQ(
        ::truncate(QFile::encodeName(source).constData(), HelperFileOperations::kMaxCopyBytes + 1),
        0);
    const QString destination = bus_->home() + u"/Library/Caches/copy"_s;

    const QJsonObject result =
        callAsNobody(P::kCopyFileAtUrl, u"ss"_s, {fileUrl(source), fileUrl(destination)});

    ASSERT_TRUE(result.contains(u"reply"_s));
    EXPECT_FALSE(result.value(u"reply"_s).toArray().first().toBool());
    EXPECT_TRUE(result.value(u"reply"_s).toArray().at(1).toString().contains(u"larger than"_s));
    EXPECT_EQ(QDir(bus_->home() + u"/Library/Caches"_s)
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u"huge"_s})
        << "no copy and no temporary copy";
}

TEST_F(ResourceBoundTest, ACopyIsTheCallersAndRunsOffTheEventThread) {
    constexpr int kFiles = 20000;
    const QString tree = bus_->home() + u"/Library/Caches/tree"_s;
    for (int i = 0; i < kFiles; ++i)
        writeFile(tree + u"/d%1/f%2"_s.arg(i % 100).arg(i), "x", UnprivilegedCaller::kNobody);
    const QString system = writeFile(bus_->systemRoot() + u"/Library/Caches/shared"_s, "root's");
    const QString copy = bus_->home() + u"/Library/Caches/tree-copy"_s;
    const QString shared = bus_->home() + u"/Library/Caches/shared-copy"_s;

    caller_->start(
        {UnprivilegedCaller::call(P::kCopyFileAtUrl, u"ss"_s, {fileUrl(tree), fileUrl(copy)}),
         UnprivilegedCaller::call(P::kCopyFileAtUrl, u"ss"_s, {fileUrl(system), fileUrl(shared)})});
    // Once the copy is under way, another caller asks for the version.
    const auto underWay = [&] {
        return !QDir(bus_->home() + u"/Library/Caches"_s)
                    .entryList({u".tree-copy.sorvane-*"_s}, QDir::AllEntries | QDir::Hidden)
                    .isEmpty();
    };
    ASSERT_TRUE(eventually(underWay, 20000)) << "the copy never started";
    QElapsedTimer elapsed;
    elapsed.start();
    link_->checkInstalledHelperVersion();
    const qint64 waited = elapsed.elapsed();
    const bool stillCopying = underWay();
    const QJsonArray results = caller_->results();

    EXPECT_EQ(link_->currentHelperToolVersion(), std::optional<QString>(u"2.0.0"_s));
    EXPECT_LT(waited, 2000);
    EXPECT_TRUE(stillCopying) << "the copy ended before the version query: the test proves nothing";
    ASSERT_EQ(results.size(), 2);
    EXPECT_TRUE(results.at(0).toObject().value(u"reply"_s).toArray().first().toBool());
    EXPECT_TRUE(results.at(1).toObject().value(u"reply"_s).toArray().first().toBool());
    // Root's file copied into the user's Library is the user's.
    for (const QString& made : {copy + u"/d7/f7"_s, shared}) {
        struct stat info {};
        ASSERT_EQ(::stat(QFile::encodeName(made).constData(), &info), 0) << made.toStdString();
        EXPECT_EQ(info.st_uid, UnprivilegedCaller::kNobody) << made.toStdString();
    }
}
