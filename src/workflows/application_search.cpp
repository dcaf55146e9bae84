#include "workflows/application_search.h"

#include "catalogues/sv_known_app.h"
#include "platform/bundle.h"
#include "search/sv_file_search_tool.h"
#include "util/path_utils.h"
#include "workflows/domain_matcher.h"

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

ApplicationSearch::ApplicationSearch(DomainMatcher& matcher)
    : matcher_(matcher) {}

QString ApplicationSearch::applicationName(const QUrl& appUrl) {
    return sv::stringByDeletingPathExtension(sv::lastPathComponent(appUrl.toLocalFile()));
}

namespace {

MatchReason reasonOfFileMatch(const SVFileSearchTool::Match& match, const QString& name,
                              const QString& identifier) {
    using Rule = SVFileSearchTool::Match::Rule;
    switch (match.rule) {
    case Rule::Name:
        return {MatchReason::Kind::Name, name.toLower(), match.inContainer};
    case Rule::Identifier:
        return {MatchReason::Kind::Identifier, identifier, match.inContainer};
    case Rule::SuffixWord:
        return {MatchReason::Kind::SuffixWord, match.suffixWord, match.inContainer};
    case Rule::SavedState:
        break;
    }
    return {MatchReason::Kind::SavedState, identifier, match.inContainer};
}

void appendFileReasons(QList<MatchReason>& reasons, const SVFileSearchTool::Matches& matches,
                       const QString& name, const QString& identifier) {
    for (const SVFileSearchTool::Match& match : matches)
        reasons.append(reasonOfFileMatch(match, name, identifier));
}

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
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(appUrl);
    if (!bundle)
        return Outcome::NotABundle;
    results.appBundleIdentifier = bundle->bundleIdentifier();
    if (results.appBundleIdentifier.isNull())
        return Outcome::NoBundleIdentifier;

    const QString& identifier = results.appBundleIdentifier;
    const QString name = applicationName(appUrl);
    SVFileSearchTool* files = SVFileSearchTool::sharedTool();
    SVFileSearchTool::Matches preferenceMatches;
    SVFileSearchTool::Matches cacheMatches;
    results.appDomainResults = matcher_.matchesForDomain(identifier);
    results.appAdditionalPreferenceFiles = files->preferenceFilesForApplicationName(
        name, identifier, reasons ? &preferenceMatches : nullptr);
    results.appCacheFiles =
        files->cacheFilesForApplicationName(name, identifier, reasons ? &cacheMatches : nullptr);
    if (reasons) {
        *reasons = {};
        for (qsizetype i = 0; i < results.appDomainResults.size(); ++i)
            reasons->domains.append({MatchReason::Kind::Identifier, identifier, false});
        appendFileReasons(reasons->preferenceFiles, preferenceMatches, name, identifier);
        appendFileReasons(reasons->caches, cacheMatches, name, identifier);
    }
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
