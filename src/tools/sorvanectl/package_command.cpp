#include "package_command.h"

#include "application_lookup.h"
#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "package_deploy_command.h"
#include "package_view.h"
#include "packager/package_creator.h"
#include "packager/package_keys.h"
#include "util/path_utils.h"
#include "workflows/settings_system.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QString kComponents = u"package components"_s;
const QString kCreate = u"package create"_s;
const QString kInspect = u"package inspect"_s;

std::optional<PackageCreator::Items> loadCatalogue(CtlOutput& out) {
    auto items = SVPPItem::loadData();
    if (!items)
        out.complain(u"the packager catalogue (PackagerData.xml) could not be read"_s);
    return items;
}

// Whether a self-deploying package is one executable file of any name, as
// on the Linux desktop, rather than an ".app" bundle.
bool savesExecutable() {
    return SettingsSystem::current().selfDeployingForm() ==
           SettingsSystem::SelfDeployingForm::ExecutableFile;
}

// The OUT of "package create"; a null path after a usage complaint.
QString checkedOutput(const CommandLine& line, CtlOutput& out) {
    const QString given = line.value(u"-o"_s);
    if (given.isEmpty()) {
        out.usage(kCreate, u"say where to save the package with -o OUT"_s);
        return QString();
    }
    const QFileInfo info(given);
    const QString extension = sv::pathExtension(given);
    QString problem;
    if (extension != package_keys::kExtension && extension != u"app"_s && !savesExecutable())
        problem = u"OUT must end in .Kolvane2 (a package file) or .app (a self-deploying "
                  u"application): %1"_s.arg(given);
    else if (info.exists() || info.isSymLink())
        problem = u"%1 already exists; give a new name"_s.arg(given);
    else if (!info.absoluteDir().exists())
        problem = u"the folder %1 does not exist"_s.arg(info.absolutePath());
    if (!problem.isNull()) {
        out.usage(kCreate, problem);
        return QString();
    }
    return info.absoluteFilePath();
}

// The items named on the command line, ticked; nothing after a complaint
// (status says which kind).
std::optional<PackageCreator::Items> chosenComponents(const QStringList& names, CtlSession& session,
                                                      int* status) {
    PackageCreator::Items chosen;
    if (names.isEmpty())
        return chosen;
    const auto catalogue = loadCatalogue(session.out());
    *status = CtlOutput::kFailure;
    if (!catalogue)
        return std::nullopt;
    *status = CtlOutput::kUsage;
    for (const QString& name : names) {
        const auto it =
            std::find_if(catalogue->cbegin(), catalogue->cend(),
                         [&name](const auto& item) { return item->displayName() == name; });
        if (it == catalogue->cend()) {
            session.out().usage(kCreate, u"no package component is named \"%1\" (see sorvanectl "
                                         u"package components)"_s.arg(name));
            return std::nullopt;
        }
        (*it)->setEnabled(true);
        if (!chosen.contains(*it))
            chosen.append(*it);
    }
    return chosen;
}

std::optional<PackageCreator::Items> chosenApplications(const QStringList& arguments,
                                                        CtlSession& session) {
    PackageCreator::Items chosen;
    for (const QString& argument : arguments) {
        // The settings system says what the argument names: a bundle on a
        // macOS home folder; a desktop entry, its ID or its name on Linux.
        QString problem;
        const QList<ApplicationTarget> candidates =
            SettingsSystem::current().applicationsForArgument(argument, &problem);
        if (candidates.size() != 1) {
            session.out().complain(
                candidates.isEmpty()
                    ? u"%1: %2"_s.arg(kCreate, problem)
                    : u"%1: \"%2\" names several applications; give one of their IDs"_s.arg(
                          kCreate, argument));
            return std::nullopt;
        }
        auto item = SVPPItem::itemWithAppUrl(candidates.constFirst().url);
        if (!item) {
            session.out().complain(
                u"%1: %2 is not an application bundle (its name must end in .app)"_s.arg(kCreate,
                                                                                         argument));
            return std::nullopt;
        }
        chosen.append(item);
    }
    return chosen;
}

} // namespace

int PackageCommand::run(const QStringList& arguments, CtlSession& session) {
    const QString sub = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (sub == u"components"_s)
        return components(rest, session);
    if (sub == u"create"_s)
        return create(rest, session);
    if (sub == u"inspect"_s)
        return inspect(rest, session);
    if (sub == u"deploy"_s)
        return PackageDeployCommand::run(rest, session);
    return session.out().usage(u"package"_s, sub.isEmpty()
                                                 ? u"say components, create, inspect or deploy"_s
                                                 : u"unknown subcommand %1"_s.arg(sub));
}

int PackageCommand::components(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({});
    if (!line.parse(arguments))
        return out.usage(kComponents, line.error());
    if (!line.operands().isEmpty())
        return out.usage(kComponents, u"takes no operands"_s);
    const auto catalogue = loadCatalogue(out);
    if (!catalogue)
        return out.finish(kComponents, CtlOutput::kFailure);
    QJsonArray array;
    for (const auto& item : *catalogue) {
        out.line(u"%1 — %2"_s.arg(item->displayName(), item->description()));
        out.line(u"    "_s + item->prefsDomains().join(u", "_s));
        array.append(QJsonObject{{u"name"_s, item->displayName()},
                                 {u"description"_s, item->description()},
                                 {u"domains"_s, QJsonArray::fromStringList(item->prefsDomains())}});
    }
    return out.finish(kComponents, CtlOutput::kSuccess, {{u"components"_s, array}});
}

