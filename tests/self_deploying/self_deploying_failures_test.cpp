// What goes wrong around a self-deploying application: packages that cannot
// be deployed, wrong command lines, and the assembly failures with their
// codes, all with the real template zip.
#include "self_deploying_fixture.h"

#include "log_capture.h"
#include "packager/self_deploying_assembler.h"
#include "platform/bundle.h"
#include "platform/file_icons.h"
#include "platform/keyed_archive.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

template <typename Row> std::string rowName(const ::testing::TestParamInfo<Row>& row) {
    return row.param.name;
}

// ---- packages the program cannot deploy -----------------------------------

struct BrokenPackage {
    const char* name;
    // Whether the embedded package is taken out, else replaced by the bytes.
    bool removed;
    QByteArray (*bytes)();
    // The one line on standard error (after "sorvane-deploy: "), or its start.
    const char* line;
    bool lineIsPrefix;
};

void PrintTo(const BrokenPackage& row, std::ostream* out) {
    *out << row.name;
}

const BrokenPackage kBrokenPackages[] = {
    {"missing", true, [] { return QByteArray(); }, "No package found at ", true},
    {"empty", false, [] { return QByteArray(""); },
     "Error Reading Package: The package is either corrupt or not compatible with this version of "
     "Sorvane",
     false},
    {"not_an_archive", false, [] { return QByteArray("bplist00 garbage"); },
     "Error Reading Package: The package is either corrupt or not compatible with this version of "
     "Sorvane",
     false},
    {"records_without_names", false,
     [] {
         return KeyedArchive::encode(QVariantMap{
             {u"system"_s, QVariantList{QVariantMap{{u"description"_s, u"nameless"_s}}}},
             {u"applications"_s, QVariantList{QVariantMap{{u"appId"_s, u"com.example.x"_s}}}}});
     },
     "No Settings Found: No settings could be extracted from the PreferencePackage file.", false},
};

// A self-deploying application packing com.example.kept, whose domain is then
// removed: whatever the program does not deploy stays absent.
class KeptDomainBundle : public SelfDeployingFixture {
protected:
    QString keptBundle(const QString& name) {
        runDefaults({u"write"_s, u"com.example.kept"_s, u"{ a = b; }"_s});
        const QString bundle = assemble(
            createPackage({tickedComponent(u"Kept"_s, {u"com.example.kept"_s})}, {}), name);
        runDefaults({u"delete"_s, u"com.example.kept"_s});
        return bundle;
    }
};

class BrokenPackages : public KeptDomainBundle,
                       public ::testing::WithParamInterface<BrokenPackage> {};

TEST_P(BrokenPackages, ExitWithOneLineAndTouchNothing) {
    const BrokenPackage& row = GetParam();
    const QString bundle = keptBundle(u"Broken"_s);
    ASSERT_FALSE(bundle.isEmpty());
    const QString embedded = bundle + u"/Contents/Resources/Package.Kolvane2"_s;
    QFile::remove(embedded);
    if (!row.removed)
        sandbox.makeFile(embedded, row.bytes());
    const auto before = homeSnapshot();

    for (const QStringList& arguments : {QStringList(), QStringList{u"--list"_s}}) {
        const DeployRun run = runDeploy(bundle, arguments);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.out, u""_s);
        ASSERT_EQ(run.errLines().size(), 1) << run.err.toStdString();
        const QString expected = u"sorvane-deploy: "_s + QString::fromUtf8(row.line);
        if (row.lineIsPrefix)
            EXPECT_TRUE(run.errLines()[0].startsWith(expected)) << run.err.toStdString();
        else
            EXPECT_EQ(run.errLines()[0], expected);
    }
    EXPECT_EQ(homeSnapshot(), before);
}

INSTANTIATE_TEST_SUITE_P(SelfDeploying, BrokenPackages, ::testing::ValuesIn(kBrokenPackages),
                         rowName<BrokenPackage>);

// ---- command lines ---------------------------------------------------------

struct CommandLine {
    const char* name;
    QStringList arguments;
    int exitCode;
    // The start of standard output, or of standard error when output is empty.
    const char* out;
    const char* err;
};

