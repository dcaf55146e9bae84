#include "components_command.h"

#include "backup_report.h"
#include "catalogues/sv_os_component.h"
#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "found_item.h"
#include "leftover_check.h"
#include "workflows/result_texts.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

const QString kList = u"components list"_s;
const QString kClean = u"components clean"_s;

QJsonArray pathsJson(const QList<QUrl>& urls) {
    QJsonArray array;
    for (const QUrl& url : urls)
        array.append(url.toLocalFile());
    return array;
}

// One component's domains and files, and after a cleaning which are left.
struct Plan {
    const SVOSComponent* component = nullptr;
    QList<SVDefaultsDomain> domains;
    QList<QUrl> files;
    QList<bool> domainsLeft;
    QList<bool> filesLeft;

    QJsonObject json() const;
    void print(CtlOutput& out) const;
};

QJsonObject Plan::json() const {
    QJsonArray domainArray;
    for (qsizetype i = 0; i < domains.size(); ++i) {
        QJsonObject entry{{u"domain"_s, domains.at(i).domain()},
                          {u"level"_s, FoundItem::levelName(domains.at(i).authLevel())}};
        if (!domainsLeft.isEmpty())
            entry.insert(u"deleted"_s, !domainsLeft.at(i));
        domainArray.append(entry);
    }
    QJsonArray fileArray;
    for (qsizetype i = 0; i < files.size(); ++i) {
        QJsonObject entry{{u"path"_s, files.at(i).toLocalFile()}};
        if (!filesLeft.isEmpty())
            entry.insert(u"deleted"_s, !filesLeft.at(i));
        fileArray.append(entry);
    }
    return {{u"name"_s, component->name()}, {u"domains"_s, domainArray}, {u"files"_s, fileArray}};
}

void Plan::print(CtlOutput& out) const {
    out.line(component->name() + u':');
    const auto state = [](const QList<bool>& left, qsizetype i) {
        return left.isEmpty() ? QString() : left.at(i) ? u"still there  "_s : u"deleted  "_s;
    };
    for (qsizetype i = 0; i < domains.size(); ++i)
        out.line(u"  %1domain %2  (%3)"_s.arg(state(domainsLeft, i), domains.at(i).domain(),
                                              FoundItem::levelName(domains.at(i).authLevel())));
    for (qsizetype i = 0; i < files.size(); ++i)
        out.line(u"  %1file %2"_s.arg(state(filesLeft, i), files.at(i).toLocalFile()));
    if (domains.isEmpty() && files.isEmpty())
        out.line(u"  nothing to delete"_s);
}

// Cleans the components and notes what each left behind; the status.
int cleanPlans(const QList<const SVOSComponent*>& chosen, QList<Plan>& plans, Cleaning& cleaning,
               CtlSession& session, QJsonObject& document) {
    session.out().progress(u"Cleaning…"_s);
    const std::optional<DeletionCounter> cleaned = cleaning.cleanOSComponents(chosen);
    BackupReport::afterCleaning(cleaning, session, document);
    if (!cleaned)
        return CtlOutput::kFailure;
    const DeletionCounter counter = *cleaned;
    LeftoverCheck check(session.helper());
    int status = CtlOutput::kSuccess;
    for (Plan& plan : plans) {
        for (const SVDefaultsDomain& domain : plan.domains)
            plan.domainsLeft.append(check.domainRemains(domain));
        for (const QUrl& file : plan.files)
            plan.filesLeft.append(LeftoverCheck::fileRemains(file.toLocalFile()));
        if (plan.domainsLeft.contains(true) || plan.filesLeft.contains(true))
            status = CtlOutput::kFailure;
    }
    document.insert(u"counter"_s, QJsonObject{{u"deleted"_s, qint64(counter.deleted)},
                                              {u"errors"_s, qint64(counter.errors)}});
    document.insert(u"summary"_s, ResultTexts::deletionSummary(counter));
    document.insert(u"restartRecommended"_s, true);
    return status;
}

std::optional<QList<SVOSComponent>> loadCatalogue(CtlOutput& out) {
    auto components = SVOSComponent::loadData();
    if (!components)
        out.complain(u"the components catalogue (SystemData.xml) could not be read"_s);
    return components;
}

} // namespace

QString ComponentsCommand::help() {
    return listHelp() + u"\n\n"_s + cleanHelp();
}

QString ComponentsCommand::listHelp() {
    return uR"(Usage: sorvanectl components list [--json]

Lists the operating-system components that can be reset, sorted by name,
with their descriptions, the defaults domains the catalogue names for them
(patterns may hold "*" and "?") and the files of theirs that exist now.

Exit status: 0, or 1 when the catalogue cannot be read.)"_s;
}

