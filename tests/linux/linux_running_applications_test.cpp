#include "linux/linux_running_applications.h"

#include "sandbox.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QUuid>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Processes are visible to every test on the machine: each one a test starts
// carries a name no other test uses.
QString uniqueName(const QString& stem) {
    return stem + u'-' + QUuid::createUuid().toString(QUuid::Id128).left(12);
}

QString ownPid() {
    return QString::number(QCoreApplication::applicationPid());
}

QString pidThatDoesNotExist() {
    for (qint64 pid = 4194303; pid > 1; --pid) {
        if (!QFileInfo::exists(u"/proc/%1"_s.arg(pid)))
            return QString::number(pid);
    }
    return {};
}

template <typename Case> std::string caseName(const testing::TestParamInfo<Case>& info) {
    QString name = info.param.name;
    for (QChar& c : name) {
        if (!c.isLetterOrNumber())
            c = u'_';
    }
    return name.toStdString();
}

// Every case prints as its name in failure messages.
template <typename Case> void printCase(const Case& c, std::ostream* out) {
    PrintTo(c.name, out);
}

// A /proc of one process, folder 4242, with only the files a case gives.
class FakeProc {
public:
    FakeProc() { sandbox_.makeFolder(process()); }
    QString root() const { return sandbox_.path() + u"/proc"_s; }
    QString process() const { return root() + u"/4242"_s; }
    QString runtimeDir() const { return sandbox_.makeFolder(sandbox_.path() + u"/runtime"_s); }
    void setExecutable(const QString& target) const {
        ASSERT_TRUE(QFile::link(target, process() + u"/exe"_s));
    }
    void setCommandLine(const QStringList& arguments) const {
        QByteArray text;
        for (const QString& argument : arguments)
            text += QFile::encodeName(argument) + '\0';
        sandbox_.makeFile(process() + u"/cmdline"_s, text);
    }
    void setCgroups(const QByteArray& text) const {
        sandbox_.makeFile(process() + u"/cgroup"_s, text);
    }

private:
    Sandbox sandbox_;
};

struct ProgramCase {
    QString name;
    QString executable; // where /proc/<pid>/exe points; empty: not readable
    QStringList arguments;
    QStringList programs;
    bool running;
};

void PrintTo(const ProgramCase& c, std::ostream* out) {
    printCase(c, out);
}

class LinuxRunningProgram : public testing::TestWithParam<ProgramCase> {};

TEST_P(LinuxRunningProgram, MatchesExecutableFirstArgumentOrScript) {
    const ProgramCase& c = GetParam();
    FakeProc proc;
    if (!c.executable.isEmpty())
        proc.setExecutable(c.executable);
    proc.setCommandLine(c.arguments);
    const LinuxProgramIdentity identity{c.programs, {}, {}};
    EXPECT_EQ(LinuxRunningApplications::isRunning(identity, proc.root(), proc.runtimeDir()),
              c.running);
}

