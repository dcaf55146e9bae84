#include "platform/plist_binary_format.h"
#include "platform/plist_checker.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray xmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<!DOCTYPE plist PUBLIC \"-//Sorvane//DTD PLIST 1.0//EN\" "
                           "\"PropertyList-1.0.dtd\">\n";

QByteArray xmlPlist(const QByteArray& body) {
    return xmlHead + "<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}

QByteArray goodBinary() {
    PlistValue root = PlistValue::dictionary();
    root.insert(u"name"_s, PlistValue::fromString(u"Sorvane"_s));
    PlistValue list = PlistValue::array();
    list.append(PlistValue::fromInteger(-3));
    list.append(PlistValue::fromReal(2.5));
    root.insert(u"list"_s, list);
    return PlistBinaryFormat::write(root);
}

// Sets the big-endian trailer field at `offsetFromEnd` bytes before the end.
QByteArray withTrailerField(QByteArray data, int offsetFromEnd, quint64 value, int size) {
    for (int i = 0; i < size; ++i)
        data[data.size() - offsetFromEnd + i] = char(value >> (8 * (size - 1 - i)));
    return data;
}

struct CheckCase {
    const char* name;
    QByteArray data;
    bool ok;
    const char* faultMentions; // a word the message must name
};

class PlistCheckerCases : public testing::TestWithParam<CheckCase> {};

TEST_P(PlistCheckerCases, Verdict) {
    const CheckCase& c = GetParam();
    const QString verdict = PlistChecker::check(c.data);
    if (c.ok) {
        EXPECT_EQ(verdict, u"OK"_s);
        return;
    }
    EXPECT_NE(verdict, u"OK"_s);
    const qsizetype marker = verdict.indexOf(u" (Error Domain="_s);
    ASSERT_GT(marker, 0) << qPrintable(verdict);
    EXPECT_TRUE(verdict.left(marker).contains(QString::fromUtf8(c.faultMentions)))
        << qPrintable(verdict);
}

QByteArray deepXml(int depth) {
    return xmlPlist(QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth));
}

QByteArray selfReferencingArray() {
    // One array whose only element is itself.
    QByteArray data("bplist00");
    data.append(char(0xA1));
    data.append(char(0));
    const quint64 table = quint64(data.size());
    data.append(char(8));
    data.append(QByteArray(6, '\0'));
    data.append(char(1));
    data.append(char(1));
    for (quint64 v : {quint64(1), quint64(0), table})
        for (int i = 7; i >= 0; --i)
            data.append(char(v >> (8 * i)));
    return data;
}

INSTANTIATE_TEST_SUITE_P(
    Files, PlistCheckerCases,
    testing::Values(
        CheckCase{"binary", goodBinary(), true, ""},
        CheckCase{"xml", xmlPlist("<dict><key>a</key><integer>12</integer></dict>"), true, ""},
        CheckCase{"xmlBomNoDoctypeComments",
                  "\xEF\xBB\xBF<!-- saved -->\n<plist><dict><!-- x --><key>a</key>"
                  "<array><real>1e3</real><true/><date>2024-01-31T10:00:00Z</date>"
                  "<data>AAEC</data><string>&lt;&#x41;</string></array></dict></plist>",
                  true, ""},
        CheckCase{"oldStyleText", "{ a = 1; b = (x, \"y z\"); c = <0fbd7777>; }", true, ""},
        CheckCase{"integerWithLetters", xmlPlist("<integer>12x</integer>"), false, "12x"},
        CheckCase{"realWithTwoPoints", xmlPlist("<real>1.5.3</real>"), false, "1.5.3"},
        CheckCase{"unknownTag", xmlPlist("<dict><key>a</key><colour/></dict>"), false, "colour"},
        CheckCase{"unclosedDict", xmlPlist("<dict><key>a</key><string>b</string>"), false, "line"},
        CheckCase{"commentOpenerOnly", "<!--><plist><true/></plist>", false, "comment"},
        CheckCase{"unterminatedDoctypeLiteral",
                  "<!DOCTYPE plist PUBLIC \"-//x//EN\" junk\"><plist><true/></plist>", false,
                  "DOCTYPE"},
        CheckCase{"unterminatedDeclarationLiteral",
                  "<?xml version=\"1.0\" encoding=\"UTF-8?>\n<plist><true/></plist>", false,
                  "processing instruction"},
        CheckCase{"doctypeSubsetNotClosedByBracketAndAngle",
                  "<!DOCTYPE plist[]<!---->\n<plist><true/></plist>", false, "DOCTYPE"},
        CheckCase{"doctypeWithSubset", "<!DOCTYPE plist [ <!-- x --> ]>\n<plist><true/></plist>",
                  true, ""},
        CheckCase{"instructionWithoutTarget", "<?>?><plist><true/></plist>", false,
                  "processing instruction"},
        CheckCase{"selfClosingKey", xmlPlist("<dict><key/><true/></dict>"), false, "key"},
        CheckCase{"junkInTag",
                  xmlPlist("<array\xfb\xfb"
                           "ate></array>"),
                  false, "array"},
        CheckCase{"characterReferenceWithNul",
                  xmlPlist(QByteArray("<string>&#6\0\x02"
                                      "5;</string>",
                                      24)),
                  false, "entity"},
        CheckCase{"keyWithoutValue", xmlPlist("<dict><key>a</key></dict>"), false, "key"},
        CheckCase{"truncatedBinary", goodBinary().left(goodBinary().size() - 5), false, "offset"},
        CheckCase{"offsetTableBeyondEnd", withTrailerField(goodBinary(), 8, 1u << 20, 8), false,
                  "offset table"},
        CheckCase{"objectCountTooLarge", withTrailerField(goodBinary(), 24, 1u << 30, 8), false,
                  "offset"},
        CheckCase{"referenceSizeZero", withTrailerField(goodBinary(), 25, 0, 1), false,
                  "reference size"},
        CheckCase{"referenceCycle", selfReferencingArray(), false, "cycle"},
        CheckCase{"randomBytes", QByteArray("\x13\x37\xC0\xFF\xEE garbage", 14), false, "UTF-8"},
        CheckCase{"deepNesting", deepXml(5000), false, "Nesting"},
        CheckCase{"deepText", QByteArray(100000, '('), false, "Nesting"}),
    [](const testing::TestParamInfo<CheckCase>& param) { return std::string(param.param.name); });

TEST(PlistChecker, EmptyDataHasTheFixedMessage) {
    EXPECT_EQ(PlistChecker::check({}), u"Cannot parse a NULL or zero-length data"_s);
}

TEST(PlistChecker, EveryTruncationOfABinaryFileIsAFault) {
    const QByteArray data = goodBinary();
    // Shorter prefixes ("bplis") are bare words, which are valid text property lists.
    for (qsizetype length = 6; length < data.size(); ++length)
        EXPECT_NE(PlistChecker::check(data.left(length)), u"OK"_s) << length;
}

TEST(PlistChecker, EverySingleByteFlipIsHandledWithoutCrashing) {
    const QByteArray data = goodBinary();
    int faults = 0;
    for (qsizetype at = 0; at < data.size(); ++at) {
        QByteArray damaged = data;
        damaged[at] = char(damaged[at] ^ 0xFF);
        faults += PlistChecker::check(damaged) == u"OK"_s ? 0 : 1;
    }
    // Flipping a string's bytes or a real's bits can leave a valid file; most flips cannot.
    EXPECT_GT(faults, data.size() / 2);
}

} // namespace