int PackageCommand::create(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line(
        {{u"--component"_s, true}, {u"--app"_s, true}, {u"-o"_s, true, u"--output"_s}});
    if (!line.parse(arguments))
        return out.usage(kCreate, line.error());
    if (!line.operands().isEmpty())
        return out.usage(kCreate, u"unexpected operand %1"_s.arg(line.operands().first()));
    if (!line.isSet(u"--component"_s) && !line.isSet(u"--app"_s))
        return out.usage(kCreate, u"name at least one --component or --app"_s);
    const QString output = checkedOutput(line, out);
    if (output.isNull())
        return out.finish(kCreate, CtlOutput::kUsage);
    int status = CtlOutput::kUsage;
    const auto system = chosenComponents(line.values(u"--component"_s), session, &status);
    if (!system)
        return out.finish(kCreate, status);
    const auto applications = chosenApplications(line.values(u"--app"_s), session);
    if (!applications)
        return out.finish(kCreate, CtlOutput::kUsage);

    // Nothing cancels a capture from the command line.
    const std::atomic<bool> neverCancel{false};
    PackageCreator creator(&neverCancel, session.alerts(),
                           {[&out](const QString& label) { out.progress(label); }, {}});
    const auto bytes = creator.background_createPackage(*system, *applications);
    if (!bytes || !PackageCreator::saveAssembledPackaged(*bytes, QUrl::fromLocalFile(output),
                                                         session.alerts()))
        return out.finish(kCreate, CtlOutput::kFailure);
    // Read back with the reader a deployment uses: what is shown is what was saved.
    const auto opened = PackageView::open(kCreate, output, session, &status);
    if (!opened)
        return out.finish(kCreate, CtlOutput::kFailure);
    const bool selfDeploying = sv::pathExtension(output) != package_keys::kExtension;
    const QString kind = !selfDeploying      ? u"package"_s
                         : savesExecutable() ? u"executable"_s
                                             : u"application"_s;
    const QString what = kind == u"package"_s      ? u"the package"_s
                         : kind == u"executable"_s ? u"the self-deploying package file"_s
                                                   : u"the self-deploying application"_s;
    out.line(u"Saved %1 %2"_s.arg(what, output));
    PackageView::print(out, opened->reader->systemSettings(), opened->reader->applications());
    QJsonObject document =
        PackageView::json(opened->reader->systemSettings(), opened->reader->applications());
    document.insert(u"output"_s, output);
    document.insert(u"kind"_s, kind);
    return out.finish(kCreate, CtlOutput::kSuccess, document);
}

int PackageCommand::inspect(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({});
    if (!line.parse(arguments))
        return out.usage(kInspect, line.error());
    if (line.operands().size() != 1)
        return out.usage(kInspect, u"give one package file"_s);
    int status = CtlOutput::kUsage;
    const auto opened = PackageView::open(kInspect, line.operands().first(), session, &status);
    if (!opened)
        return out.finish(kInspect, status);
    out.line(opened->file);
    PackageView::print(out, opened->reader->systemSettings(), opened->reader->applications());
    QJsonObject document =
        PackageView::json(opened->reader->systemSettings(), opened->reader->applications());
    document.insert(u"file"_s, opened->file);
    return out.finish(kInspect, CtlOutput::kSuccess, document);
}

QString PackageCommand::help() {
    return componentsHelp() + u"\n\n"_s + createHelp() + u"\n\n"_s + inspectHelp() + u"\n\n"_s +
           PackageDeployCommand::help();
}

QString PackageCommand::componentsHelp() {
    return uR"(Usage: sorvanectl package components [--json]

Lists the components whose settings a package can carry, with the defaults
domains each one captures.

Exit status: 0, or 1 when the catalogue cannot be read.)"_s;
}

QString PackageCommand::createHelp() {
    return uR"(Usage: sorvanectl package create [--json] [--component NAME]... [--app APP]... -o OUT

Captures the settings of the named components (see "package components")
and applications, as the packager window does, and saves them. APP is an
application bundle on a macOS home folder; on the Linux desktop a desktop
entry (a .desktop file), its ID or its name, as "search" takes it.
  OUT ending in .Kolvane2   a package file
  OUT ending in .app        a self-deploying application carrying the package
                            (on a macOS home folder)
On the Linux desktop any other OUT is a self-deploying package file: one
program that deploys the package when run on another Linux desktop, which
needs dconf but nothing of Sorvane. OUT must not exist yet. The saved
package is read back and shown as "package inspect" shows it.

Exit status: 0 when saved, 1 when nothing could be captured or saving
failed, 2 on wrong usage.)"_s;
}

QString PackageCommand::inspectHelp() {
    return uR"(Usage: sorvanectl package inspect [--json] FILE

Shows what a package file (or a self-deploying application) holds: its
components and applications, each defaults domain with its number of keys,
and each extra file with its size.

Exit status: 0 when read, 1 when the package is damaged or empty, 2 when
FILE is missing or not a package.)"_s;
}