const ProgramCase programCases[] = {
    {u"executable"_s, u"/usr/lib/gimp/gimp-2.10"_s, {u"gimp"_s}, {u"gimp-2.10"_s}, true},
    {u"one of several programs"_s,
     u"/usr/bin/gimp"_s,
     {u"gimp"_s},
     {u"gimp-2.10"_s, u"gimp"_s},
     true},
    {u"deleted executable"_s,
     u"/opt/app/firefox-bin (deleted)"_s,
     {u"/opt/app/launcher"_s},
     {u"firefox-bin"_s},
     true},
    {u"first argument"_s,
     u"/opt/app/firefox-bin"_s,
     {u"/usr/bin/firefox"_s, u"--new-window"_s},
     {u"firefox"_s},
     true},
    {u"first argument of an unreadable executable"_s,
     QString(),
     {u"firefox"_s},
     {u"firefox"_s},
     true},
    {u"shell script"_s,
     u"/usr/bin/dash"_s,
     {u"/bin/sh"_s, u"/usr/bin/mytool"_s, u"x"_s},
     {u"mytool"_s},
     true},
    {u"versioned interpreter after options"_s,
     u"/usr/bin/python3.11"_s,
     {u"/usr/bin/python3"_s, u"-u"_s, u"-O"_s, u"/usr/bin/gnome-tweaks"_s},
     {u"gnome-tweaks"_s},
     true},
    {u"script after a double dash"_s,
     u"/usr/bin/perl"_s,
     {u"perl"_s, u"--"_s, u"-tool"_s},
     {u"-tool"_s},
     true},
    {u"interpreter known by its first argument"_s,
     QString(),
     {u"bash"_s, u"/usr/local/bin/mytool"_s},
     {u"mytool"_s},
     true},
    {u"script not first"_s,
     u"/usr/bin/python3"_s,
     {u"python3"_s, u"/usr/bin/other"_s, u"gnome-tweaks"_s},
     {u"gnome-tweaks"_s},
     false},
    {u"argument of a program that is no interpreter"_s,
     u"/usr/bin/less"_s,
     {u"less"_s, u"/usr/bin/mytool"_s},
     {u"mytool"_s},
     false},
    {u"program named like an interpreter"_s,
     u"/usr/bin/shotwell"_s,
     {u"shotwell"_s, u"/home/u/mytool"_s},
     {u"mytool"_s},
     false},
    {u"other program"_s, u"/usr/bin/sleep"_s, {u"sleep"_s, u"30"_s}, {u"firefox"_s}, false},
    {u"case differs"_s, u"/usr/bin/Firefox"_s, {u"Firefox"_s}, {u"firefox"_s}, false},
    {u"longer name"_s, u"/usr/bin/firefox-esr"_s, {u"firefox-esr"_s}, {u"firefox"_s}, false},
    {u"empty name and a kernel thread"_s, QString(), {}, {QString()}, false},
    {u"empty identity"_s, u"/usr/bin/sleep"_s, {u"sleep"_s}, {}, false},
};

INSTANTIATE_TEST_SUITE_P(, LinuxRunningProgram, testing::ValuesIn(programCases),
                         caseName<ProgramCase>);

struct SnapCase {
    QString name;
    QByteArray cgroups;
    QString snapName;
    bool running;
};

void PrintTo(const SnapCase& c, std::ostream* out) {
    printCase(c, out);
}

class LinuxRunningSnap : public testing::TestWithParam<SnapCase> {};

TEST_P(LinuxRunningSnap, MatchesTheSnapsCgroups) {
    const SnapCase& c = GetParam();
    FakeProc proc;
    proc.setCgroups(c.cgroups);
    const LinuxProgramIdentity identity{{}, {}, c.snapName};
    EXPECT_EQ(LinuxRunningApplications::isRunning(identity, proc.root(), proc.runtimeDir()),
              c.running);
}

const SnapCase snapCases[] = {
    {u"application scope"_s,
     "0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
     "snap.firefox.firefox-5b2e0a8c-1d7f-4c1e-9a7e-3f1b2c4d5e6f.scope\n",
     u"firefox"_s, true},
    {u"earlier scope name among cgroup v1 lines"_s,
     "12:pids:/user.slice/user-1000.slice\n"
     "1:name=systemd:/user.slice/user-1000.slice/user@1000.service/"
     "snap.firefox.firefox.5b2e0a8c-1d7f-4c1e-9a7e-3f1b2c4d5e6f.scope\n"
     "0::/user.slice/user-1000.slice\n",
     u"firefox"_s, true},
    {u"service"_s, "0::/system.slice/snap.lxd.daemon.service\n", u"lxd"_s, true},
    {u"hook"_s, "0::/system.slice/snap.lxd.hook.configure-0d1f.scope\n", u"lxd"_s, true},
    {u"parallel instance"_s, "0::/app.slice/snap.firefox_beta.firefox-0d1f.scope\n", u"firefox"_s,
     false},
    {u"longer snap name"_s, "0::/app.slice/snap.firefoxpwa.app-0d1f.scope\n", u"firefox"_s, false},
    {u"other snap"_s, "0::/app.slice/snap.thunderbird.thunderbird-0d1f.scope\n", u"firefox"_s,
     false},
    {u"name inside another unit"_s, "0::/app.slice/mysnap.firefox.daemon.service\n", u"firefox"_s,
     false},
    {u"case differs"_s, "0::/app.slice/snap.Firefox.firefox-0d1f.scope\n", u"firefox"_s, false},
    {u"no snap"_s, "0::/user.slice/user-1000.slice/session-2.scope\n", u"firefox"_s, false},
};

