#include "platform/defaults_store.h"
#include "platform/plist_codec.h"

#include "sandbox.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

// Test programs live in <build>/tests, the tool in <build>/libexec/sorvane.
QString defaultsProgram() {
    return QCoreApplication::applicationDirPath() + u"/../libexec/sorvane/defaults"_s;
}

struct ProgramRun {
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs the real program with the sandbox as its home folder.
ProgramRun runDefaults(const Sandbox& sandbox, const QStringList& arguments) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, sandbox.home());
    process.setProcessEnvironment(environment);
    process.start(defaultsProgram(), arguments);
    if (!process.waitForFinished(10000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, {}, process.errorString()};
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

TEST(DefaultsProgram, DomainsAreSortedAndJoinedWithOneLineEnd) {
    Sandbox sandbox;
    for (const QString& domain : {u"org.b"_s, u"com.a"_s, u"org.a"_s})
        ASSERT_EQ(runDefaults(sandbox, {u"write"_s, domain, u"k"_s, u"v"_s}).exitCode, 0);
    ASSERT_EQ(runDefaults(sandbox, {u"write"_s, u"-g"_s, u"k"_s, u"v"_s}).exitCode, 0);
    const ProgramRun run = runDefaults(sandbox, {u"domains"_s});
    EXPECT_EQ(run.out, u"com.a, org.a, org.b\n"_s);
    EXPECT_EQ(run.exitCode, 0);
}

TEST(DefaultsProgram, ReadPrintsWhatWriteTookWithTypes) {
    Sandbox sandbox;
    const QString text = u"{\n    flag = <*BY>;\n    list = (\n        a,\n        <*I2>\n    );\n"
                         u"    name = \"two words\";\n}\n"_s;
    ASSERT_EQ(runDefaults(sandbox, {u"write"_s, u"com.x"_s, text}).exitCode, 0);
    EXPECT_EQ(runDefaults(sandbox, {u"read"_s, u"com.x"_s}).out, text);
    EXPECT_EQ(runDefaults(sandbox, {u"read"_s, u"com.x"_s, u"name"_s}).out, u"two words\n"_s);
}

struct WriteCase {
    const char* name;
    QStringList arguments;
    PlistValue expected;
};

class TypedWrites : public testing::TestWithParam<WriteCase> {};

TEST_P(TypedWrites, StoreTheTypedValue) {
    Sandbox sandbox;
    const ProgramRun run = runDefaults(sandbox, QStringList{u"write"_s, u"com.x"_s, u"k"_s} +
                                                    QStringList(GetParam().arguments));
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    QString error;
    const PlistValue domain = DefaultsStore(sandbox.home()).readDomain(u"com.x"_s, &error);
    ASSERT_TRUE(domain.isValid()) << qPrintable(error);
    EXPECT_EQ(*domain.find(u"k"_s), GetParam().expected);
}

PlistValue arrayOf(std::initializer_list<PlistValue> values) {
    PlistValue array = PlistValue::array();
    for (const PlistValue& value : values)
        array.append(value);
    return array;
}

PlistValue dictOf(const QString& key, const PlistValue& value) {
    PlistValue dict = PlistValue::dictionary();
    dict.insert(key, value);
    return dict;
}

INSTANTIATE_TEST_SUITE_P(
    Types, TypedWrites,
    testing::Values(
        WriteCase{"string", {u"-string"_s, u"42"_s}, PlistValue::fromString(u"42"_s)},
        WriteCase{"untyped", {u"42"_s}, PlistValue::fromString(u"42"_s)},
        WriteCase{"int", {u"-int"_s, u"-42"_s}, PlistValue::fromInteger(-42)},
        WriteCase{"float", {u"-float"_s, u"2.5"_s}, PlistValue::fromReal(2.5)},
        WriteCase{"bool", {u"-bool"_s, u"YES"_s}, PlistValue::fromBool(true)},
        WriteCase{"date", {u"-date"_s, u"2001-01-01 00:01:00 +0000"_s}, PlistValue::fromDate(60)},
        WriteCase{"data", {u"-data"_s, u"0fbd"_s}, PlistValue::fromData("\x0f\xbd")},
        WriteCase{"array",
                  {u"-array"_s, u"a"_s, u"-int"_s, u"3"_s},
                  arrayOf({PlistValue::fromString(u"a"_s), PlistValue::fromInteger(3)})},
        WriteCase{"dict",
                  {u"-dict"_s, u"n"_s, u"-bool"_s, u"no"_s},
                  dictOf(u"n"_s, PlistValue::fromBool(false))},
        WriteCase{"textList",
                  {u"(a, <*R1.5>)"_s},
                  arrayOf({PlistValue::fromString(u"a"_s), PlistValue::fromReal(1.5)})}),
    [](const testing::TestParamInfo<WriteCase>& param) { return std::string(param.param.name); });

struct ComplaintCase {
    const char* name;
    QStringList arguments;
};

class Complaints : public testing::TestWithParam<ComplaintCase> {};

TEST_P(Complaints, GoToStandardErrorWithStatusOne) {
    Sandbox sandbox;
    ASSERT_EQ(runDefaults(sandbox, {u"write"_s, u"com.x"_s, u"k"_s, u"v"_s}).exitCode, 0);
    const ProgramRun run = runDefaults(sandbox, GetParam().arguments);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.out.isEmpty()) << qPrintable(run.out);
    EXPECT_FALSE(run.err.isEmpty());
    EXPECT_EQ(DefaultsStore(sandbox.home()).domains(), QStringList{u"com.x"_s});
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, Complaints,
    testing::Values(ComplaintCase{"noVerb", {}}, ComplaintCase{"unknownVerb", {u"list"_s}},
                    ComplaintCase{"missingDomain", {u"read"_s, u"com.none"_s}},
                    ComplaintCase{"missingKey", {u"read"_s, u"com.x"_s, u"none"_s}},
                    ComplaintCase{"deleteMissingKey", {u"delete"_s, u"com.x"_s, u"none"_s}},
                    ComplaintCase{"badText", {u"write"_s, u"com.y"_s, u"{ a = ; }"_s}},
                    ComplaintCase{"textNotADictionary", {u"write"_s, u"com.y"_s, u"(a)"_s}},
                    ComplaintCase{"badInt", {u"write"_s, u"com.y"_s, u"k"_s, u"-int"_s, u"x"_s}},
                    ComplaintCase{"slashInName", {u"write"_s, u"a/b"_s, u"k"_s, u"v"_s}},
                    ComplaintCase{"dotsInName", {u"write"_s, u"..x"_s, u"k"_s, u"v"_s}},
                    ComplaintCase{"emptyName", {u"delete"_s, u""_s}}),
    [](const testing::TestParamInfo<ComplaintCase>& param) {
        return std::string(param.param.name);
    });

