#include "helper/settings_check_run.h"

#include "helper/settings_check_worker.h"

#include <QFile>

#include <string>
#include <vector>

#include <cerrno>

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Mode = SettingsCheckWalk::Mode;

namespace {

// More than any honest walk sends: its paths, verdicts and frame heads.
constexpr qint64 kMaxReceived = 64LL * 1024 * 1024;

QString& workerProgram() {
    static QString program = u"/proc/self/exe"_s;
    return program;
}

void limit(int resource, rlim_t value) {
    const struct rlimit bound { value, value };
    ::syscall(SYS_prlimit64, 0, resource, &bound, nullptr);
}

// Runs in the child between fork and exec, so it makes system calls only.
// The worker is made the first choice of the out-of-memory killer while it
// may still write that, then becomes the caller for good.
void becomeWorker(int output, uid_t uid, gid_t gid, const std::vector<gid_t>& groups, pid_t helper,
                  bool asRoot) {
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0)
        ::_exit(126);
    const int adjust = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (adjust >= 0) {
        (void)!::write(adjust, "1000", 4);
        ::close(adjust);
    }
    if (asRoot) {
        if (::syscall(SYS_setgroups, groups.size(), groups.data()) != 0 ||
            ::syscall(SYS_setresgid, gid, gid, gid) != 0 ||
            ::syscall(SYS_setresuid, uid, uid, uid) != 0)
            ::_exit(126);
    } else if (uid != ::getuid()) {
        ::_exit(126);
    }
    // Set after the change of user, which clears it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != helper)
        ::_exit(126);
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    limit(RLIMIT_DATA, SettingsCheckRun::kMemoryBound);
    limit(RLIMIT_CPU, SettingsCheckRun::kCpuSeconds);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, 0);
    ::syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
}

} // namespace

SettingsCheckRun::SettingsCheckRun(const AllowedPlaces::Target& folder,
                                   const CallerIdentity& caller, QDeadlineTimer deadline,
                                   Finished finished, QObject* parent)
    : QObject(parent)
    , folder_(folder)
    , caller_(caller)
    , mode_(modeFor(folder))
    , finished_(std::move(finished)) {
    deadline_.setSingleShot(true);
    deadline_.setInterval(static_cast<int>(qMax<qint64>(0, deadline.remainingTime())));
    connect(&deadline_, &QTimer::timeout, this, [this] { finish(true); });
}

SettingsCheckRun::~SettingsCheckRun() {
    if (process_ >= 0) {
        ::syscall(SYS_pidfd_send_signal, process_, SIGKILL, nullptr, 0);
        siginfo_t info{};
        ::waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(process_), &info, WEXITED);
    }
    stopWorker();
}

Mode SettingsCheckRun::modeFor(const AllowedPlaces::Target& folder) {
    return folder.isLinuxPlace() ? Mode::ConfigFiles : Mode::PropertyLists;
}

void SettingsCheckRun::setWorkerProgram(const QString& program) {
    workerProgram() = program;
}

void SettingsCheckRun::start() {
    // An id of -1 would leave the worker root's in that respect.
    if (caller_.uid == static_cast<uid_t>(-1) || caller_.gid == static_cast<gid_t>(-1)) {
        finish(false, u"The caller's user or group is not known."_s);
        return;
    }
    deadline_.start();
    startWorker();
}

void SettingsCheckRun::cancel() {
    finish(true);
}