INSTANTIATE_TEST_SUITE_P(, LinuxRunningSnap, testing::ValuesIn(snapCases), caseName<SnapCase>);

struct FlatpakCase {
    QString name;
    QByteArray info;
    QString pid; // "live" and "stale" stand for a running and a missing process
    bool running;
};

void PrintTo(const FlatpakCase& c, std::ostream* out) {
    printCase(c, out);
}

class LinuxRunningFlatpak : public testing::TestWithParam<FlatpakCase> {};

QByteArray pidText(const QString& pid) {
    if (pid == u"live"_s)
        return ownPid().toLatin1();
    if (pid == u"stale"_s)
        return pidThatDoesNotExist().toLatin1();
    return pid.toLatin1();
}

TEST_P(LinuxRunningFlatpak, CountsInstancesWhoseSandboxIsAlive) {
    const FlatpakCase& c = GetParam();
    Sandbox sandbox;
    const QString runtimeDir = sandbox.path() + u"/runtime"_s;
    // Flatpak's per-application folder sits beside the instances.
    sandbox.makeFile(runtimeDir + u"/.flatpak/org.gimp.GIMP/.ref"_s);
    sandbox.makeFile(runtimeDir + u"/.flatpak/1804289383/info"_s, c.info);
    if (!c.pid.isNull())
        sandbox.makeFile(runtimeDir + u"/.flatpak/1804289383/pid"_s, pidText(c.pid));
    const LinuxProgramIdentity identity{{}, u"org.gimp.GIMP"_s, {}};
    EXPECT_EQ(LinuxRunningApplications::isRunning(identity, u"/proc"_s, runtimeDir), c.running);
}

const QByteArray gimpInfo = "[Application]\nname=org.gimp.GIMP\nruntime=runtime/"
                            "org.gnome.Platform/x86_64/45\n\n[Instance]\ninstance-id=1804289383\n";

const FlatpakCase flatpakCases[] = {
    {u"live"_s, gimpInfo, u"live"_s, true},
    {u"pid with a line end"_s, gimpInfo, ownPid() + u'\n', true},
    {u"spaces around the equals sign"_s, "[Application]\nname = org.gimp.GIMP\n", u"live"_s, true},
    {u"stale"_s, gimpInfo, u"stale"_s, false},
    {u"no pid file"_s, gimpInfo, QString(), false},
    {u"pid that is no number"_s, gimpInfo, u"self"_s, false},
    {u"pid zero"_s, gimpInfo, u"0"_s, false},
    {u"other application"_s, "[Application]\nname=org.inkscape.Inkscape\n", u"live"_s, false},
    {u"case differs"_s, "[Application]\nname=org.gimp.gimp\n", u"live"_s, false},
    {u"runtime sandbox"_s, "[Runtime]\nname=org.gimp.GIMP\n", u"live"_s, false},
    {u"name outside the application group"_s,
     "[Instance]\nname=org.gimp.GIMP\n[Application]\nruntime=x\n", u"live"_s, false},
    {u"no info"_s, QByteArray(), u"live"_s, false},
};

