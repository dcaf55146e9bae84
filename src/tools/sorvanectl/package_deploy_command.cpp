#include "package_deploy_command.h"

#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "domain_diff.h"
#include "package_view.h"
#include "packager/package_deployer.h"
#include "util/path_utils.h"
#include "workflows/settings_system.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QString kCommand = u"package deploy"_s;

struct DomainPlan {
    QString domain;
    std::optional<SettingsSystem::DomainValues> incoming; // none when unreadable
    bool exists = false;
    DomainDiff diff;
    std::optional<bool> written;
};

struct FilePlan {
    QString stored; // as the package keeps it, "~" for the home folder
    QString path;
    QString state; // "new", "replace" or "same"
    std::optional<bool> written;
};

struct ItemPlan {
    std::shared_ptr<SVPPItem> item;
    bool application = false;
    QList<DomainPlan> domains;
    QList<FilePlan> files;
};

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

ItemPlan planOf(const std::shared_ptr<SVPPItem>& item, bool application,
                const SettingsSystem& system) {
    ItemPlan plan{item, application, {}, {}};
    for (const QString& domain : item->prefsDomains()) {
        DomainPlan entry;
        entry.domain = domain;
        entry.incoming = system.valuesOfSettingsText(item->plistForDomain(domain));
        const auto current = system.userDomainValues(domain);
        entry.exists = current.has_value();
        if (entry.incoming)
            entry.diff = DomainDiff::between(current, *entry.incoming);
        plan.domains.append(entry);
    }
    for (const QString& stored : item->extraFilePaths()) {
        const QString path = sv::stringByExpandingTildeInPath(stored);
        const QString state = !QFileInfo::exists(path) ? u"new"_s
                              : contentsOf(path) == item->fileContentsForPath(stored)
                                  ? u"same"_s
                                  : u"replace"_s;
        plan.files.append({stored, path, state, std::nullopt});
    }
    return plan;
}

void readBack(QList<ItemPlan>& plans, const SettingsSystem& system, bool* allWritten) {
    for (ItemPlan& plan : plans) {
        for (DomainPlan& domain : plan.domains) {
            // An empty domain leaves nothing behind to read.
            const auto now = system.userDomainValues(domain.domain);
            domain.written =
                domain.incoming && now.value_or(SettingsSystem::DomainValues()) == *domain.incoming;
            *allWritten = *allWritten && *domain.written;
        }
        for (FilePlan& file : plan.files) {
            file.written = QFileInfo::exists(file.path) &&
                           contentsOf(file.path) == plan.item->fileContentsForPath(file.stored);
            *allWritten = *allWritten && *file.written;
        }
    }
}

QString stateWord(const std::optional<bool>& written) {
    return !written ? QString() : *written ? u"written  "_s : u"NOT WRITTEN  "_s;
}

void print(CtlOutput& out, const QList<ItemPlan>& plans) {
    for (const ItemPlan& plan : plans) {
        out.line(plan.application
                     ? u"Application %1 (%2):"_s.arg(plan.item->displayName(), plan.item->appId())
                     : u"Component %1:"_s.arg(plan.item->displayName()));
        for (const DomainPlan& domain : plan.domains) {
            const QString change =
                !domain.incoming
                    ? u"the package's settings cannot be read"_s
                    : domain.diff.text() + (domain.exists ? QString() : u" (new domain)"_s);
            out.line(u"  %1domain %2: %3"_s.arg(stateWord(domain.written), domain.domain, change));
        }
        for (const FilePlan& file : plan.files)
            out.line(u"  %1file %2 (%3)"_s.arg(stateWord(file.written), file.path, file.state));
    }
}

QJsonObject jsonOf(const ItemPlan& plan) {
    QJsonArray domains;
    for (const DomainPlan& domain : plan.domains) {
        QJsonObject entry = domain.diff.json();
        entry.insert(u"domain"_s, domain.domain);
        entry.insert(u"exists"_s, domain.exists);
        entry.insert(u"readable"_s, domain.incoming.has_value());
        if (domain.written)
            entry.insert(u"written"_s, *domain.written);
        domains.append(entry);
    }
    QJsonArray files;
    for (const FilePlan& file : plan.files) {
        QJsonObject entry{
            {u"stored"_s, file.stored}, {u"path"_s, file.path}, {u"state"_s, file.state}};
        if (file.written)
            entry.insert(u"written"_s, *file.written);
        files.append(entry);
    }
    QJsonObject object{{u"kind"_s, plan.application ? u"application"_s : u"component"_s},
                       {u"name"_s, plan.item->displayName()},
                       {u"domains"_s, domains},
                       {u"files"_s, files}};
    if (plan.application)
        object.insert(u"identifier"_s, plan.item->appId());
    return object;
}