TEST(DefaultsProgram, DeleteRemovesAKeyOrTheWholeDomain) {
    Sandbox sandbox;
    ASSERT_EQ(runDefaults(sandbox, {u"write"_s, u"com.x"_s, u"{ a = 1; b = 2; }"_s}).exitCode, 0);
    ASSERT_EQ(runDefaults(sandbox, {u"write"_s, u"-g"_s, u"g"_s, u"v"_s}).exitCode, 0);
    EXPECT_EQ(runDefaults(sandbox, {u"delete"_s, u"com.x"_s, u"a"_s}).exitCode, 0);
    EXPECT_EQ(runDefaults(sandbox, {u"read"_s, u"com.x"_s}).out, u"{\n    b = 2;\n}\n"_s);
    // With no domain, read shows every domain, the global one first.
    EXPECT_EQ(runDefaults(sandbox, {u"read"_s}).out,
              u"{\n    NSGlobalDomain = {\n        g = v;\n    };\n    com.x = {\n"
              u"        b = 2;\n    };\n}\n"_s);
    EXPECT_EQ(runDefaults(sandbox, {u"delete"_s, u"com.x"_s}).exitCode, 0);
    EXPECT_EQ(runDefaults(sandbox, {u"domains"_s}).out, u"\n"_s);
}

TEST(DefaultsProgram, PlistlibLoadsTheFilesItWrites) {
    Sandbox sandbox;
    ASSERT_EQ(
        runDefaults(sandbox, {u"write"_s, u"com.x"_s,
                              u"{ s = \"caf\\U00e9\"; i = <*I-7>; u = <*I18446744073709551615>; "
                              u"r = <*R0.25>; b = <*BN>; d = <*D2024-01-31 10:00:00 +0000>; "
                              u"x = <00ff>; l = (a, { n = m; }); }"_s})
            .exitCode,
        0);
    QProcess python;
    python.start(u"python3"_s,
                 {u"-c"_s,
                  u"import plistlib,sys,datetime\n"
                  u"v=plistlib.load(open(sys.argv[1],'rb'))\n"
                  u"assert v=={'s':'caf\\u00e9','i':-7,'u':2**64-1,'r':0.25,'b':False,"
                  u"'d':datetime.datetime(2024,1,31,10,0),'x':b'\\x00\\xff',"
                  u"'l':['a',{'n':'m'}]}, v\n"
                  u"print('ok')\n"_s,
                  sandbox.homePath(u"Library/Preferences/com.x.plist"_s)});
    python.waitForFinished(30000);
    EXPECT_EQ(QString::fromUtf8(python.readAllStandardOutput() + python.readAllStandardError()),
              u"ok\n"_s);
}

TEST(DefaultsProgram, KilledWritesNeverDamageTheDomain) {
    Sandbox sandbox;
    // A domain big enough that a write takes a while.
    PlistValue big = PlistValue::dictionary();
    for (int i = 0; i < 20000; ++i)
        big.appendEntry(u"key%1"_s.arg(i), PlistValue::fromString(u"value number %1"_s.arg(i)));
    QString error;
    ASSERT_TRUE(DefaultsStore(sandbox.home()).writeDomain(u"com.x"_s, big, &error));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, sandbox.home());
    int killed = 0;
    for (int round = 0; round < 40; ++round) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(defaultsProgram(),
                      {u"write"_s, u"com.x"_s, u"round"_s, u"-int"_s, QString::number(round)});
        ASSERT_TRUE(process.waitForStarted());
        QThread::usleep(quint64(500 + (round * 397) % 9000));
        killed += ::kill(pid_t(process.processId()), SIGKILL) == 0 ? 1 : 0;
        process.waitForFinished();
        const PlistValue domain = DefaultsStore(sandbox.home()).readDomain(u"com.x"_s, &error);
        ASSERT_TRUE(domain.isDictionary()) << round << qPrintable(error);
        ASSERT_NE(domain.find(u"key19999"_s), nullptr);
        const PlistValue* written = domain.find(u"round"_s);
        if (written) {
            EXPECT_LE(written->toInteger(), round);
        }
    }
    EXPECT_GT(killed, 0);
    // Temporary files of killed writers are hidden and never count as domains.
    EXPECT_EQ(DefaultsStore(sandbox.home()).domains(), QStringList{u"com.x"_s});
}

} // namespace
