#include "privileged/sv_task_master.h"

#include "platform/tool_locations.h"
#include "privileged/sv_task_master_delegate.h"
#include "util/logging.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

// The child is polled this often; between polls its output is drained.
constexpr int kPollMilliseconds = 1;

// The name under which a launch failure is reported, beside the process
// error's own text.
const QString kLaunchFailureName = u"FailedToStart"_s;

} // namespace

bool SVTaskMaster::runTaskWithProgram(const QString& program, const QStringList& arguments,
                                      std::optional<QString>* output,
                                      const std::atomic<bool>* exitFlag) {
    QProcess task;
    task.setProgram(program);
    task.setArguments(arguments);
    // Only standard output is captured; standard error and input stay the
    // application's own.
    task.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    task.setInputChannelMode(QProcess::ForwardedInputChannel);

    // Each chunk is decoded by itself: a chunk that is not valid UTF-8 turns
    // into replacement characters and never spoils what came before.
    const auto drain = [&] {
        const QByteArray chunk = task.readAllStandardOutput();
        if (!chunk.isEmpty())
            appendTaskOutput(QString::fromUtf8(chunk));
    };

    task.start();
    if (!task.waitForStarted(-1)) {
        const QString reason = task.errorString();
        sv::log(u"Failed to launch task %1 %2.\n  %3: %4"_s.arg(program, arguments.join(u' '),
                                                                kLaunchFailureName, reason));
        errorMessage_ = u"%1 : %2"_s.arg(kLaunchFailureName, reason);
        if (output)
            *output = errorMessage_;
        return false;
    }
    while (task.state() != QProcess::NotRunning) {
        task.waitForFinished(kPollMilliseconds);
        drain();
        if (exitFlag && exitFlag->load() && task.state() != QProcess::NotRunning)
            task.terminate();
    }
    // Output still in the pipe when the child ended is not lost.
    drain();
    if (output)
        *output = taskOutputBuffer_;
    return true;
}

bool SVTaskMaster::runTaskWithProgram(const QString& program, const QStringList& arguments,
                                      const std::atomic<bool>* exitFlag) {
    return runTaskWithProgram(program, arguments, nullptr, exitFlag);
}

void SVTaskMaster::appendTaskOutput(const QString& piece) {
    if (taskOutputBuffer_)
        taskOutputBuffer_->append(piece);
    else
        taskOutputBuffer_ = piece;
}

bool SVTaskMaster::deleteDefaultDomain(const QString& domain) {
    return runConvenienceTask(ToolLocations::defaultsTool(), u"/usr/bin/defaults"_s,
                              {u"delete"_s, domain});
}

bool SVTaskMaster::rebootComputer() {
    return runConvenienceTask(ToolLocations::rebootTool(), u"/sbin/reboot"_s, {u"now"_s});
}

// The log lines name the system's own tool paths (shownTool) whatever program
// stands in for them on this platform.
bool SVTaskMaster::runConvenienceTask(const QString& program, const QString& shownTool,
                                      const QStringList& arguments) {
    std::optional<QString> text;
    if (!runTaskWithProgram(program, arguments, &text, nullptr)) {
        if (errorMessage_)
            sv::log(u"Task failed: %1 : %2"_s.arg(shownTool, *errorMessage_));
        return false;
    }
    const QString printed = text.value_or(QString());
    sv::log(u"%1 %2\n%3"_s.arg(shownTool, arguments.join(u' '), printed));
    if (delegate_) {
        if (!printed.isEmpty())
            delegate_->taskMasterFailedWithErrorMessage(this, printed);
        else
            delegate_->taskMasterFinished(this);
    }
    return true;
}
