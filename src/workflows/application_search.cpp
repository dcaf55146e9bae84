#include "workflows/application_search.h"

#include "catalogues/sv_known_app.h"
#include "util/path_utils.h"
#include "workflows/domain_matcher.h"
#include "workflows/settings_system.h"

#include <functional>

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

ApplicationSearch::ApplicationSearch(DomainMatcher& matcher, SettingsSystem& system)
    : matcher_(matcher)
    , system_(system) {}

QString ApplicationSearch::applicationName(const QUrl& appUrl) {
    if (const auto application = SettingsSystem::current().applicationAtUrl(appUrl))
        return application->name;
    return sv::stringByDeletingPathExtension(sv::lastPathComponent(appUrl.toLocalFile()));
}

namespace {

// A catalogue's files, resolved once; with reasons, each URL is explained by
// the path or expression that produced it.
QList<QUrl> catalogueFiles(const std::function<QList<QUrl>()>& resolve,
                           QList<MatchReason>* reasons) {
    if (!reasons)
        return resolve();
    const SVData::OriginRecording recording;
    const QList<QUrl> urls = resolve();
    QList<SVData::Origin> origins = recording.origins();
    for (const QUrl& url : urls) {
        MatchReason reason{MatchReason::Kind::CataloguePath, QString(), false};
        for (qsizetype i = 0; i < origins.size(); ++i) {
            if (origins.at(i).url != url)
                continue;
            reason = {origins.at(i).fromSearch ? MatchReason::Kind::CatalogueSearch
                                               : MatchReason::Kind::CataloguePath,
                      origins.at(i).text, false};
            origins.removeAt(i);
            break;
        }
        reasons->append(reason);
    }
    return urls;
}

} // namespace

ApplicationSearch::Outcome
ApplicationSearch::doSearchesForApp(const QUrl& appUrl, ApplicationSearchResults& results,
                                    ApplicationSearchReasons* reasons) const {
    const std::optional<ApplicationTarget> application = system_.applicationAtUrl(appUrl);
    if (!application)
        return Outcome::NotABundle;
    results.appBundleIdentifier = application->identifier;
    if (results.appBundleIdentifier.isNull())
        return Outcome::NoBundleIdentifier;
    system_.findApplicationSettings(*application, matcher_, results, reasons);
    addCatalogueEntries(results, reasons);
    return Outcome::Found;
}

void ApplicationSearch::addCatalogueEntries(ApplicationSearchResults& results,
                                            ApplicationSearchReasons* reasons) const {
    const auto known = SVKnownApp::knownAppForId(results.appBundleIdentifier);
    if (!known)
        return;
    for (const QString& domain : known->additionalDomains()) {
        // Only exact matches: the matcher's looser ones belong to other apps.
        for (const SVDefaultsDomain& match : matcher_.matchesForDomain(domain)) {
            if (match.domain() != domain)
                continue;
            results.appDomainResults.append(match);
            if (reasons)
                reasons->domains.append({MatchReason::Kind::CatalogueDomain, domain, false});
        }
    }
    results.appAdditionalPreferenceFiles.append(catalogueFiles(
        [&] { return known->prefFilesToDelete(); }, reasons ? &reasons->preferenceFiles : nullptr));
    results.appCacheFiles.append(catalogueFiles([&] { return known->cacheFilesToDelete(); },
                                                reasons ? &reasons->caches : nullptr));
}
