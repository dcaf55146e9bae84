#pragma once

#include <QString>
#include <QStringList>

// The command line of the self-deploying package application. It is read
// before any Qt application object exists, because the answer decides which
// one is made: a window needs a display, the text mode must not.
class DeployOptions {
public:
    enum class Action { Deploy, List, Help, Version, UsageError };

    // Arguments without the program name.
    static DeployOptions parse(const QStringList& arguments);
    static QString usage();

    Action action() const { return action_; }
    // Why the command line was refused (UsageError only).
    QString error() const { return error_; }
    // Sorvane's own log lines also reach standard error in text mode.
    bool verbose() const { return verbose_; }
    // Whether to show the window: only for a deployment, unless --text asks
    // for the terminal, and only when a display or a Qt platform is named in
    // the environment.
    bool wantsWindow() const;

private:
    Action action_ = Action::Deploy;
    QString error_;
    bool text_ = false;
    bool verbose_ = false;
};
