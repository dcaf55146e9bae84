#include "application_identity.h"

#include "text_files.h"
#include "util/plain_text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>

#include <unistd.h>

namespace selfdeploy {

namespace {

constexpr std::size_t kLargestEntry = 1 << 20;

std::string fileNameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// Programs that only start the one named after them.
bool isWrapper(const std::string& program) {
    static const std::set<std::string> wrappers = {"env",         "firejail",    "prime-run",
                                                   "gamemoderun", "systemd-run", "flatpak-spawn",
                                                   "optirun",     "primusrun"};
    return wrappers.count(program) > 0;
}

// Programs that many applications share: their processes say nothing about
// one application.
bool isLauncher(const std::string& program) {
    static const std::set<std::string> launchers = {
        "sh",         "bash",    "dash",     "zsh",      "env",
        "python",     "python3", "perl",     "ruby",     "java",
        "mono",       "wine",    "node",     "gjs",      "electron",
        "flatpak",    "snap",    "xdg-open", "exo-open", "gtk-launch",
        "kioclient5", "pkexec",  "sudo",     "firejail", "x-terminal-emulator"};
    std::string lower = program;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return launchers.count(lower) > 0;
}

bool isFieldCode(const std::string& word) {
    return word.size() == 2 && word[0] == '%' &&
           std::string("fFuUdDnNickvm").find(word[1]) != std::string::npos;
}

// The words of an Exec line: blanks separate, double quotes group, and inside
// quotes a backslash escapes one of " ` $ \.
std::vector<std::string> execWords(const std::string& exec) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        const char c = exec[i];
        if (quoted && c == '\\' && i + 1 < exec.size() &&
            std::string("\"`$\\").find(exec[i + 1]) != std::string::npos) {
            word += exec[++i];
        } else if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (c == ' ' || c == '\t')) {
            if (inWord)
                words.push_back(word);
            word.clear();
            inWord = false;
            continue;
        } else {
            word += c;
        }
        inWord = true;
    }
    if (inWord)
        words.push_back(word);
    return words;
}

// A key file value with its escapes undone.
std::string unescaped(const std::string& value) {
    std::string out;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        const char next = value[++i];
        out += next == 's'   ? ' '
               : next == 'n' ? '\n'
               : next == 't' ? '\t'
               : next == 'r' ? '\r'
                             : next;
    }
    return out;
}

std::vector<std::string> applicationFolders() {
    std::vector<std::string> folders;
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (dataHome && *dataHome == '/')
        folders.push_back(dataHome);
    else if (home && *home == '/')
        folders.push_back(std::string(home) + "/.local/share");
    const char* dataDirs = std::getenv("XDG_DATA_DIRS");
    for (const std::string& folder :
         sv::plain::split(dataDirs && *dataDirs ? dataDirs : "/usr/local/share:/usr/share", ':')) {
        if (!folder.empty() && folder.front() == '/')
            folders.push_back(folder);
    }
    for (std::string& entry : folders)
        entry += "/applications";
    return folders;
}

void addProgram(ApplicationIdentity& identity, const std::string& program) {
    if (!program.empty() && !isLauncher(program) &&
        std::find(identity.programs.begin(), identity.programs.end(), program) ==
            identity.programs.end())
        identity.programs.push_back(program);
}

} // namespace

std::string ApplicationIdentity::programOfExec(const std::string& exec) {
    std::vector<std::string> words = execWords(exec);
    words.erase(std::remove_if(words.begin(), words.end(), isFieldCode), words.end());
    std::size_t first = 0;
    while (first < words.size() && isWrapper(fileNameOf(words[first]))) {
        ++first;
        while (first < words.size() &&
               (words[first].find('=') != std::string::npos || words[first].rfind('-', 0) == 0))
            ++first;
    }
    if (first >= words.size())
        return {};
    const std::string program = fileNameOf(words[first]);
    return program == "flatpak" ? std::string() : program;
}

ApplicationIdentity ApplicationIdentity::ofEntryText(const std::string& text,
                                                     const std::string& identifier) {
    ApplicationIdentity identity;
    bool inEntry = false;
    std::string exec, tryExec, flatpak;
    for (const std::string& raw : sv::plain::split(text, '\n')) {
        const std::string line = sv::plain::trimmed(raw);
        if (!line.empty() && line.front() == '[') {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inEntry || equals == std::string::npos)
            continue;
        const std::string key = sv::plain::trimmed(line.substr(0, equals));
        const std::string value = unescaped(sv::plain::trimmed(line.substr(equals + 1)));
        if (key == "Exec")
            exec = value;
        else if (key == "TryExec")
            tryExec = value;
        else if (key == "X-Flatpak")
            flatpak = value;
    }
    addProgram(identity, programOfExec(exec));
    addProgram(identity, fileNameOf(tryExec));
    identity.flatpakId = flatpak.empty() ? identifier : flatpak;
    return identity;
}

ApplicationIdentity ApplicationIdentity::ofIdentifier(const std::string& identifier) {
    if (identifier.empty() || identifier.find('/') != std::string::npos)
        return {};
    for (const std::string& folder : applicationFolders()) {
        const std::string path = folder + '/' + identifier + ".desktop";
        if (::access(path.c_str(), R_OK) == 0)
            return ofEntryText(TextFiles::readStart(path, kLargestEntry), identifier);
    }
    ApplicationIdentity identity;
    identity.flatpakId = identifier;
    return identity;
}

} // namespace selfdeploy
