// What the self-deploying file refuses, always before it writes anything, and
// how it fails part-way without losing a domain.
#include "self_deploying_fixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

enum class Runner { Program, FlatpakSandbox, SandboxLeftBehind };

struct RunningCase {
    const char* name;
    Runner runner;
    int status;
    QString said;
};

void PrintTo(const RunningCase& running, std::ostream* out) {
    *out << running.name;
}

class WhileRunning : public SelfDeployingFixture, public testing::WithParamInterface<RunningCase> {
protected:
    // A process named like Sketch's program: a copy of sleep of its name.
    void startSleeper(const QString& name) {
        const QString program = path(u"programs/"_s + name);
        QDir().mkpath(path(u"programs"_s));
        ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
        sleeper_.start(program, {u"60"_s});
        ASSERT_TRUE(sleeper_.waitForStarted());
    }
    void flatpakInstance(const DesktopUser& user, qint64 pid) {
        ASSERT_TRUE(user.writeFile(u".run/.flatpak/1234/info"_s,
                                   "[Application]\nname=org.example.Paint\nruntime=x\n"));
        ASSERT_TRUE(user.writeFile(u".run/.flatpak/1234/pid"_s, QByteArray::number(pid)));
    }
    void TearDown() override {
        sleeper_.kill();
        sleeper_.waitForFinished();
    }

    QProcess sleeper_;
};

} // namespace

TEST_P(WhileRunning, APackagedApplicationStopsTheDeployment) {
    const auto user = receiver();
    const State before = stateOf(*user);
    switch (GetParam().runner) {
    case Runner::Program:
        startSleeper(sketchProgram());
        break;
    case Runner::FlatpakSandbox:
        startSleeper(u"bwrap"_s);
        flatpakInstance(*user, sleeper_.processId());
        break;
    case Runner::SandboxLeftBehind: {
        QProcess gone;
        gone.start(u"/bin/true"_s, {});
        ASSERT_TRUE(gone.waitForFinished());
        flatpakInstance(*user, gone.processId());
        break;
    }
    }
    const ProgramRun run = runCopy(*user, {u"--yes"_s});
    EXPECT_EQ(run.status, GetParam().status) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE((run.out + run.err).contains(GetParam().said))
        << run.out.toStdString() << run.err.toStdString();
    if (GetParam().status != 0) {
        EXPECT_EQ(stateOf(*user), before);
    }
}

INSTANTIATE_TEST_SUITE_P(
    SelfDeploying, WhileRunning,
    testing::Values(
        RunningCase{"Sketch's program", Runner::Program, 4, u"Please quit Sketch."_s},
        RunningCase{"Paint's Flatpak sandbox", Runner::FlatpakSandbox, 4, u"Please quit Paint."_s},
        RunningCase{"a sandbox left behind", Runner::SandboxLeftBehind, 0, u"Deployed all"_s}));

namespace {

struct RefusedCase {
    const char* name;
    QVariantMap files; // Sketch's files
    QVariantMap prefs; // Sketch's domains
    QString said;
};

void PrintTo(const RefusedCase& refused, std::ostream* out) {
    *out << refused.name;
}

class RefusedPackage : public SelfDeployingFixture,
                       public testing::WithParamInterface<RefusedCase> {};

const QVariantMap kSketchDomain = {{u"org.example.Sketch"_s, u"[/]\nzoom=uint32 9\n"_s}};
const QVariantMap kSketchFile = {{u"~/.sketchrc"_s, QByteArray("new\n")}};

QVariantMap withFile(const QString& path) {
    QVariantMap files = kSketchFile;
    files.insert(path, QByteArray("escaped\n"));
    return files;
}

} // namespace

TEST_P(RefusedPackage, IsRefusedBeforeAnythingIsWritten) {
    // The component comes first: had the check not come first, its domain
    // would be written.
    const QVariantMap root = {
        {u"system"_s,
         QVariantList{QVariantMap{
             {u"name"_s, u"Notes"_s},
             {u"prefs"_s, QVariantMap{{u"org.example.Notes"_s, u"[/]\ntitle='theirs'\n"_s}}}}}},
        {u"applications"_s, QVariantList{QVariantMap{{u"name"_s, u"Sketch"_s},
                                                     {u"appId"_s, u"org.example.Sketch"_s},
                                                     {u"prefs"_s, GetParam().prefs},
                                                     {u"files"_s, GetParam().files}}}}};
    const QString file = assemble(root, u"refused"_s);
    const auto user = receiver();
    const State before = stateOf(*user);
    const ProgramRun run = user->run(copyOf(file), {u"--yes"_s}, user->bareEnvironment());
    EXPECT_EQ(run.status, 3);
    EXPECT_TRUE(
        run.err.contains(u"This package is refused and nothing was deployed: "_s + GetParam().said))
        << run.err.toStdString();
    EXPECT_EQ(stateOf(*user), before);
    EXPECT_EQ(user->readFile(u".sketchrc"_s), "old\n");
    EXPECT_FALSE(QFileInfo::exists(path(u"escape"_s)));
    EXPECT_FALSE(QFileInfo::exists(user->home() + u"/escape"_s));
}

