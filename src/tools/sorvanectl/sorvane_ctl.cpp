#include "sorvane_ctl.h"

#include "workflows/settings_system.h"

#include "check_command.h"
#include "clean_command.h"
#include "components_command.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "package_command.h"
#include "package_deploy_command.h"
#include "search_command.h"
#include "undo_command.h"

#include <QLoggingCategory>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void printHelp(const QString& text) {
    const QByteArray bytes = (text + u'\n').toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

// The options every command takes, wherever they stand before "--".
struct CommonOptions {
    bool json = false;
    bool help = false;
    bool verbose = false;
    QStringList rest;

    explicit CommonOptions(const QStringList& arguments) {
        bool ended = false;
        for (const QString& word : arguments) {
            if (!ended && word == u"--json"_s)
                json = true;
            else if (!ended && (word == u"--help"_s || word == u"-h"_s))
                help = true;
            else if (!ended && word == u"--verbose"_s)
                verbose = true;
            else
                rest.append(word);
            ended = ended || word == u"--"_s;
        }
    }
};

} // namespace

QString SorvaneCtl::help() {
    return uR"(Usage: sorvanectl [--json] [--verbose] [--macos-home HOME [--system-root DIR]]
                  COMMAND [ARGUMENTS]

Sorvane's jobs from the command line, done by the same code as the desktop
application. It works on the Linux desktop it runs on, or on the macOS home
folder HOME (with the system folders below DIR) when --macos-home is given or
SORVANE_SETTINGS=macos is set. APP is a desktop entry, a desktop-file ID or an
application's name on the Linux desktop, an application bundle on a macOS
home folder.

Commands:
  search APP                       an application's domains, preference files
                                   and caches, each with why it matched
  clean APP [--dry-run] [--backup FILE.Kolvane2] [--no-backup]
                                   reset an application
  components list                  the operating-system components
  components clean NAME... [--dry-run] [--no-backup]
                                   reset components
  undo [ID | --list | --discard ID]
                                   put back what a cleaning deleted
  check [--user | --system | FOLDER] [--delete]
                                   find (and delete) damaged property lists
  package components               what a package can capture
  package create [--component NAME]... [--app APP.app]... -o OUT
                                   capture settings into OUT.Kolvane2 or a
                                   self-deploying OUT.app
  package inspect FILE             what a package holds
  package deploy FILE [--only NAME]... [--dry-run]
                                   write a package's settings, or preview it

Every command takes:
  --json       one JSON document on standard output instead of text
  --help       the command's own help
  --verbose    Sorvane's log lines on standard error
  --macos-home HOME, --system-root DIR
               work on a macOS home folder instead of the Linux desktop

Progress is shown on standard error when it is a terminal. Exit status: 0 on
success, 1 when something was found or failed (a damaged file, an item not
deleted), 2 on wrong usage.)"_s;
}

QString SorvaneCtl::helpFor(const QStringList& words) {
    const QString command = words.value(0);
    const QString sub = words.value(1);
    if (command == u"search"_s)
        return SearchCommand::help();
    if (command == u"clean"_s)
        return CleanCommand::help();
    if (command == u"check"_s)
        return CheckCommand::help();
    if (command == u"undo"_s)
        return UndoCommand::help();
    if (command == u"components"_s)
        return sub == u"list"_s    ? ComponentsCommand::listHelp()
               : sub == u"clean"_s ? ComponentsCommand::cleanHelp()
                                   : ComponentsCommand::help();
    if (command == u"package"_s)
        return sub == u"components"_s ? PackageCommand::componentsHelp()
               : sub == u"create"_s   ? PackageCommand::createHelp()
               : sub == u"inspect"_s  ? PackageCommand::inspectHelp()
               : sub == u"deploy"_s   ? PackageDeployCommand::help()
                                      : PackageCommand::help();
    return command.isEmpty() ? help() : QString();
}

int SorvaneCtl::run(const QStringList& givenArguments) {
    QStringList arguments = givenArguments;
    QString error;
    const bool chosen = SettingsSystem::chooseAtStartUp(arguments, &error);
    const CommonOptions options(arguments);
    // Sorvane's log explains what it does to a developer; on the command
    // line it is shown only when asked for (QT_LOGGING_RULES still decides
    // over this default).
    if (!options.verbose)
        QLoggingCategory::setFilterRules(u"sorvane.info=false"_s);
    CtlOutput out(options.json);
    if (!chosen)
        return out.usage(QString(), error);
    const QString command = options.rest.value(0);
    if (options.help) {
        const QString text = helpFor(options.rest);
        if (text.isNull())
            return out.usage(QString(), u"unknown command %1"_s.arg(command));
        printHelp(text);
        return CtlOutput::kSuccess;
    }
    CtlSession session(out);
    const QStringList rest = options.rest.mid(1);
    if (command == u"search"_s)
        return SearchCommand::run(rest, session);
    if (command == u"clean"_s)
        return CleanCommand::run(rest, session);
    if (command == u"components"_s)
        return ComponentsCommand::run(rest, session);
    if (command == u"check"_s)
        return CheckCommand::run(rest, session);
    if (command == u"package"_s)
        return PackageCommand::run(rest, session);
    if (command == u"undo"_s)
        return UndoCommand::run(rest, session);
    return out.usage(QString(), command.isEmpty() ? u"name a command"_s
                                                  : u"unknown command %1"_s.arg(command));
}
