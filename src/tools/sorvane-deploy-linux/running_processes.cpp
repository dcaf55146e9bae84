#include "running_processes.h"

#include "text_files.h"
#include "util/plain_text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace selfdeploy {

namespace {

constexpr std::size_t kSmallFile = 65536;

std::vector<std::string> entriesOf(const std::string& folder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
    if (!dir)
        return names;
    while (const dirent* entry = ::readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

bool isNumber(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return c >= '0' && c <= '9'; });
}

std::string readStart(const std::string& path) {
    return TextFiles::readStart(path, kSmallFile);
}

std::string fileNameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string executableName(const std::string& process) {
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink((process + "/exe").c_str(), buffer, sizeof buffer);
    if (length <= 0)
        return {};
    std::string target(buffer, std::size_t(length));
    const std::string deleted = " (deleted)";
    if (target.size() > deleted.size() &&
        target.compare(target.size() - deleted.size(), deleted.size(), deleted) == 0)
        target.resize(target.size() - deleted.size());
    return fileNameOf(target);
}

std::string firstArgument(const std::string& process) {
    const std::string commandLine = readStart(process + "/cmdline");
    return fileNameOf(commandLine.substr(0, commandLine.find('\0')));
}

bool runsProgram(const std::string& process, const std::vector<std::string>& programs) {
    const auto named = [&programs](const std::string& name) {
        return !name.empty() && std::find(programs.begin(), programs.end(), name) != programs.end();
    };
    return named(executableName(process)) || named(firstArgument(process));
}

// The name= key of the [Application] group; a runtime's sandbox has a
// [Runtime] group instead and belongs to no application.
std::string flatpakApplication(const std::string& infoFile) {
    bool inApplication = false;
    for (const std::string& line : sv::plain::split(readStart(infoFile), '\n')) {
        if (!line.empty() && line.front() == '[') {
            inApplication = line.rfind("[Application]", 0) == 0;
            continue;
        }
        if (inApplication && line.rfind("name=", 0) == 0)
            return line.substr(5);
    }
    return {};
}

// Flatpak leaves an instance folder behind when a sandbox dies without
// cleaning up: only its pid tells whether it still runs.
bool flatpakRuns(const std::string& flatpakId, const std::string& procRoot,
                 const std::string& runtimeDir) {
    if (flatpakId.empty() || runtimeDir.empty())
        return false;
    const std::string instances = runtimeDir + "/.flatpak";
    for (const std::string& name : entriesOf(instances)) {
        const std::string folder = instances + '/' + name;
        if (flatpakApplication(folder + "/info") != flatpakId)
            continue;
        const std::string pid =
            sv::plain::trimmed(sv::plain::split(readStart(folder + "/pid"), '\n').front());
        struct stat info {};
        if (isNumber(pid) && pid != "0" && ::stat((procRoot + '/' + pid).c_str(), &info) == 0)
            return true;
    }
    return false;
}

std::string runtimeDirectory() {
    const char* variable = std::getenv("XDG_RUNTIME_DIR");
    if (variable && *variable)
        return variable;
    return "/run/user/" + std::to_string(::getuid());
}

} // namespace

bool RunningProcesses::runs(const ApplicationIdentity& identity, const std::string& procRoot,
                            const std::string& runtimeDir) {
    if (flatpakRuns(identity.flatpakId, procRoot, runtimeDir))
        return true;
    if (identity.programs.empty())
        return false;
    const std::string self = std::to_string(::getpid());
    for (const std::string& pid : entriesOf(procRoot)) {
        if (isNumber(pid) && pid != self && runsProgram(procRoot + '/' + pid, identity.programs))
            return true;
    }
    return false;
}

bool RunningProcesses::runs(const ApplicationIdentity& identity) {
    return runs(identity, "/proc", runtimeDirectory());
}

} // namespace selfdeploy
