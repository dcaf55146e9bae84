#include "platform/plist_binary_format.h"
#include "platform/plist_codec.h"
#include "platform/plist_text_format.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QString sourcePath(const QString& relative) {
    return QStringLiteral(SORVANE_TEST_SOURCE_DIR) + u'/' + relative;
}

// One value of every type, nested, with the awkward cases of each.
PlistValue everyType() {
    PlistValue strings = PlistValue::array();
    for (const QString& s :
         {u"plain"_s, u""_s, u"two words"_s, u"quote \" back \\ slash"_s, u"tab\tnew\nline\r\x01"_s,
          u"caf\u00e9 \u65e5\u672c \U0001F600"_s, u"a=b;c"_s, u"<*I1>"_s, u"//x"_s, u"a/*b"_s,
          u"{length = 1, bytes = 0x00}"_s})
        strings.append(PlistValue::fromString(s));
    PlistValue numbers = PlistValue::array();
    for (qint64 i : {qint64(0), qint64(1), qint64(-1), qint64(255), qint64(256), qint64(65536),
                     qint64(-4294967296LL), qint64(INT64_MAX), qint64(INT64_MIN)})
        numbers.append(PlistValue::fromInteger(i));
    numbers.append(PlistValue::fromUnsigned(UINT64_MAX));
    numbers.append(PlistValue::fromUnsigned(quint64(INT64_MAX) + 1));
    for (double d : {0.0, -0.5, 3.5, 1e300, 0.1, -1e-300})
        numbers.append(PlistValue::fromReal(d));
    PlistValue root = PlistValue::dictionary();
    root.insert(u"strings"_s, strings);
    root.insert(u"numbers"_s, numbers);
    root.insert(u"yes"_s, PlistValue::fromBool(true));
    root.insert(u"no"_s, PlistValue::fromBool(false));
    root.insert(u"date"_s, PlistValue::fromDate(728474400));
    root.insert(u"early"_s, PlistValue::fromDate(-3187296000.0));
    root.insert(u"data"_s, PlistValue::fromData(QByteArray("\x00\x0f\xbd\x77\x77\x1c", 6)));
    root.insert(u"empty data"_s, PlistValue::fromData({}));
    root.insert(u"uid"_s, PlistValue::fromUid(70000));
    root.insert(u"empty dict"_s, PlistValue::dictionary());
    root.insert(u"empty list"_s, PlistValue::array());
    root.insert(u"\u00fcnicode key"_s, PlistValue::fromString(u"v"_s));
    return root;
}

TEST(PlistCodec, EveryTypeSurvivesTextBinaryText) {
    const QString text = PlistTextFormat::write(everyType());
    QString error;
    const PlistValue fromText = PlistCodec::read(text.toUtf8(), &error);
    ASSERT_TRUE(fromText.isValid()) << qPrintable(error) << qPrintable(text);
    EXPECT_EQ(fromText, everyType());
    const PlistValue fromBinary = PlistCodec::read(PlistCodec::write(fromText), &error);
    ASSERT_TRUE(fromBinary.isValid()) << qPrintable(error);
    EXPECT_EQ(fromBinary, everyType());
    EXPECT_EQ(PlistTextFormat::write(fromBinary), text);
}

TEST(PlistCodec, TextUsesTypedFormsAndPlatformLayout) {
    PlistValue root = PlistValue::dictionary();
    root.insert(u"n"_s, PlistValue::fromInteger(42));
    root.insert(u"r"_s, PlistValue::fromReal(3.5));
    root.insert(u"b"_s, PlistValue::fromBool(true));
    root.insert(u"d"_s,
                PlistValue::fromDateTime(QDateTime(QDate(2024, 1, 31), QTime(10, 0), Qt::UTC)));
    root.insert(u"x"_s, PlistValue::fromData(QByteArray::fromHex("0fbd77771c2735ae00")));
    PlistValue list = PlistValue::array();
    list.append(PlistValue::fromString(u"a b"_s));
    list.append(PlistValue::fromString(u"caf\u00e9"_s));
    root.insert(u"list"_s, list);
    EXPECT_EQ(PlistTextFormat::write(root),
              u"{\n    n = <*I42>;\n    r = <*R3.5>;\n    b = <*BY>;\n"
              u"    d = <*D2024-01-31 10:00:00 +0000>;\n    x = <0fbd7777 1c2735ae 00>;\n"
              u"    list = (\n        \"a b\",\n        \"caf\\U00e9\"\n    );\n}\n"_s);
}

