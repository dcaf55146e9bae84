#pragma once

#include "search/sv_defaults_domain.h"
#include "workflows/cleaning_backup.h"
#include "workflows/deletion_counter.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

class AlertPresenter;
class CleaningBackupStore;
class DefaultsDomainRunner;
class DomainMatcher;
class HelperOperations;
class RunningApplicationQuery;
class SVOSComponent;
struct ApplicationSearchResults;

// The services a cleaning talks to.
struct CleaningServices {
    HelperOperations& helper;
    DefaultsDomainRunner& defaults;
    DomainMatcher& matcher;
    RunningApplicationQuery& running;
    AlertPresenter& alerts;
    // Where what a cleaning deletes is kept first, so that it can be undone;
    // none keeps nothing.
    CleaningBackupStore* backups = nullptr;
};

// Deletes what the searches found: defaults domains through the defaults
// program (the user's own) or the helper (root's), files directly and,
// where that fails, through the helper. Every attempt is counted. Before a
// cleaning of an application or of components deletes anything, what it is
// about to delete goes into a backup; when that cannot be written, the
// cleaning goes on only if the user agrees.
class Cleaning {
public:
    explicit Cleaning(const CleaningServices& services);

    // Cleans the target application. Nothing when the cleaning stopped before
    // deleting (no identifier, still running after the warning, or no backup
    // and the user did not agree to go on).
    std::optional<DeletionCounter> cleanAppPreferences(const QUrl& appUrl,
                                                       const ApplicationSearchResults& results);
    DeletionCounter cleanDefaultsDomains(const QList<SVDefaultsDomain>& domains);
    DeletionCounter deleteFiles(const QList<QUrl>& files);
    // Nothing when the cleaning stopped before deleting (no backup, and the
    // user did not agree to go on).
    std::optional<DeletionCounter> cleanOSComponents(const QList<const SVOSComponent*>& components);
    // The domains a component's catalogue names match, every match taken.
    QList<SVDefaultsDomain> domainsOfComponent(const SVOSComponent& component);

    // The backup the last cleaning wrote; nothing when it wrote none.
    const std::optional<CleaningBackup>& lastBackup() const { return lastBackup_; }
    // Whether the last cleaning stopped because its backup could not be
    // written and the user did not agree to go on without one.
    bool refusedWithoutBackup() const { return refusedWithoutBackup_; }

private:
    bool deleteFile(const QUrl& file, DeletionCounter& counter);
    // False when the cleaning must not go on.
    bool backUpBeforeDeleting(CleaningBackup::Kind kind, const QString& title,
                              const QString& identifier, const QList<SVDefaultsDomain>& domains,
                              const QList<QUrl>& files);

    CleaningServices services_;
    std::optional<CleaningBackup> lastBackup_;
    bool refusedWithoutBackup_ = false;
};
