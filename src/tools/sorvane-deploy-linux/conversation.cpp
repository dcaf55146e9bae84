#include "conversation.h"

#include "child_process.h"
#include "text_files.h"
#include "util/plain_text.h"

#include <cstdio>

#include <unistd.h>

namespace selfdeploy {

namespace {

const std::string kTitle = "Deploy Sorvane Settings";
constexpr int kDialogYes = 0;
constexpr int kDialogNo = 1;

// zenity reads its text as Pango markup.
std::string markupEscaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// A dialog as tall as the screen helps nobody: long lists end in a note.
std::string shortened(const std::string& text) {
    constexpr std::size_t kMostLines = 40;
    const std::vector<std::string> lines = sv::plain::split(text, '\n');
    if (lines.size() <= kMostLines)
        return text;
    std::string shown;
    for (std::size_t i = 0; i + 1 < kMostLines; ++i)
        shown += lines[i] + '\n';
    return shown + "… and " + std::to_string(lines.size() - kMostLines + 1) +
           " more lines (run the file with --list in a terminal to see them all)";
}

bool isZenity(const std::string& program) {
    return program.size() >= 6 && program.compare(program.size() - 6, 6, "zenity") == 0;
}

std::vector<std::string> questionArguments(const std::string& program, const std::string& text) {
    if (isZenity(program))
        return {"--question", "--title=" + kTitle, "--text=" + markupEscaped(text),
                "--ok-label=Deploy", "--cancel-label=Cancel"};
    return {"--title", kTitle, "--yes-label", "Deploy", "--no-label", "Cancel", "--yesno", text};
}

std::vector<std::string> messageArguments(const std::string& program, const std::string& text,
                                          bool failure) {
    if (isZenity(program))
        return {failure ? "--error" : "--info", "--title=" + kTitle,
                "--text=" + markupEscaped(text)};
    return {"--title", kTitle, failure ? "--error" : "--msgbox", text};
}

} // namespace

Conversation::Conversation(bool quiet)
    : quiet_(quiet)
    , terminal_(::isatty(STDIN_FILENO) == 1) {}

Conversation::Answer Conversation::ask(const std::string& text) {
    if (quiet_)
        return Answer::Yes;
    return terminal_ ? askInTerminal(text) : askWithDialog(text);
}

Conversation::Answer Conversation::askInTerminal(const std::string& text) {
    TextFiles::print(stdout, text + "\nDeploy these settings? [y/N] ");
    const std::optional<std::string> reply = TextFiles::readLine(stdin);
    if (!reply)
        return Answer::No;
    const std::string answer = sv::plain::trimmed(*reply);
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" ? Answer::Yes
                                                                                : Answer::No;
}

Conversation::Answer Conversation::askWithDialog(const std::string& text) {
    // A dialog program that cannot open a window (no display) fails with a
    // status of its own; the next one gets its chance.
    for (const char* name : {"zenity", "kdialog"}) {
        const std::string program = ChildProcess::findOnPath(name);
        if (program.empty())
            continue;
        const int status =
            ChildProcess::run(program, questionArguments(program, shortened(text))).status;
        if (status != kDialogYes && status != kDialogNo)
            continue;
        dialog_ = program;
        return status == kDialogYes ? Answer::Yes : Answer::No;
    }
    return Answer::CannotAsk;
}

void Conversation::tell(const std::string& text, bool failure) {
    TextFiles::print(failure ? stderr : stdout, text + '\n');
    if (quiet_ || terminal_)
        return;
    if (!dialog_.empty()) {
        showDialog(text, failure);
        return;
    }
    // Nothing was asked yet (a refusal comes first): the first dialog
    // program that can show the message does.
    for (const char* name : {"zenity", "kdialog"}) {
        dialog_ = ChildProcess::findOnPath(name);
        if (!dialog_.empty() && showDialog(text, failure))
            return;
    }
    dialog_.clear();
}

bool Conversation::showDialog(const std::string& text, bool failure) {
    return ChildProcess::run(dialog_, messageArguments(dialog_, shortened(text), failure)).status ==
           0;
}

} // namespace selfdeploy
