#pragma once

#include <string>

namespace selfdeploy {

// How the program asks the user and tells the outcome. Started from a
// terminal, it prompts there; started by a file manager (no terminal on
// standard input), it speaks through the desktop's dialog program, zenity or
// else kdialog, found on PATH. Everything told is printed too, so that a
// script or a log keeps it.
class Conversation {
public:
    enum class Answer { Yes, No, CannotAsk };

    // quiet: the user said --yes, so nothing is asked and no dialog shown.
    explicit Conversation(bool quiet);

    // Shows the text and asks whether to go on.
    Answer ask(const std::string& text);
    // Tells the user something: a failure goes to standard error, the rest to
    // standard output; a dialog shows it too when one asked.
    void tell(const std::string& text, bool failure);

private:
    Answer askInTerminal(const std::string& text);
    Answer askWithDialog(const std::string& text);
    bool showDialog(const std::string& text, bool failure);

    bool quiet_;
    bool terminal_;
    // The dialog program that answered, once one has.
    std::string dialog_;
};

} // namespace selfdeploy