void SettingsCheckRun::startWorker() {
    stopWorker();
    inFile_ = false;
    // Everything the child needs is made before the fork: after it, the
    // child may only make system calls.
    const QString program = workerProgram();
    std::vector<std::string> words{QFile::encodeName(program).toStdString()};
    for (const QString& argument : SettingsCheckWorker::arguments(folder_, mode_, begun_))
        words.push_back(QFile::encodeName(argument).toStdString());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    std::string lang = "LANG=C.UTF-8";
    std::string path = "PATH=/usr/bin:/bin";
    char* envp[] = {lang.data(), path.data(), nullptr};
    const std::vector<gid_t> groups(caller_.groups.cbegin(), caller_.groups.cend());
    const pid_t helper = ::getpid();
    const bool asRoot = ::geteuid() == 0;
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
        finish(false, u"The check could not start: %1"_s.arg(qt_error_string(errno)));
        return;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        becomeWorker(pipeEnds[1], caller_.uid, caller_.gid, groups, helper, asRoot);
        ::execve(argv.front(), argv.data(), envp);
        ::_exit(127);
    }
    ::close(pipeEnds[1]);
    if (child < 0) {
        ::close(pipeEnds[0]);
        finish(false, u"The check could not start: %1"_s.arg(qt_error_string(errno)));
        return;
    }
    output_ = pipeEnds[0];
    ::fcntl(output_, F_SETFL, ::fcntl(output_, F_GETFL) | O_NONBLOCK);
    process_ = static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
    if (process_ < 0) {
        // Without a descriptor there is no safe way to watch it: it goes.
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        finish(false, u"The check could not start: %1"_s.arg(qt_error_string(errno)));
        return;
    }
    outputReady_ = new QSocketNotifier(output_, QSocketNotifier::Read, this);
    connect(outputReady_, &QSocketNotifier::activated, this, &SettingsCheckRun::readFrames);
    processEnded_ = new QSocketNotifier(process_, QSocketNotifier::Read, this);
    connect(processEnded_, &QSocketNotifier::activated, this, &SettingsCheckRun::workerEnded);
}

void SettingsCheckRun::readFrames() {
    char buffer[65536];
    for (;;) {
        const ssize_t got = output_ < 0 ? 0 : ::read(output_, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        received_ += got;
        pending_.append(buffer, got);
    }
    while (!done_ && takeFrame()) {
    }
    if (!done_ && (received_ > kMaxReceived || results_.size() > SettingsCheckWalk::maxFiles)) {
        // Not what a walk sends: whatever wrote it is stopped.
        finish(true);
    }
}

bool SettingsCheckRun::takeFrame() {
    if (pending_.size() < 5)
        return false;
    quint32 size = 0;
    for (int i = 0; i < 4; ++i)
        size |= static_cast<quint32>(static_cast<uchar>(pending_.at(1 + i))) << (8 * i);
    if (size > SettingsCheckWorker::kMaxFrame) {
        finish(true);
        return false;
    }
    if (pending_.size() < 5 + static_cast<qsizetype>(size))
        return false;
    const char type = pending_.at(0);
    const QString text = QString::fromUtf8(pending_.mid(5, size));
    pending_.remove(0, 5 + size);
    if (type == SettingsCheckWorker::kBegin) {
        current_ = text;
        inFile_ = true;
        ++begun_;
    } else if (type == SettingsCheckWorker::kVerdict && inFile_) {
        if (!text.isEmpty())
            results_.insert(current_, text);
        inFile_ = false;
    } else if (type == SettingsCheckWorker::kFailure) {
        failure_ = text;
    }
    return true;
}

void SettingsCheckRun::workerEnded() {
    siginfo_t info{};
    if (::waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(process_), &info,
                 WEXITED | WNOHANG) != 0 ||
        info.si_pid == 0)
        return;
    // Whatever the worker wrote before it ended is in the pipe.
    readFrames();
    stopWorker();
    if (done_) {
        deleteLater();
        return;
    }
    if (!failure_.isEmpty() && results_.isEmpty()) {
        finish(false, failure_);
        return;
    }
    const bool clean = info.si_code == CLD_EXITED && info.si_status == 0;
    if (clean || !inFile_) {
        finish(clean || !results_.isEmpty(),
               clean ? QString() : u"The check stopped early (status %1)."_s.arg(info.si_status));
        return;
    }
    // The worker died inside a file: that file takes more than a check may.
    results_.insert(current_, SettingsCheckWalk::tooLarge(mode_, current_));
    if (++restarts_ > kMaxRestarts) {
        finish(true);
        return;
    }
    startWorker();
}

void SettingsCheckRun::stopWorker() {
    delete outputReady_;
    outputReady_ = nullptr;
    delete processEnded_;
    processEnded_ = nullptr;
    if (output_ >= 0)
        ::close(output_);
    output_ = -1;
    if (process_ >= 0)
        ::close(process_);
    process_ = -1;
}

void SettingsCheckRun::finish(bool ok, const QString& error) {
    if (done_)
        return;
    done_ = true;
    deadline_.stop();
    finished_(ok, results_, error);
    if (process_ < 0) {
        deleteLater();
        return;
    }
    // The run stays until its worker is gone and reaped.
    delete outputReady_;
    outputReady_ = nullptr;
    ::syscall(SYS_pidfd_send_signal, process_, SIGKILL, nullptr, 0);
}