QString ComponentsCommand::cleanHelp() {
    return uR"(Usage: sorvanectl components clean [--json] [--dry-run] [--no-backup] NAME...

Resets the named components (names as "components list" shows them): every
defaults domain matching the catalogue's domains is deleted (root's through
the privileged helper) and every file of theirs. A restart is recommended
afterwards; sorvanectl never restarts the machine. What is deleted is first
kept in a backup that "sorvanectl undo" restores; when that backup cannot be
written, nothing is deleted.

  --dry-run     list what would be deleted; delete nothing
  --no-backup   keep no backup for "sorvanectl undo" (nor ask for one)

Exit status: 0 when everything listed is gone (or after a dry run), 1 when
something is still there, 2 on wrong usage (an unknown NAME).)"_s;
}

int ComponentsCommand::run(const QStringList& arguments, CtlSession& session) {
    const QString sub = arguments.value(0);
    if (sub == u"list"_s)
        return list(arguments.mid(1), session);
    if (sub == u"clean"_s)
        return clean(arguments.mid(1), session);
    return session.out().usage(u"components"_s, sub.isEmpty()
                                                    ? u"say list or clean"_s
                                                    : u"unknown subcommand %1"_s.arg(sub));
}

int ComponentsCommand::list(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({});
    if (!line.parse(arguments))
        return out.usage(kList, line.error());
    if (!line.operands().isEmpty())
        return out.usage(kList, u"takes no operands"_s);
    const auto components = loadCatalogue(out);
    if (!components)
        return out.finish(kList, CtlOutput::kFailure);
    QJsonArray array;
    for (const SVOSComponent& component : *components) {
        const QList<QUrl> files = component.filesToDelete();
        const QString description = component.description();
        out.line(description.isNull() ? component.name()
                                      : u"%1 — %2"_s.arg(component.name(), description));
        array.append(QJsonObject{
            {u"name"_s, component.name()},
            {u"description"_s, description.isNull() ? QJsonValue() : QJsonValue(description)},
            {u"domains"_s, QJsonArray::fromStringList(component.domainsToClean())},
            {u"files"_s, pathsJson(files)}});
    }
    return out.finish(kList, CtlOutput::kSuccess, {{u"components"_s, array}});
}

int ComponentsCommand::clean(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line(QList<CommandLine::Option>{{u"--dry-run"_s}, {u"--no-backup"_s}});
    if (!line.parse(arguments))
        return out.usage(kClean, line.error());
    if (line.operands().isEmpty())
        return out.usage(kClean, u"name at least one component"_s);
    const auto components = loadCatalogue(out);
    if (!components)
        return out.finish(kClean, CtlOutput::kFailure);
    QList<const SVOSComponent*> chosen;
    for (const QString& name : line.operands()) {
        const auto it = std::find_if(components->cbegin(), components->cend(),
                                     [&name](const SVOSComponent& c) { return c.name() == name; });
        if (it == components->cend())
            return out.usage(kClean, u"no component is named \"%1\" (see sorvanectl components "
                                     u"list)"_s.arg(name));
        if (!chosen.contains(&*it))
            chosen.append(&*it);
    }
    session.setWithoutHelper(u"root's domains are not found or deleted"_s);
    Cleaning cleaning(session.cleaningServices(!line.isSet(u"--no-backup"_s)));
    QList<Plan> plans;
    for (const SVOSComponent* component : chosen)
        plans.append({component,
                      cleaning.domainsOfComponent(*component),
                      component->filesToDelete(),
                      {},
                      {}});
    const bool dryRun = line.isSet(u"--dry-run"_s);
    QJsonObject document{{u"dryRun"_s, dryRun}, {u"helper"_s, session.helperJson()}};
    const int status =
        dryRun ? CtlOutput::kSuccess : cleanPlans(chosen, plans, cleaning, session, document);
    if (!dryRun && cleaning.refusedWithoutBackup())
        return out.finish(kClean, status, document);
    if (dryRun)
        out.line(u"Dry run: nothing is deleted."_s);
    QJsonArray array;
    for (const Plan& plan : plans) {
        plan.print(out);
        array.append(plan.json());
    }
    document.insert(u"components"_s, array);
    if (!dryRun) {
        out.line(document.value(u"summary"_s).toString());
        out.line(u"Restart the computer so that the components read their settings afresh."_s);
    }
    return out.finish(kClean, status, document);
}
