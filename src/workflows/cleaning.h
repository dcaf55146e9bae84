#pragma once

#include "search/sv_defaults_domain.h"
#include "workflows/deletion_counter.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

class AlertPresenter;
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
};

// Deletes what the searches found: defaults domains through the defaults
// program (the user's own) or the helper (root's), files directly and,
// where that fails, through the helper. Every attempt is counted.
class Cleaning {
public:
    explicit Cleaning(const CleaningServices& services);

    // Cleans the target application. Nothing when the cleaning stopped before
    // deleting (no identifier, or still running after the warning).
    std::optional<DeletionCounter> cleanAppPreferences(const QUrl& appUrl,
                                                       const ApplicationSearchResults& results);
    DeletionCounter cleanDefaultsDomains(const QList<SVDefaultsDomain>& domains);
    DeletionCounter deleteFiles(const QList<QUrl>& files);
    DeletionCounter cleanOSComponents(const QList<const SVOSComponent*>& components);
    // The domains a component's catalogue names match, every match taken.
    QList<SVDefaultsDomain> domainsOfComponent(const SVOSComponent& component);

private:
    bool deleteFile(const QUrl& file, DeletionCounter& counter);

    CleaningServices services_;
};
