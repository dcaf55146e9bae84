#include "privileged/sv_task_master.h"
#include "privileged/sv_task_master_delegate.h"

#include "log_capture.h"
#include "sandbox.h"

#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QString kShell = u"/bin/sh"_s;

class RecordingDelegate : public SVTaskMasterDelegate {
public:
    void taskMasterFailedWithErrorMessage(SVTaskMaster*, const QString& message) override {
        notices.append(u"failed: "_s + message);
    }
    void taskMasterFinished(SVTaskMaster*) override { notices.append(u"finished"_s); }
    QStringList notices;
};

// Points an environment variable at a fake program for the life of a test.
class ScopedTool {
public:
    ScopedTool(const char* variable, const QString& program)
        : variable_(variable) {
        qputenv(variable_, QFile::encodeName(program));
    }
    ~ScopedTool() { qunsetenv(variable_); }

private:
    const char* variable_;
};

QString makeScript(const Sandbox& sandbox, const char* name, const QByteArray& body) {
    const QString path =
        sandbox.makeFile(sandbox.path() + u'/' + QLatin1StringView(name), "#!/bin/sh\n" + body);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace

TEST(SVTaskMaster, SilentProgramLeavesOutputAbsentAndReportsFinished) {
    Sandbox sandbox;
    const ScopedTool tool("SORVANE_DEFAULTS_TOOL", makeScript(sandbox, "defaults", "exit 3\n"));
    RecordingDelegate delegate;
    SVTaskMaster task;
    task.setDelegate(&delegate);

    EXPECT_TRUE(task.deleteDefaultDomain(u"com.example.app"_s));
    EXPECT_FALSE(task.output().has_value());
    EXPECT_FALSE(task.errorMessage().has_value());
    EXPECT_EQ(delegate.notices, QStringList{u"finished"_s});
}

TEST(SVTaskMaster, ComplaintOnStandardErrorOnlyStillCountsAsSuccess) {
    Sandbox sandbox;
    const ScopedTool tool("SORVANE_DEFAULTS_TOOL",
                          makeScript(sandbox, "defaults", "echo 'Domain not found' >&2\nexit 1\n"));
    RecordingDelegate delegate;
    SVTaskMaster task;
    task.setDelegate(&delegate);
    LogCapture log;

    EXPECT_TRUE(task.deleteDefaultDomain(u"com.example.gone"_s));
    EXPECT_FALSE(task.output().has_value());
    EXPECT_EQ(delegate.notices, QStringList{u"finished"_s});
    EXPECT_TRUE(log.contains(u"/usr/bin/defaults delete com.example.gone\n"_s))
        << log.lines().join(u'|').toStdString();
}

TEST(SVTaskMaster, ProgramThatPrintsIsReportedAsFailureWithItsOutput) {
    Sandbox sandbox;
    const ScopedTool tool("SORVANE_REBOOT_TOOL",
                          makeScript(sandbox, "reboot", "echo \"rebooting $1\"\n"));
    RecordingDelegate delegate;
    SVTaskMaster task;
    task.setDelegate(&delegate);
    LogCapture log;

    EXPECT_TRUE(task.rebootComputer());
    EXPECT_EQ(task.output(), std::optional<QString>(u"rebooting now\n"_s));
    EXPECT_EQ(delegate.notices, QStringList{u"failed: rebooting now\n"_s});
    EXPECT_TRUE(log.contains(u"/sbin/reboot now\nrebooting now\n"_s));
}

TEST(SVTaskMaster, MissingProgramFailsWithoutDelegateNotice) {
    Sandbox sandbox;
    const QString missing = sandbox.path() + u"/no-such-defaults"_s;
    const ScopedTool tool("SORVANE_DEFAULTS_TOOL", missing);
    RecordingDelegate delegate;
    SVTaskMaster task;
    task.setDelegate(&delegate);
    LogCapture log;

    EXPECT_FALSE(task.deleteDefaultDomain(u"com.example.app"_s));
    ASSERT_TRUE(task.errorMessage().has_value());
    EXPECT_TRUE(task.errorMessage()->startsWith(u"FailedToStart : "_s))
        << task.errorMessage()->toStdString();
    EXPECT_TRUE(delegate.notices.isEmpty());
    EXPECT_TRUE(log.contains(u"Task failed: /usr/bin/defaults : "_s + *task.errorMessage()));
    ASSERT_FALSE(log.lines().isEmpty());
    EXPECT_TRUE(log.lines().first().startsWith(u"Failed to launch task "_s + missing +
                                               u" delete com.example.app.\n  FailedToStart: "_s));
}

TEST(SVTaskMaster, LaunchFailureTextGoesIntoTheOutputParameter) {
    SVTaskMaster task;
    std::optional<QString> output;
    EXPECT_FALSE(task.runTaskWithProgram(u"/nonexistent/tool"_s, {}, &output, nullptr));
    EXPECT_EQ(output, task.errorMessage());
    EXPECT_TRUE(output.has_value());
}

TEST(SVTaskMaster, LastOutputWrittenJustBeforeExitIsKept) {
    SVTaskMaster task;
    std::optional<QString> output;
    // Many chunks, the last one written as the program ends.
    ASSERT_TRUE(task.runTaskWithProgram(
        kShell,
        {u"-c"_s, u"i=0; while [ $i -lt 200 ]; do echo line$i; i=$((i+1)); done; printf end"_s},
        &output, nullptr));
    ASSERT_TRUE(output.has_value());
    EXPECT_TRUE(output->startsWith(u"line0\nline1\n"_s));
    EXPECT_TRUE(output->endsWith(u"line199\nend"_s));
    EXPECT_EQ(output->count(u'\n'), 200);
}

TEST(SVTaskMaster, UndecodableChunkBecomesReplacementCharacters) {
    SVTaskMaster task;
    std::optional<QString> output;
    ASSERT_TRUE(task.runTaskWithProgram(
        kShell, {u"-c"_s, u"printf 'a\\377\\376b'; sleep 0.05; printf 'caf\\303\\251'"_s}, &output,
        nullptr));
    ASSERT_TRUE(output.has_value());
    EXPECT_TRUE(output->startsWith(u'a'));
    EXPECT_TRUE(output->contains(QChar::ReplacementCharacter));
    EXPECT_TRUE(output->endsWith(u"bcafé"_s)) << output->toStdString();
}

TEST(SVTaskMaster, ExitStatusIsIgnoredAndStandardErrorIsNotCollected) {
    SVTaskMaster task;
    ASSERT_TRUE(
        task.runTaskWithProgram(kShell, {u"-c"_s, u"echo out; echo err >&2; exit 9"_s}, nullptr));
    EXPECT_EQ(task.output(), std::optional<QString>(u"out\n"_s));
}

TEST(SVTaskMaster, SecondRunOnTheSameObjectAppends) {
    SVTaskMaster task;
    ASSERT_TRUE(task.runTaskWithProgram(kShell, {u"-c"_s, u"printf one"_s}, nullptr));
    ASSERT_TRUE(task.runTaskWithProgram(kShell, {u"-c"_s, u"printf two"_s}, nullptr));
    EXPECT_EQ(task.output(), std::optional<QString>(u"onetwo"_s));
}

TEST(SVTaskMaster, StopFlagTerminatesALongProgramAndKeepsItsOutput) {
    Sandbox sandbox;
    // The program ignores the first terminate request, so it takes repeated
    // requests while the flag stays set to end it.
    const QString marker = sandbox.path() + u"/terms"_s;
    const QString script = makeScript(sandbox, "long",
                                      "echo started\n"
                                      "trap 'echo x >> " +
                                          QFile::encodeName(marker) +
                                          "; n=$((n+1)); [ $n -ge 2 ] && exit 0' TERM\n"
                                          "n=0\nwhile true; do sleep 0.01; done\n");
    std::atomic<bool> stop{false};
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stop = true;
    });
    SVTaskMaster task;
    std::optional<QString> output;
    QElapsedTimer elapsed;
    elapsed.start();
    const bool ran = task.runTaskWithProgram(script, {}, &output, &stop);
    canceller.join();

    EXPECT_TRUE(ran);
    EXPECT_EQ(output, std::optional<QString>(u"started\n"_s));
    QFile terms(marker);
    ASSERT_TRUE(terms.open(QIODevice::ReadOnly));
    EXPECT_GE(terms.readAll().count('x'), 2);
    EXPECT_LT(elapsed.elapsed(), 60000); // the program alone would never end
}
