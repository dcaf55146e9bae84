#include "platform/mac_home_folder.h"

#include "platform/bundle.h"
#include "platform/defaults_store.h"
#include "platform/file_icons.h"
#include "platform/library_folders.h"
#include "platform/plist_binary_format.h"
#include "platform/plist_text_format.h"
#include "search/sv_defaults_tool.h"
#include "search/sv_file_search_tool.h"
#include "util/path_utils.h"
#include "workflows/application_search.h"
#include "workflows/helper_operations.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

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

// A tool of its own, read once and waited for: a command has nobody to wait
// for the reading otherwise.
class OwnDefaultsToolMatcher : public DomainMatcher {
public:
    explicit OwnDefaultsToolMatcher(SettingsSystem::SystemDomainsSource systemDomains)
        : tool_(std::move(systemDomains))
        , matcher_(&tool_) {
        tool_.waitForReading();
    }
    QList<SVDefaultsDomain> matchesForDomain(const QString& pattern) override {
        return matcher_.matchesForDomain(pattern);
    }

private:
    SVDefaultsTool tool_;
    DefaultsToolMatcher matcher_;
};

} // namespace

QList<ApplicationEntry> MacHomeFolder::installedApplications() const {
    // Bundles are chosen through the open panel, which lists them itself.
    return {};
}

bool MacHomeFolder::isApplicationUrl(const QUrl& url) const {
    // By the URL's path alone: a web address of a bundle is taken too, and
    // then simply finds no bundle.
    return sv::pathExtension(url.path()).compare(u"app"_s, Qt::CaseInsensitive) == 0;
}

std::optional<ApplicationTarget> MacHomeFolder::applicationAtUrl(const QUrl& url) const {
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(url);
    if (!bundle)
        return std::nullopt;
    // The searches use the bundle's file name, not its display name.
    return ApplicationTarget{
        url, bundle->bundleIdentifier(),
        sv::stringByDeletingPathExtension(sv::lastPathComponent(url.toLocalFile()))};
}

QList<ApplicationTarget> MacHomeFolder::applicationsForArgument(const QString& argument,
                                                                QString* problem) const {
    const QString path = QDir::cleanPath(QFileInfo(argument).absoluteFilePath());
    const auto complain = [problem](const QString& text) {
        if (problem)
            *problem = text;
        return QList<ApplicationTarget>();
    };
    if (!QFileInfo(path).exists() && !QFileInfo(path).isSymLink())
        return complain(u"%1: no such file or folder"_s.arg(argument));
    const std::optional<ApplicationTarget> application =
        applicationAtUrl(QUrl::fromLocalFile(path));
    if (!application)
        return complain(u"%1 is not an application bundle (not a folder)"_s.arg(argument));
    if (application->identifier.isNull())
        return complain(
            u"%1 is not an application bundle (no CFBundleIdentifier in Contents/Info.plist)"_s.arg(
                argument));
    return {*application};
}

QImage MacHomeFolder::iconForApplication(const QUrl& url, int size) const {
    return FileIcons::iconForFile(url.toLocalFile())
        .scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

void MacHomeFolder::findApplicationSettings(const ApplicationTarget& application,
                                            DomainMatcher& matcher,
                                            ApplicationSearchResults& results,
                                            ApplicationSearchReasons* reasons) const {
    const QString& identifier = application.identifier;
    const QString& name = application.name;
    SVFileSearchTool* files = SVFileSearchTool::sharedTool();
    SVFileSearchTool::Matches preferenceMatches;
    SVFileSearchTool::Matches cacheMatches;
    results.appDomainResults = matcher.matchesForDomain(identifier);
    results.appAdditionalPreferenceFiles = files->preferenceFilesForApplicationName(
        name, identifier, reasons ? &preferenceMatches : nullptr);
    results.appCacheFiles =
        files->cacheFilesForApplicationName(name, identifier, reasons ? &cacheMatches : nullptr);
    if (!reasons)
        return;
    *reasons = {};
    for (qsizetype i = 0; i < results.appDomainResults.size(); ++i)
        reasons->domains.append({MatchReason::Kind::Identifier, identifier, false});
    appendFileReasons(reasons->preferenceFiles, preferenceMatches, name, identifier);
    appendFileReasons(reasons->caches, cacheMatches, name, identifier);
}

std::unique_ptr<DomainMatcher>
MacHomeFolder::makeDomainMatcher(SystemDomainsSource systemDomains) const {
    // Without a source of its own, the desktop application's shared tool,
    // whose reading starts now and ends in the background.
    if (!systemDomains) {
        SVDefaultsTool::sharedTool();
        return std::make_unique<DefaultsToolMatcher>();
    }
    return std::make_unique<OwnDefaultsToolMatcher>(std::move(systemDomains));
}

QString MacHomeFolder::catalogueFolder() const {
    return Bundle::mainBundle().resourcesPath();
}

QString MacHomeFolder::cleaningBackupsFolder() const {
    return LibraryFolders::homeFolder() + u"/Library/Application Support/Sorvane/Backups"_s;
}

QString MacHomeFolder::userCheckFolder() const {
    return sv::stringByExpandingTildeInPath(u"~/Library/Preferences"_s);
}

QString MacHomeFolder::systemCheckFolder() const {
    return LibraryFolders::underSystemRoot(u"/Library/Preferences"_s);
}

std::optional<QMap<QString, QString>> MacHomeFolder::checkSettingsFolder(const QString& folder,
                                                                         HelperOperations& helper) {
    return helper.checkPlistsAtUrl(QUrl::fromLocalFile(folder));
}

void MacHomeFolder::cancelCheck(HelperOperations& helper) {
    helper.cancelPlutilChecks();
}

namespace {

std::optional<SettingsSystem::DomainValues> valuesOf(const PlistValue& domain) {
    if (!domain.isDictionary())
        return std::nullopt;
    SettingsSystem::DomainValues values;
    for (const QString& key : domain.keys())
        values.insert(key,
                      QString::fromLatin1(PlistBinaryFormat::write(*domain.find(key)).toBase64()));
    return values;
}

} // namespace

std::optional<SettingsSystem::DomainValues>
MacHomeFolder::valuesOfSettingsText(const QString& text) const {
    QString error;
    return valuesOf(PlistTextFormat::parse(text, &error));
}

std::optional<QString> MacHomeFolder::userDomainSettingsText(const QString& domain) const {
    QString error;
    const PlistValue contents =
        DefaultsStore(LibraryFolders::homeFolder()).readDomain(domain, &error);
    if (!contents.isValid())
        return std::nullopt;
    return PlistTextFormat::write(contents);
}

std::optional<SettingsSystem::DomainValues>
MacHomeFolder::userDomainValues(const QString& domain) const {
    const DefaultsStore store(LibraryFolders::homeFolder());
    if (!store.domainExists(domain))
        return std::nullopt;
    QString error;
    // A damaged domain is still there, holding nothing that can be read.
    return valuesOf(store.readDomain(domain, &error)).value_or(DomainValues());
}

std::optional<PackagedApplication> MacHomeFolder::applicationToPack(const QUrl& url) const {
    const QString path = url.toLocalFile();
    // Deliberately case-sensitive: a bundle named "X.APP" is not taken.
    if (sv::pathExtension(path) != u"app"_s)
        return std::nullopt;
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(url);
    if (!bundle || bundle->bundleIdentifier().isNull())
        return std::nullopt;
    const QString identifier = bundle->bundleIdentifier();
    return PackagedApplication{sv::stringByDeletingPathExtension(sv::lastPathComponent(path)),
                               identifier,
                               FileIcons::iconForFile(path),
                               {identifier}};
}
