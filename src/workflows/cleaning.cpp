#include "workflows/cleaning.h"

#include "catalogues/sv_os_component.h"
#include "platform/file_remover.h"
#include "util/logging.h"
#include "workflows/alert_presenter.h"
#include "workflows/application_search.h"
#include "workflows/cleaning_backup_capture.h"
#include "workflows/cleaning_backup_store.h"
#include "workflows/defaults_domain_runner.h"
#include "workflows/domain_matcher.h"
#include "workflows/helper_operations.h"
#include "workflows/running_application_query.h"

using namespace Qt::StringLiterals;

namespace {

// How a domain is named in the log.
QString describe(const SVDefaultsDomain& domain) {
    return u"<SVDefaultsDomain: domain = %1, authLevel = %2>"_s.arg(domain.domain())
        .arg(domain.authLevel());
}

} // namespace

Cleaning::Cleaning(const CleaningServices& services)
    : services_(services) {}

std::optional<DeletionCounter>
Cleaning::cleanAppPreferences(const QUrl& appUrl, const ApplicationSearchResults& results) {
    if (appUrl.isEmpty())
        return std::nullopt;
    const QString& identifier = results.appBundleIdentifier;
    if (identifier.isNull()) {
        services_.alerts.showAlertOfKind(
            AlertKind::Error, u"The application could not be identified"_s,
            u"Unable to identify any preference or cache files to delete"_s);
        return std::nullopt;
    }
    if (services_.running.isRunning(identifier)) {
        services_.alerts.showAlertOfKind(
            AlertKind::Warning, u"Application Running"_s,
            u"Please quit %1 before deleting its preferences. While the application is running, "
            u"its "
            u"preferences are stored in memory and deleting them will not have the desired effect."_s
                .arg(ApplicationSearch::applicationName(appUrl)));
        // Asked again on purpose: quitting the application while the alert
        // is open and then pressing OK is enough to go on.
        if (services_.running.isRunning(identifier))
            return std::nullopt;
    }
    if (!backUpBeforeDeleting(CleaningBackup::Kind::Application,
                              ApplicationSearch::applicationName(appUrl), identifier,
                              results.appDomainResults,
                              results.appAdditionalPreferenceFiles + results.appCacheFiles))
        return std::nullopt;
    DeletionCounter counter = cleanDefaultsDomains(results.appDomainResults);
    counter += deleteFiles(results.appAdditionalPreferenceFiles);
    counter += deleteFiles(results.appCacheFiles);
    return counter;
}

DeletionCounter Cleaning::cleanDefaultsDomains(const QList<SVDefaultsDomain>& domains) {
    DeletionCounter counter;
    for (const SVDefaultsDomain& domain : domains) {
        const bool deleted = domain.authLevel() != 0
                                 ? services_.helper.deleteDefaultsDomain(domain.domain())
                                 : services_.defaults.deleteDefaultDomain(domain.domain());
        if (deleted) {
            ++counter.deleted;
        } else {
            sv::log(u"Error deleting defaults domain: %1"_s.arg(describe(domain)));
            ++counter.errors;
        }
    }
    return counter;
}

DeletionCounter Cleaning::deleteFiles(const QList<QUrl>& files) {
    DeletionCounter counter;
    for (const QUrl& file : files)
        deleteFile(file, counter);
    return counter;
}

bool Cleaning::deleteFile(const QUrl& file, DeletionCounter& counter) {
    if (FileRemover::removeItem(file.toLocalFile())) {
        ++counter.deleted;
        return true;
    }
    // Deliberately reversed: after a failed direct removal, the helper's
    // "true" counts as an error and its "false" as a deletion.
    if (services_.helper.deleteFileAtUrl(file)) {
        sv::log(u"Unable to delete file: %1"_s.arg(file.toLocalFile()));
        ++counter.errors;
        return false;
    }
    ++counter.deleted;
    return true;
}

QList<SVDefaultsDomain> Cleaning::domainsOfComponent(const SVOSComponent& component) {
    QList<SVDefaultsDomain> domains;
    for (const QString& name : component.domainsToClean())
        domains.append(services_.matcher.matchesForDomain(name));
    return domains;
}

std::optional<DeletionCounter>
Cleaning::cleanOSComponents(const QList<const SVOSComponent*>& components) {
    // The backup looks at everything first; the deletions below then ask
    // again, component by component, exactly as they did without a backup.
    QStringList names;
    QList<SVDefaultsDomain> domains;
    QList<QUrl> files;
    if (services_.backups) {
        for (const SVOSComponent* component : components) {
            names.append(component->name());
            domains.append(domainsOfComponent(*component));
            files.append(component->filesToDelete());
        }
    }
    if (!backUpBeforeDeleting(CleaningBackup::Kind::Components, names.join(u", "_s), QString(),
                              domains, files))
        return std::nullopt;
    DeletionCounter counter;
    for (const SVOSComponent* component : components) {
        counter += cleanDefaultsDomains(domainsOfComponent(*component));
        counter += deleteFiles(component->filesToDelete());
    }
    return counter;
}

bool Cleaning::backUpBeforeDeleting(CleaningBackup::Kind kind, const QString& title,
                                    const QString& identifier,
                                    const QList<SVDefaultsDomain>& domains,
                                    const QList<QUrl>& files) {
    lastBackup_.reset();
    refusedWithoutBackup_ = false;
    CleaningBackupStore* store = services_.backups;
    if (!store)
        return true;
    CleaningBackupCapture capture(store->limits().bytesPerBackup, store->folder());
    capture.addDomains(domains);
    capture.addFiles(files);
    // Nothing that could be kept: there would be nothing to undo.
    if (capture.keptNothing())
        return true;
    capture.content().backup.kind = kind;
    capture.content().backup.title = title;
    capture.content().backup.identifier = identifier;
    QString error;
    lastBackup_ = store->write(std::move(capture.content()), &error);
    if (lastBackup_)
        return true;
    sv::log(u"Error writing the backup of a cleaning: %1"_s.arg(error));
    const bool agreed = services_.alerts.confirm(
        AlertKind::Warning, u"The Cleaning Could Not Be Backed Up"_s,
        u"Sorvane keeps what a cleaning deletes so that the cleaning can be undone, but it could "
        u"not write the backup (%1). If you clean anyway, what is deleted cannot be put back."_s
            .arg(error),
        u"Clean Anyway"_s);
    refusedWithoutBackup_ = !agreed;
    return agreed;
}