void PrintTo(const CommandLine& row, std::ostream* out) {
    *out << row.name;
}

const CommandLine kCommandLines[] = {
    {"help", {u"--help"_s}, 0, "Usage: sorvane-deploy [--list]", ""},
    {"short_help", {u"-h"_s, u"--bogus"_s}, 0, "Usage: sorvane-deploy [--list]", ""},
    {"version", {u"--version"_s}, 0, "sorvane-deploy " SORVANE_VERSION "\n", ""},
    {"unknown_option",
     {u"--list"_s, u"--bogus"_s},
     2,
     "",
     "sorvane-deploy: unknown option: --bogus\nUsage: "},
    {"stray_argument",
     {u"Package.Kolvane2"_s},
     2,
     "",
     "sorvane-deploy: unexpected argument: Package.Kolvane2\nUsage: "},
};

class CommandLines : public KeptDomainBundle, public ::testing::WithParamInterface<CommandLine> {};

TEST_P(CommandLines, AnswerWithTheirExitStatusAndDeployNothing) {
    const CommandLine& row = GetParam();
    const QString bundle = keptBundle(u"Cmd"_s);
    ASSERT_FALSE(bundle.isEmpty());

    const DeployRun run = runDeploy(bundle, row.arguments);
    EXPECT_EQ(run.exitCode, row.exitCode);
    const auto startsAs = [](const QString& text, const char* start) {
        return *start ? text.startsWith(QString::fromUtf8(start)) : text.isEmpty();
    };
    EXPECT_TRUE(startsAs(run.out, row.out)) << run.out.toStdString();
    EXPECT_TRUE(startsAs(run.err, row.err)) << run.err.toStdString();
    EXPECT_TRUE(runDefaults({u"read"_s, u"com.example.kept"_s}).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(SelfDeploying, CommandLines, ::testing::ValuesIn(kCommandLines),
                         rowName<CommandLine>);

// ---- assembly failures -----------------------------------------------------

// What one assembly is given; each row spoils one part of it. (A scratch
// folder that cannot be made, 4002, is covered with the packager's tests.)
struct Assembly {
    const Sandbox& sandbox;
    QString zip;
    QString scratch;
    QString destination;
};

QString executable(const Sandbox& sandbox, const QString& name, const QByteArray& script) {
    const QString path = sandbox.makeFile(sandbox.path() + u'/' + name, script);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

struct AssemblyFailure {
    const char* name;
    int code;
    void (*spoil)(Assembly&);
};

void PrintTo(const AssemblyFailure& row, std::ostream* out) {
    *out << row.name;
}

const AssemblyFailure kAssemblyFailures[] = {
    {"template_missing_from_resources", 4001,
     [](Assembly& a) {
         // The running application's own look-up, in resources that lack it.
         qputenv("SORVANE_RESOURCES_DIR",
                 QFile::encodeName(a.sandbox.makeFolder(a.sandbox.path() + u"/resources"_s)));
         a.zip = Bundle::mainBundle().pathForResource(u"sdkv2"_s, u"zip"_s);
     }},
    {"destination_folder_missing", 4003,
     [](Assembly& a) { a.destination = a.sandbox.path() + u"/no/such/folder/Mine.app"_s; }},
    {"zip_without_the_bundle", 4004,
     [](Assembly& a) {
         const QString folder = a.sandbox.makeFolder(a.sandbox.path() + u"/other"_s);
         a.sandbox.makeFile(folder + u"/Other.app/Contents/Info.plist"_s, "<plist/>");
         a.zip = a.sandbox.path() + u"/other.zip"_s;
         QProcess zip;
         zip.setWorkingDirectory(folder);
         zip.start(u"zip"_s, {u"-r"_s, u"-q"_s, a.zip, u"Other.app"_s});
         zip.waitForFinished(20000);
     }},
    {"unzip_fails_after_starting", 4004,
     [](Assembly& a) {
         // The runner counts a program that ran as a success, whatever its
         // exit status: nothing was unpacked, so the bundle is missing.
         qputenv("SORVANE_UNZIP_TOOL",
                 QFile::encodeName(executable(a.sandbox, u"failing-unzip"_s,
                                              "#!/bin/sh\necho 'cannot unzip' >&2\nexit 9\n")));
     }},
    {"unzip_cannot_be_started", 4005,
     [](Assembly& a) {
         const QString path =
             a.sandbox.makeFile(a.sandbox.path() + u"/unzip-not-executable"_s, "#!/bin/sh\n");
         QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
         qputenv("SORVANE_UNZIP_TOOL", QFile::encodeName(path));
     }},
};

class AssemblyFailures : public SelfDeployingFixture,
                         public ::testing::WithParamInterface<AssemblyFailure> {
protected:
    void TearDown() override {
        qunsetenv("SORVANE_UNZIP_TOOL");
        qunsetenv("SORVANE_RESOURCES_DIR");
        SelfDeployingFixture::TearDown();
    }
};

TEST_P(AssemblyFailures, ShowTheirCodeAndLeaveNoApplication) {
    const AssemblyFailure& row = GetParam();
    Assembly assembly{sandbox, templateZip(), scratch(), sandbox.path() + u"/Mine.app"_s};
    ASSERT_TRUE(QFile::exists(assembly.zip));
    row.spoil(assembly);
    LogCapture log;
    SelfDeployingAssembler assembler(alerts, assembly.zip, assembly.scratch);
    EXPECT_FALSE(assembler.assemble("package", QUrl::fromLocalFile(assembly.destination)));

    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].first, u"Error Saving Kolvane"_s);
    EXPECT_EQ(
        alerts.shown[0].second,
        u"The PreferencePackage could not be saved because an internal error occurred (%1)"_s.arg(
            row.code));
    EXPECT_FALSE(QFile::exists(assembly.destination));
    EXPECT_EQ(log.lines().filter(u"unzip task failed : FailedToStart : "_s).size(),
              row.code == 4005 ? 1 : 0)
        << log.lines().join(u'\n').toStdString();
    // A failure after the unzip takes the half-made bundle away again.
    if (row.code == 4003) {
        EXPECT_FALSE(QFile::exists(assembly.scratch + u"/Self-Deploying Kolvane2.app"_s));
    }
}

INSTANTIATE_TEST_SUITE_P(SelfDeploying, AssemblyFailures, ::testing::ValuesIn(kAssemblyFailures),
                         rowName<AssemblyFailure>);

TEST_F(SelfDeployingFixture, TheRunningApplicationFindsTheTemplateTheBuildMade) {
    // The scratch folder lies in the temporary folder: keep it in the sandbox.
    const QByteArray oldTemp = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(sandbox.makeFolder(sandbox.path() + u"/tmp"_s)));
    const QString destination = sandbox.path() + u"/Found.app"_s;
    SelfDeployingAssembler assembler = SelfDeployingAssembler::forRunningApplication(alerts);
    const bool assembled = assembler.assemble("bytes", QUrl::fromLocalFile(destination));
    qputenv("TMPDIR", oldTemp);
    ASSERT_TRUE(assembled);
    EXPECT_TRUE(alerts.shown.isEmpty());
    EXPECT_TRUE(QFile::exists(sandbox.path() + u"/tmp/com.brisvale.Sorvane"_s));
    const QFileInfo program(destination + u"/Contents/MacOS/sorvane-deploy"_s);
    EXPECT_TRUE(program.isExecutable());
    EXPECT_TRUE(QFileInfo(destination + u"/Contents/MacOS/defaults"_s).isExecutable());
    EXPECT_TRUE(QFileInfo(destination + u"/deploy-settings"_s).isExecutable());
    const auto bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(destination));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundleIdentifier(), u"com.brisvale.Sorvane.SelfDeployingPackage"_s);
    EXPECT_EQ(bundle->version(), QStringLiteral(SORVANE_VERSION));
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"CFBundleExecutable"_s).toString(),
              u"sorvane-deploy"_s);
    EXPECT_FALSE(FileIcons::bundleIcon(*bundle).isNull());
}

} // namespace
