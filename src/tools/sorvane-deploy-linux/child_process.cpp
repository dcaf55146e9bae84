#include "child_process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace selfdeploy {

namespace {

struct Pipe {
    int read = -1;
    int write = -1;
    bool open() {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0)
            return false;
        read = fds[0];
        write = fds[1];
        return true;
    }
};

void closeFd(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

bool isExecutableFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

// Moves bytes between this program and the child until both its outputs end.
void exchange(int input, int out, int err, const std::string& data, ChildResult& result) {
    std::size_t written = 0;
    if (data.empty())
        closeFd(input);
    // A full pipe must not block this side while the child waits to be read.
    if (input >= 0)
        ::fcntl(input, F_SETFL, ::fcntl(input, F_GETFL) | O_NONBLOCK);
    char buffer[65536];
    while (out >= 0 || err >= 0) {
        pollfd fds[3] = {{input, POLLOUT, 0}, {out, POLLIN, 0}, {err, POLLIN, 0}};
        if (::poll(fds, 3, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (input >= 0 && fds[0].revents) {
            const ssize_t sent = ::write(input, data.data() + written, data.size() - written);
            if (sent > 0)
                written += std::size_t(sent);
            // A child that stops reading gets no more: EPIPE ends the input.
            if (sent < 0 && errno != EINTR && errno != EAGAIN)
                written = data.size();
            if (written == data.size())
                closeFd(input);
        }
        int* outputs[2] = {&out, &err};
        std::string* texts[2] = {&result.out, &result.err};
        for (int i = 0; i < 2; ++i) {
            if (*outputs[i] < 0 || !fds[i + 1].revents)
                continue;
            const ssize_t got = ::read(*outputs[i], buffer, sizeof buffer);
            if (got > 0)
                texts[i]->append(buffer, std::size_t(got));
            else if (got == 0 || errno != EINTR)
                closeFd(*outputs[i]);
        }
    }
    closeFd(input);
}

} // namespace

std::string ChildProcess::findOnPath(const std::string& name) {
    const char* variable = std::getenv("PATH");
    const std::string path = variable ? variable : "";
    std::string::size_type start = 0;
    while (start <= path.size()) {
        std::string::size_type end = path.find(':', start);
        if (end == std::string::npos)
            end = path.size();
        const std::string folder = path.substr(start, end - start);
        // An empty entry would mean the current folder: never trusted here.
        if (!folder.empty() && folder.front() == '/' && isExecutableFile(folder + '/' + name))
            return folder + '/' + name;
        start = end + 1;
    }
    return {};
}

ChildResult ChildProcess::run(const std::string& program, const std::vector<std::string>& arguments,
                              const std::string& input) {
    ChildResult result;
    Pipe in, out, err;
    if (!in.open() || !out.open() || !err.open())
        return result;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.read, 0);
    posix_spawn_file_actions_adddup2(&actions, out.write, 1);
    posix_spawn_file_actions_adddup2(&actions, err.write, 2);
    // This program ignores SIGPIPE to survive a child that stops reading;
    // the child gets the usual behaviour back.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int spawned =
        posix_spawn(&pid, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    closeFd(in.read);
    closeFd(out.write);
    closeFd(err.write);
    if (spawned != 0) {
        closeFd(in.write);
        closeFd(out.read);
        closeFd(err.read);
        return result;
    }
    exchange(in.write, out.read, err.read, input, result);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}

} // namespace selfdeploy
