// The self-deploying package program of the Linux desktop: Sorvane appends a
// package to a copy of this program, and whoever runs the copy gets the
// package's settings, with nothing of Sorvane installed. Built without Qt,
// with the C++ runtime linked in, so that libc is all it loads.
#include "child_process.h"
#include "conversation.h"
#include "deployment.h"
#include "embedded_package.h"
#include "keyed_archive_reader.h"
#include "text_files.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace selfdeploy;

namespace {

// Exit statuses; every refusal comes before anything is written.
enum Status {
    kDeployed = 0,     // everything written (or --help, --list)
    kIncomplete = 1,   // deployed, but some domains or files were not written
    kUsage = 2,        // wrong options
    kBadPackage = 3,   // no package, an unreadable one, or one that is refused
    kRunning = 4,      // a packaged application runs
    kNotConfirmed = 5, // the user declined, or could not be asked
    kUnsuitable = 6,   // no home folder, or no dconf program for dconf settings
};

const char* const kHelp = R"(Usage: %s [--yes] [--list] [--help]

Deploys the Sorvane settings package this file carries into your settings
and your home folder: the dconf settings of each packaged component and
application (through the desktop's own dconf program), Flatpak settings
stores and extra files. It needs a Linux desktop with dconf; nothing of
Sorvane.

It shows what it will deploy and asks first: in the terminal when started
from one, otherwise through zenity or kdialog. It refuses while a packaged
application runs, and refuses a package whose file paths would leave the
home folder.

  -y, --yes    deploy without asking (for scripts)
  -l, --list   show what the package holds, write nothing
  -h, --help   show this text

Exit status: 0 deployed, 1 some settings or files could not be written,
2 wrong usage, 3 no readable package or a refused one, 4 a packaged
application is running, 5 not confirmed (declined, or no terminal and no
dialog program to ask with; use --yes), 6 no home folder or no dconf
program. Only 0 and 1 mean anything was written.
)";

struct Options {
    bool yes = false;
    bool list = false;
    bool help = false;
};

bool parse(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "-y" || argument == "--yes")
            options->yes = true;
        else if (argument == "-l" || argument == "--list")
            options->list = true;
        else if (argument == "-h" || argument == "--help")
            options->help = true;
        else {
            TextFiles::print(stderr, std::string(argv[0]) + ": unknown option " + argument +
                                         " (see --help)\n");
            return false;
        }
    }
    return true;
}

// This program's own file. A root without /proc (a bare chroot, a small
// container) still has the name it was started by.
std::string ownFile(const std::string& startedAs) {
    if (::access("/proc/self/exe", R_OK) == 0)
        return "/proc/self/exe";
    if (startedAs.find('/') != std::string::npos)
        return startedAs;
    return ChildProcess::findOnPath(startedAs);
}

std::optional<PackageContents> readOwnPackage(const std::string& startedAs, std::string* problem) {
    const std::optional<std::string> bytes = EmbeddedPackage::readFrom(ownFile(startedAs), problem);
    if (!bytes)
        return std::nullopt;
    std::string why;
    const ArchivedRef root = KeyedArchiveReader::read(*bytes, &why);
    if (!root) {
        *problem = "the package cannot be read: " + why;
        return std::nullopt;
    }
    return PackageContents::fromArchive(*root, problem);
}

std::string homeFolder() {
    const char* home = std::getenv("HOME");
    struct stat info {};
    if (!home || *home != '/' || ::stat(home, &info) != 0 || !S_ISDIR(info.st_mode))
        return {};
    return home;
}

std::string joinedNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

// Whether a packaged application runs, after telling the user so.
bool refusedWhileRunning(const Deployment& deployment, Conversation& conversation) {
    const std::vector<std::string> running = deployment.runningApplications();
    if (running.empty())
        return false;
    conversation.tell("Nothing was deployed. Please quit " + joinedNames(running) +
                          ". While an application is running, its settings are kept in "
                          "memory and replacing them would not have the desired effect.",
                      true);
    return true;
}

// Whether the user said to deploy, after telling them what else happened.
bool confirmed(const Deployment& deployment, const std::string& home, Conversation& conversation) {
    switch (conversation.ask(deployment.summary(home))) {
    case Conversation::Answer::Yes:
        return true;
    case Conversation::Answer::No:
        conversation.tell("Nothing was deployed.", false);
        return false;
    case Conversation::Answer::CannotAsk:
        break;
    }
    conversation.tell("Nothing was deployed: there is no terminal and no dialog program "
                      "(zenity or kdialog) to ask with. Run it from a terminal, or with "
                      "--yes to deploy without asking.",
                      true);
    return false;
}

int report(const Deployment::Report& report, Conversation& conversation) {
    std::string text;
    for (const std::string& line : report.lines)
        text += line + '\n';
    text += report.failed == 0
                ? "Deployed all " + std::to_string(report.written) + " settings and files."
                : std::to_string(report.failed) + " of " +
                      std::to_string(report.written + report.failed) +
                      " settings and files could not be deployed.";
    conversation.tell(text, report.failed > 0);
    return report.failed == 0 ? kDeployed : kIncomplete;
}

int deploy(const PackageContents& contents, Conversation& conversation) {
    const Deployment deployment(contents);
    const std::string home = homeFolder();
    if (home.empty()) {
        conversation.tell("Nothing was deployed: HOME does not name a folder.", true);
        return kUnsuitable;
    }
    const std::string dconf = ChildProcess::findOnPath("dconf");
    if (dconf.empty() && deployment.needsDconf()) {
        conversation.tell("Nothing was deployed: the package holds dconf settings and the dconf "
                          "program (package dconf-cli) is not installed.",
                          true);
        return kUnsuitable;
    }
    if (refusedWhileRunning(deployment, conversation))
        return kRunning;
    if (!confirmed(deployment, home, conversation))
        return kNotConfirmed;
    // The question may have stayed open while the user started an application.
    if (refusedWhileRunning(deployment, conversation))
        return kRunning;
    const HomeWriter files(home);
    return report(deployment.deploy(DomainWriter(dconf, files), files), conversation);
}

} // namespace

int main(int argc, char** argv) {
    // A dialog or dconf that stops reading must not end this program.
    std::signal(SIGPIPE, SIG_IGN);
    Options options;
    if (!parse(argc, argv, &options))
        return kUsage;
    if (options.help) {
        std::printf(kHelp, argv[0]);
        return kDeployed;
    }
    Conversation conversation(options.yes || options.list);
    std::string problem;
    const std::optional<PackageContents> contents = readOwnPackage(argv[0], &problem);
    if (!contents) {
        conversation.tell("Nothing was deployed: " + problem + '.', true);
        return kBadPackage;
    }
    if (const auto refusal = Deployment(*contents).refusal()) {
        conversation.tell("This package is refused and nothing was deployed: " + *refusal + '.',
                          true);
        return kBadPackage;
    }
    if (options.list) {
        TextFiles::print(stdout, Deployment(*contents).summary(homeFolder()) + '\n');
        return kDeployed;
    }
    return deploy(*contents, conversation);
}