// Unticks every item --only does not name; false after a complaint about a
// name that matches nothing.
bool applyOnly(const QStringList& names, const PackageReader::Items& items, QStringList* skipped,
               CtlOutput& out) {
    if (names.isEmpty())
        return true;
    for (const QString& name : names) {
        const bool known = std::any_of(items.cbegin(), items.cend(), [&name](const auto& item) {
            return item->displayName() == name ||
                   (!item->appId().isEmpty() && item->appId() == name);
        });
        if (!known) {
            out.usage(kCommand, u"the package holds nothing named \"%1\""_s.arg(name));
            return false;
        }
    }
    for (const auto& item : items) {
        const bool chosen = names.contains(item->displayName()) ||
                            (!item->appId().isEmpty() && names.contains(item->appId()));
        item->setEnabled(chosen);
        if (!chosen)
            skipped->append(item->displayName());
    }
    return true;
}

} // namespace

QString PackageDeployCommand::help() {
    return uR"(Usage: sorvanectl package deploy [--json] [--dry-run] [--only NAME]... FILE

Writes the settings a package (or a self-deploying application) holds into
your own defaults domains and home folder, as the packager window deploys
them. Writing a domain replaces it whole: keys the package does not hold are
removed. Refused while one of the package's applications runs.

  --only NAME   deploy only this component or application (its name as
                "package inspect" shows it, or an application's bundle
                identifier); may be given more than once
  --dry-run     show, per domain, the keys that would be added (+), changed
                (~) and removed (-), and which files would be new or
                replaced; write nothing

After writing, every domain and file is read back and reported as written
or not.

Exit status: 0 when everything was written (or after a dry run), 1 when
something was not, an application runs or the package is damaged, 2 on
wrong usage (a missing file, a NAME the package does not hold).)"_s;
}

int PackageDeployCommand::run(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({{u"--only"_s, true}, {u"--dry-run"_s}});
    if (!line.parse(arguments))
        return out.usage(kCommand, line.error());
    if (line.operands().size() != 1)
        return out.usage(kCommand, u"give one package file"_s);
    int status = CtlOutput::kUsage;
    const auto opened = PackageView::open(kCommand, line.operands().first(), session, &status);
    if (!opened)
        return out.finish(kCommand, status);
    const PackageReader::Items& system = opened->reader->systemSettings();
    const PackageReader::Items& applications = opened->reader->applications();
    QStringList skipped;
    if (!applyOnly(line.values(u"--only"_s), system + applications, &skipped, out))
        return out.finish(kCommand, CtlOutput::kUsage);

    const SettingsSystem& settings = SettingsSystem::current();
    QList<ItemPlan> plans;
    for (const auto& item : system)
        if (item->enabled())
            plans.append(planOf(item, false, settings));
    for (const auto& item : applications)
        if (item->enabled())
            plans.append(planOf(item, true, settings));
    const bool dryRun = line.isSet(u"--dry-run"_s);
    bool allWritten = true;
    if (!dryRun) {
        const std::atomic<bool> neverCancel{false};
        PackageDeployer deployer(&neverCancel, session.alerts(), session.running(),
                                 {[&out](const QString& text) { out.progress(text); },
                                  [&out](const QString& text) { out.progress(text); },
                                  {}});
        if (!deployer.promptUserToQuitApplications(applications))
            return out.finish(kCommand, CtlOutput::kFailure, {{u"file"_s, opened->file}});
        // The pauses only let a person read the progress sheet.
        deployer.setPause(std::chrono::milliseconds(0));
        deployer.background_deployPreferences(system, applications);
        readBack(plans, settings, &allWritten);
    }
    out.line(opened->file + (dryRun ? u" (dry run: nothing is written)"_s : QString()));
    print(out, plans);
    if (!skipped.isEmpty())
        out.line(u"Left out by --only: "_s + skipped.join(u", "_s));
    QJsonArray items;
    for (const ItemPlan& plan : plans)
        items.append(jsonOf(plan));
    return out.finish(kCommand, allWritten ? CtlOutput::kSuccess : CtlOutput::kFailure,
                      {{u"file"_s, opened->file},
                       {u"dryRun"_s, dryRun},
                       {u"items"_s, items},
                       {u"skipped"_s, QJsonArray::fromStringList(skipped)}});
}
