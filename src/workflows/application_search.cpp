#include "workflows/application_search.h"

#include "catalogues/sv_known_app.h"
#include "platform/bundle.h"
#include "search/sv_file_search_tool.h"
#include "util/path_utils.h"
#include "workflows/domain_matcher.h"

const SVDefaultsDomain*
ApplicationSearchResults::appDefaultsDomainWithDomain(const QString& domain) const {
    for (const SVDefaultsDomain& entry : appDomainResults) {
        if (entry.domain() == domain)
            return &entry;
    }
    return nullptr;
}

void ApplicationSearchResults::strikeOffDomain(const QString& domain) {
    for (qsizetype i = 0; i < appDomainResults.size(); ++i) {
        if (appDomainResults.at(i).domain() == domain) {
            appDomainResults.removeAt(i);
            return;
        }
    }
}

void ApplicationSearchResults::strikeOffFile(QList<QUrl>& files, const QString& path) {
    files.removeAll(QUrl::fromLocalFile(path));
}

ApplicationSearch::ApplicationSearch(DomainMatcher& matcher)
    : matcher_(matcher) {}

QString ApplicationSearch::applicationName(const QUrl& appUrl) {
    return sv::stringByDeletingPathExtension(sv::lastPathComponent(appUrl.toLocalFile()));
}

ApplicationSearch::Outcome
ApplicationSearch::doSearchesForApp(const QUrl& appUrl, ApplicationSearchResults& results) const {
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(appUrl);
    if (!bundle)
        return Outcome::NotABundle;
    results.appBundleIdentifier = bundle->bundleIdentifier();
    if (results.appBundleIdentifier.isNull())
        return Outcome::NoBundleIdentifier;

    const QString& identifier = results.appBundleIdentifier;
    const QString name = applicationName(appUrl);
    SVFileSearchTool* files = SVFileSearchTool::sharedTool();
    results.appDomainResults = matcher_.matchesForDomain(identifier);
    results.appAdditionalPreferenceFiles =
        files->preferenceFilesForApplicationName(name, identifier);
    results.appCacheFiles = files->cacheFilesForApplicationName(name, identifier);
    addCatalogueEntries(results);
    return Outcome::Found;
}

void ApplicationSearch::addCatalogueEntries(ApplicationSearchResults& results) const {
    const auto known = SVKnownApp::knownAppForId(results.appBundleIdentifier);
    if (!known)
        return;
    for (const QString& domain : known->additionalDomains()) {
        // Only exact matches: the matcher's looser ones belong to other apps.
        for (const SVDefaultsDomain& match : matcher_.matchesForDomain(domain)) {
            if (match.domain() == domain)
                results.appDomainResults.append(match);
        }
    }
    results.appAdditionalPreferenceFiles.append(known->prefFilesToDelete());
    results.appCacheFiles.append(known->cacheFilesToDelete());
}
