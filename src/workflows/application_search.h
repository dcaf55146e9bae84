#pragma once

#include "search/sv_defaults_domain.h"
#include "workflows/match_reason.h"
#include "workflows/settings_system.h"

#include <QList>
#include <QString>
#include <QUrl>

class DomainMatcher;

// What the search found for the target application: the lists the cleaning
// acts on. Each search replaces them as a whole; striking an entry off
// changes them in place.
struct ApplicationSearchResults {
    QString appBundleIdentifier;
    QList<SVDefaultsDomain> appDomainResults;
    QList<QUrl> appAdditionalPreferenceFiles;
    QList<QUrl> appCacheFiles;

    // The first domain entry with exactly this name, or nullptr.
    const SVDefaultsDomain* appDefaultsDomainWithDomain(const QString& domain) const;
    // Removes the first domain entry with this name.
    void strikeOffDomain(const QString& domain);
    // Removes every entry for this path (a path listed twice goes twice).
    static void strikeOffFile(QList<QUrl>& files, const QString& path);
};

// Why each entry of ApplicationSearchResults was found, list by list and
// index by index. Only filled for callers that ask; striking entries off the
// results does not touch it.
struct ApplicationSearchReasons {
    QList<MatchReason> domains;
    QList<MatchReason> preferenceFiles;
    QList<MatchReason> caches;
};

// Collects everything a cleaning would delete for one application: its
// defaults domains, its preference files and its caches, from the settings
// system's domain lists and file search, then from the known-applications
// catalogue, in that order. Nothing is sorted or de-duplicated.
class ApplicationSearch {
public:
    enum class Outcome {
        NotABundle,         // nothing changed
        NoBundleIdentifier, // identifier cleared, the lists keep the previous results
        Found,              // every list replaced
    };

    explicit ApplicationSearch(DomainMatcher& matcher,
                               SettingsSystem& system = SettingsSystem::current());

    // With reasons, also says why each entry was found; reasons are replaced
    // exactly when the results are.
    Outcome doSearchesForApp(const QUrl& appUrl, ApplicationSearchResults& results,
                             ApplicationSearchReasons* reasons = nullptr) const;
    // The application's name as the searches and alerts use it: for a
    // bundle, its file name without its extension (not its display name).
    static QString applicationName(const QUrl& appUrl);

private:
    void addCatalogueEntries(ApplicationSearchResults& results,
                             ApplicationSearchReasons* reasons) const;

    DomainMatcher& matcher_;
    SettingsSystem& system_;
};
