#include "deploy_options.h"

using namespace Qt::StringLiterals;

DeployOptions DeployOptions::parse(const QStringList& arguments) {
    DeployOptions options;
    for (const QString& argument : arguments) {
        if (argument == u"--list"_s) {
            options.action_ = Action::List;
        } else if (argument == u"--text"_s) {
            options.text_ = true;
        } else if (argument == u"--verbose"_s) {
            options.verbose_ = true;
        } else if (argument == u"--help"_s || argument == u"-h"_s) {
            options.action_ = Action::Help;
            return options;
        } else if (argument == u"--version"_s) {
            options.action_ = Action::Version;
            return options;
        } else {
            options.action_ = Action::UsageError;
            options.error_ = argument.startsWith(u'-') ? u"unknown option: %1"_s.arg(argument)
                                                       : u"unexpected argument: %1"_s.arg(argument);
            return options;
        }
    }
    return options;
}

QString DeployOptions::usage() {
    return u"Usage: sorvane-deploy [--list] [--text] [--verbose]\n"
           u"Deploys the settings package that this application carries into your own\n"
           u"account: its defaults domains and its applications' files, with your own\n"
           u"rights. With a display it opens a window; otherwise it works on the terminal.\n"
           u"\n"
           u"  --list      print what the package holds and change nothing\n"
           u"  --text      work on the terminal even when a display is available\n"
           u"  --verbose   also print Sorvane's log lines on standard error\n"
           u"  --version   print the version\n"
           u"  -h, --help  print this help\n"
           u"\n"
           u"Exit status: 0 when everything was deployed (or listed), 1 when the package\n"
           u"cannot be read, an application must be quit first or something was not\n"
           u"deployed, 2 for a wrong command line.\n"_s;
}

bool DeployOptions::wantsWindow() const {
    if (action_ != Action::Deploy || text_)
        return false;
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}