INSTANTIATE_TEST_SUITE_P(
    SelfDeploying, RefusedPackage,
    testing::Values(
        RefusedCase{"a path up from the home", withFile(u"~/../escape"_s), kSketchDomain,
                    u"the file path \"~/../escape\" does not lead into the home folder"_s},
        RefusedCase{
            "a path that climbs out", withFile(u"~/.config/../../escape"_s), kSketchDomain,
            u"the file path \"~/.config/../../escape\" does not lead into the home folder"_s},
        RefusedCase{"an absolute path", withFile(u"/tmp/escape"_s), kSketchDomain,
                    u"the file path \"/tmp/escape\" does not lead into the home folder"_s},
        RefusedCase{"another user's home", withFile(u"~root/escape"_s), kSketchDomain,
                    u"the file path \"~root/escape\" does not lead into the home folder"_s},
        RefusedCase{"a Flatpak store outside its folder",
                    kSketchFile,
                    {{u"flatpak:../../escape.x"_s, u"[a]\nb=1\n"_s}},
                    u"\"flatpak:../../escape.x\" is neither a dconf domain nor a Flatpak "_s},
        RefusedCase{"settings of a macOS home folder",
                    kSketchFile,
                    {{u"org.example.Sketch"_s, u"{\n    zoom = 9;\n}\n"_s}},
                    u"the settings of org.example.Sketch are not Linux desktop settings"_s}));

TEST_F(SelfDeployingFixture, WithoutTheDconfProgramNothingIsWritten) {
    const auto user = receiver();
    const State before = stateOf(*user);
    QDir().mkpath(path(u"empty"_s));
    const ProgramRun run = runCopy(*user, {u"--yes"_s}, path(u"empty"_s));
    EXPECT_EQ(run.status, 6);
    EXPECT_TRUE(run.err.contains(u"the dconf program (package dconf-cli) is not installed"_s))
        << run.err.toStdString();
    EXPECT_EQ(stateOf(*user), before);
}

TEST_F(SelfDeployingFixture, WithoutADconfServiceTheDomainsSaySoAndKeepTheirSettings) {
    const auto user = receiver(DconfBus::Service::None);
    const State before = stateOf(*user);
    const ProgramRun run = runCopy(*user, {u"--yes"_s});
    EXPECT_EQ(run.status, 1) << run.out.toStdString();
    EXPECT_TRUE(run.err.contains(u"NOT WRITTEN  settings org.example.Notes: "_s))
        << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(u"NOT WRITTEN  settings org.example.Sketch: "_s));
    EXPECT_TRUE(run.err.contains(u"written      file ~/.sketchrc"_s));
    EXPECT_TRUE(run.err.contains(u"2 of 6 settings and files could not be deployed."_s));
    const State after = stateOf(*user);
    EXPECT_EQ(after.notes, before.notes);
    EXPECT_EQ(after.files, stateOf(*maker_).files);
}

TEST_F(SelfDeployingFixture, ALoadThatFailsPutsTheFormerSettingsBack) {
    // Key-file text whose value dconf cannot parse: only dconf finds out.
    const QString file = assemble(
        {{u"system"_s, QVariantList{QVariantMap{
                           {u"name"_s, u"Notes"_s},
                           {u"prefs"_s, QVariantMap{{u"org.example.Notes"_s,
                                                     u"[/]\ntitle=words without quotes\n"_s}}}}}}},
        u"unparsable"_s);
    const auto user = receiver();
    const QString before = user->dump(kNotes);
    const ProgramRun run = user->run(copyOf(file), {u"--yes"_s}, user->bareEnvironment());
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.contains(u"NOT WRITTEN  settings org.example.Notes: "_s))
        << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(u"(its former settings were put back)"_s))
        << run.err.toStdString();
    EXPECT_EQ(user->dump(kNotes), before);
}