TEST(PlistCodec, PlatformToolOutputParses) {
    QFile file(sourcePath(u"tests/data/plist/platform_read_output.txt"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QString error;
    const PlistValue root = PlistCodec::read(file.readAll(), &error);
    ASSERT_TRUE(root.isDictionary()) << qPrintable(error);
    EXPECT_EQ(root.keys().size(), 11);
    EXPECT_EQ(root.find(u"NSWindow Frame"_s)->toString(), u"12 34 800 600 0 0 1440 875 "_s);
    const PlistValue& searches = *root.find(u"Recent Searches"_s);
    EXPECT_EQ(searches.at(0).toString(), u"caf\u00e9"_s);
    EXPECT_EQ(searches.at(1).toString(), u"tab\there"_s);
    EXPECT_EQ(searches.at(2).toString(), u"quote \" and backslash \\"_s);
    EXPECT_EQ(searches.at(3).toString(), u"octal AB"_s);
    // Other tools print numbers bare; written back they are strings.
    EXPECT_EQ(*root.find(u"SUEnableAutomaticChecks"_s), PlistValue::fromString(u"1"_s));
    EXPECT_EQ(root.find(u"Token"_s)->toData(), QByteArray::fromHex("0fbd77771c2735ae00ff"));
    EXPECT_EQ(root.find(u"NewToken"_s)->toData(), QByteArray::fromHex("0a0b0c"));
    EXPECT_EQ(root.find(u"Nested"_s)->find(u"empty dict"_s)->type(), PlistValue::Type::Dictionary);
    EXPECT_EQ(root.find(u"Nested"_s)->find(u"path"_s)->toString(), u"/usr/local/bin:/usr/bin"_s);
}

struct TextCase {
    const char* name;
    const char* text;
    bool ok;
};

class TextParserCases : public testing::TestWithParam<TextCase> {};

TEST_P(TextParserCases, Verdict) {
    QString error;
    const PlistValue value = PlistTextFormat::parse(QString::fromUtf8(GetParam().text), &error);
    EXPECT_EQ(value.isValid(), GetParam().ok) << qPrintable(error);
    EXPECT_EQ(error.isEmpty(), GetParam().ok);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TextParserCases,
    testing::Values(TextCase{"bracelessDictionary", "a = 1; \"b c\" = (x);", true},
                    TextCase{"trailingArrayComma", "(a, b,)", true},
                    TextCase{"singleQuoted", "{ a = 'x y'; }", true},
                    TextCase{"unterminatedString", "{ a = \"x; }", false},
                    TextCase{"missingSemicolon", "{ a = b }", false},
                    TextCase{"oddData", "<0fb>", false},
                    TextCase{"abridgedData", "{length = 40, bytes = 0x0102 ... 0304}", false},
                    TextCase{"badTypedInteger", "<*I12x>", false},
                    TextCase{"badDate", "<*D2024-13-01 00:00:00 +0000>", false},
                    TextCase{"trailingGarbage", "{ a = b; } x", false},
                    TextCase{"unterminatedComment", "{ /* a = b; }", false},
                    TextCase{"nonStringKey", "{ (a) = b; }", false}),
    [](const testing::TestParamInfo<TextCase>& param) { return std::string(param.param.name); });

TEST(PlistCodec, XmlIntegersKeepTheirSignAndBase) {
    QString error;
    const PlistValue value = PlistCodec::read(
        "<plist><array><integer>-5</integer><integer>18446744073709551615</integer>"
        "<integer>0x10</integer><integer>010</integer></array></plist>",
        &error);
    ASSERT_TRUE(value.isArray()) << qPrintable(error);
    EXPECT_EQ(value.at(0), PlistValue::fromInteger(-5));
    EXPECT_EQ(value.at(1), PlistValue::fromUnsigned(UINT64_MAX));
    EXPECT_EQ(value.at(2), PlistValue::fromInteger(16));
    // A leading zero is not octal (libplist alone would read 8).
    EXPECT_EQ(value.at(3), PlistValue::fromInteger(10));
}

// python3's plistlib is an independent reader and writer of both formats.
QString runPython(const QString& script, const QStringList& arguments) {
    QProcess python;
    python.start(u"python3"_s, QStringList{u"-c"_s, script} + arguments);
    python.waitForFinished(30000);
    return QString::fromUtf8(python.readAllStandardOutput()) +
           QString::fromUtf8(python.readAllStandardError());
}

TEST(PlistCodec, PlistlibReadsOurBinaryAndWeReadItsFiles) {
    QTemporaryDir dir;
    const QString ours = dir.filePath(u"ours.plist"_s);
    QFile file(ours);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    PlistValue value = everyType();
    value.remove(u"uid"_s); // XML has no UID type
    file.write(PlistBinaryFormat::write(value));
    file.close();
    // plistlib loads our file and writes it back as XML and as binary.
    const QString output =
        runPython(u"import plistlib,sys\n"
                  u"v=plistlib.load(open(sys.argv[1],'rb'))\n"
                  u"assert v['numbers'][9]==2**64-1 and v['numbers'][8]==-2**63, v['numbers']\n"
                  u"assert v['strings'][5]=='caf\\u00e9 \\u65e5\\u672c \\U0001F600'\n"
                  u"x=dict(v);x['strings']=[s for s in v['strings'] if '\\x01' not in s]\n"
                  u"plistlib.dump(x,open(sys.argv[2],'wb'),fmt=plistlib.FMT_XML)\n"
                  u"plistlib.dump(v,open(sys.argv[3],'wb'),fmt=plistlib.FMT_BINARY)\n"
                  u"print('done')\n"_s,
                  {ours, dir.filePath(u"xml.plist"_s), dir.filePath(u"bin.plist"_s)});
    ASSERT_EQ(output, u"done\n"_s) << qPrintable(output);
    for (const QString& name : {u"xml.plist"_s, u"bin.plist"_s}) {
        QFile theirs(dir.filePath(name));
        ASSERT_TRUE(theirs.open(QIODevice::ReadOnly));
        QString error;
        PlistValue read = PlistCodec::read(theirs.readAll(), &error);
        ASSERT_TRUE(read.isValid()) << qPrintable(error);
        // plistlib sorts keys and keeps dates in whole microseconds.
        // XML cannot hold control characters, so that copy lacks one string.
        for (const QString& key : value.keys()) {
            if (name == u"bin.plist"_s || key != u"strings"_s) {
                EXPECT_EQ(*read.find(key), *value.find(key)) << qPrintable(name + u' ' + key);
            }
        }
    }
}

TEST(PlistCodec, RepeatedKeysKeepTheFirstPlaceAndTheLastValue) {
    const QByteArray xml = "<plist><dict><key>a</key><string>1</string><key>b</key><string>2"
                           "</string><key>a</key><string>3</string></dict></plist>";
    QString error;
    for (const QByteArray& data : {QByteArray("{ a = 1; b = 2; a = 3; }"), xml}) {
        const PlistValue value = PlistCodec::read(data, &error);
        ASSERT_TRUE(value.isDictionary()) << qPrintable(error);
        EXPECT_EQ(value.keys(), QStringList({u"a"_s, u"b"_s}));
        EXPECT_EQ(value.find(u"a"_s)->toString(), u"3"_s);
    }
}

} // namespace