INSTANTIATE_TEST_SUITE_P(, LinuxRunningFlatpak, testing::ValuesIn(flatpakCases),
                         caseName<FlatpakCase>);

TEST(LinuxRunningApplications, LooksPastAStaleFlatpakInstance) {
    Sandbox sandbox;
    const QString instances = sandbox.path() + u"/runtime/.flatpak"_s;
    for (const QString& id : {u"1"_s, u"2"_s, u"3"_s}) {
        sandbox.makeFile(instances + u'/' + id + u"/info"_s, gimpInfo);
        sandbox.makeFile(instances + u'/' + id + u"/pid"_s, pidThatDoesNotExist().toLatin1());
    }
    const LinuxProgramIdentity identity{{}, u"org.gimp.GIMP"_s, {}};
    const QString runtimeDir = sandbox.path() + u"/runtime"_s;
    EXPECT_FALSE(LinuxRunningApplications::isRunning(identity, u"/proc"_s, runtimeDir));
    sandbox.makeFile(instances + u"/2/pid"_s, ownPid().toLatin1());
    EXPECT_TRUE(LinuxRunningApplications::isRunning(identity, u"/proc"_s, runtimeDir));
}

TEST(LinuxRunningApplications, FindsTheMatchingProcessAmongOthers) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/proc"_s);
    sandbox.makeFile(root + u"/1/cgroup"_s, "0::/init.scope\n");
    sandbox.makeFile(root + u"/2/cgroup"_s, "0::/app.slice/snap.lxd.daemon.service\n");
    sandbox.makeFile(root + u"/3/cgroup"_s, "0::/user.slice\n");
    // A folder that is no process is never read.
    sandbox.makeFile(root + u"/sys/cgroup"_s, "0::/app.slice/snap.vlc.vlc-0d1f.scope\n");
    const QString runtimeDir = sandbox.makeFolder(sandbox.path() + u"/runtime"_s);
    EXPECT_TRUE(LinuxRunningApplications::isRunning({{}, {}, u"lxd"_s}, root, runtimeDir));
    EXPECT_FALSE(LinuxRunningApplications::isRunning({{}, {}, u"vlc"_s}, root, runtimeDir));
}

TEST(LinuxRunningApplications, SeesACopyOfSleepByItsExecutableUntilItEnds) {
    Sandbox sandbox;
    const QString name = uniqueName(u"sorvane-sleep"_s);
    const QString program = sandbox.path() + u'/' + name;
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
    const LinuxProgramIdentity identity{{uniqueName(u"sorvane-other"_s), name}, {}, {}};
    EXPECT_FALSE(LinuxRunningApplications::isRunning(identity));

    QProcess process;
    process.start(program, {u"30"_s});
    ASSERT_TRUE(process.waitForStarted());
    EXPECT_TRUE(LinuxRunningApplications::isRunning(identity));
    EXPECT_FALSE(LinuxRunningApplications::isRunning({{uniqueName(u"sorvane-sleep"_s)}, {}, {}}));
    process.kill();
    process.waitForFinished();
    EXPECT_FALSE(LinuxRunningApplications::isRunning(identity));
}

TEST(LinuxRunningApplications, SeesAShellScriptByItsFileName) {
    Sandbox sandbox;
    const QString name = uniqueName(u"sorvane-script"_s);
    // The shell waits in a builtin, so no child process outlives the test.
    const QString script = sandbox.makeFile(sandbox.path() + u'/' + name, "read line\n");
    const LinuxProgramIdentity identity{{name}, {}, {}};

    QProcess process;
    process.start(u"/bin/sh"_s, {script});
    ASSERT_TRUE(process.waitForStarted());
    EXPECT_TRUE(LinuxRunningApplications::isRunning(identity));
    process.kill();
    process.waitForFinished();
    EXPECT_FALSE(LinuxRunningApplications::isRunning(identity));
}

} // namespace
