// The real helper's audit trail: a line for every request, malformed ones
// included, and a line before polkit answers that its answer completes.
#include "unprivileged_helper_fixture.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

QStringList auditLines(const QString& log) {
    QFile file(log);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

QMap<QString, QString> fieldsOf(const QString& line) {
    QMap<QString, QString> fields;
    for (const QString& word : line.section(u"Helper audit: "_s, 1).split(u' '))
        fields.insert(word.section(u'=', 0, 0), word.section(u'=', 1));
    return fields;
}

struct MalformedCase {
    const char* name;
    QString method;
    QString signature;
    QJsonArray arguments;
};

void PrintTo(const MalformedCase& c, std::ostream* os) {
    *os << c.name;
}

class MalformedRequestTest : public UnprivilegedHelperTest,
                             public ::testing::WithParamInterface<MalformedCase> {};

} // namespace

TEST_P(MalformedRequestTest, IsAnsweredAndAudited) {
    const MalformedCase& c = GetParam();
    const QString victim =
        writeFile(bus_->home() + u"/Library/Caches/victim"_s, "x", UnprivilegedCaller::kNobody);
    // The helper is started first so that the request is all the trail holds.
    ASSERT_TRUE(callAsNobody(P::kGetVersion, {}, {}).contains(u"reply"_s));
    const int before = static_cast<int>(auditLines(bus_->auditLog()).size());

    const QJsonObject result = callAsNobody(c.method, c.signature, c.arguments);

    EXPECT_TRUE(result.contains(u"error"_s)) << "a malformed request gets an error";
    const QStringList lines = auditLines(bus_->auditLog()).mid(before);
    ASSERT_EQ(lines.size(), 1) << lines.join(u'\n').toStdString();
    const auto fields = fieldsOf(lines.first());
    EXPECT_EQ(fields.value(u"verdict"_s), u"malformed"_s);
    EXPECT_EQ(fields.value(u"operation"_s), c.method);
    EXPECT_EQ(fields.value(u"uid"_s), QString::number(UnprivilegedCaller::kNobody));
    EXPECT_TRUE(QFileInfo::exists(victim));
}

INSTANTIATE_TEST_SUITE_P(
    Requests, MalformedRequestTest,
    ::testing::Values(
        MalformedCase{"DeleteWithANumber", P::kDeleteFileAtUrl, u"i"_s, {7}},
        MalformedCase{"CopyWithOneArgument", P::kCopyFileAtUrl, u"s"_s, {u"file:///x"_s}},
        MalformedCase{
            "AttributesAsText", P::kSetFileAttributes, u"ss"_s, {u"0777"_s, u"file:///x"_s}},
        MalformedCase{"CheckWithoutAFolder", P::kCheckPlistsAtUrl, {}, {}},
        MalformedCase{"UnknownMethod", u"formatDisk"_s, u"s"_s, {u"/"_s}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(UnprivilegedHelperTest, TheTrailIsWrittenBeforePolkitAnswersAndCompletedAfter) {
    const QString victim =
        writeFile(bus_->home() + u"/Library/Caches/victim"_s, "x", UnprivilegedCaller::kNobody);
    ASSERT_TRUE(bus_->setPolkitDelay(1.5));

    caller_->start({UnprivilegedCaller::call(P::kDeleteFileAtUrl, u"s"_s, {fileUrl(victim)})});
    const auto asked = [&] {
        const QStringList lines = auditLines(bus_->auditLog());
        return !lines.isEmpty() && fieldsOf(lines.last()).value(u"verdict"_s) == u"asked"_s;
    };
    const bool seenWhileAsking = eventually(asked, 1200);
    const bool stillThere = QFileInfo::exists(victim);
    const QJsonArray results = caller_->results();

    EXPECT_TRUE(seenWhileAsking) << "no line while polkit was still to answer";
    EXPECT_TRUE(stillThere) << "polkit had answered already: the test proves nothing";
    ASSERT_EQ(results.size(), 1);
    EXPECT_TRUE(results.first().toObject().value(u"reply"_s).toArray().first().toBool());
    const QStringList lines = auditLines(bus_->auditLog());
    ASSERT_EQ(lines.size(), 2) << lines.join(u'\n').toStdString();
    const auto first = fieldsOf(lines.at(0));
    const auto second = fieldsOf(lines.at(1));
    EXPECT_EQ(first.value(u"verdict"_s), u"asked"_s);
    EXPECT_EQ(second.value(u"verdict"_s), u"allowed"_s);
    EXPECT_EQ(first.value(u"request"_s), second.value(u"request"_s));
    EXPECT_EQ(first.value(u"target"_s), u"\""_s + victim + u"\""_s);
    EXPECT_EQ(second.value(u"action"_s), P::kActionDelete + P::kOwnLibrarySuffix);
}
