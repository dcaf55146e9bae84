#include "search/sv_file_search_tool.h"

#include "platform/directory_listing.h"
#include "platform/file_status.h"
#include "platform/library_folders.h"
#include "util/logging.h"
#include "util/path_utils.h"
#include "util/string_extensions.h"

using namespace Qt::StringLiterals;

namespace {

SVFileSearchTool* sharedInstance = nullptr;

const QString kSavedState = u"Saved Application State"_s;

QList<QUrl> subfolders(const QList<QUrl>& folders, const QString& name) {
    QList<QUrl> result;
    for (const QUrl& folder : folders)
        result.append(
            QUrl::fromLocalFile(sv::stringByAppendingPathComponent(folder.toLocalFile(), name)));
    return result;
}

QUrl entryUrl(const QString& folder, const QString& name) {
    return QUrl::fromLocalFile(sv::stringByAppendingPathComponent(folder, name));
}

// White space as the suffix rule trims it: spaces and tabs, not line ends.
QString trimWhiteSpace(const QString& text) {
    const auto isWhite = [](QChar c) {
        return c == u'\t' || c.category() == QChar::Separator_Space;
    };
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && isWhite(text.at(start)))
        ++start;
    while (end > start && isWhite(text.at(end - 1)))
        --end;
    return text.mid(start, end - start);
}

bool equalsIgnoringCase(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

} // namespace

SVFileSearchTool::SVFileSearchTool() {
    if (!sharedInstance)
        sharedInstance = this;
}

SVFileSearchTool* SVFileSearchTool::sharedTool() {
    if (!sharedInstance)
        new SVFileSearchTool; // stores itself in the slot and lives for the process
    return sharedInstance;
}

QUrl SVFileSearchTool::containerDirectoryForApplicationIdentifier(const QString& identifier) const {
    return LibraryFolders::containerFolder(identifier);
}

bool SVFileSearchTool::containerExists(const QString& identifier) const {
    const QUrl container = containerDirectoryForApplicationIdentifier(identifier);
    return !container.isEmpty() && FileStatus::exists(container.toLocalFile());
}

QUrl SVFileSearchTool::containerSubfolder(const QString& identifier, const QString& last) const {
    QString path = containerDirectoryForApplicationIdentifier(identifier).toLocalFile();
    for (const QString& component : {u"Data"_s, u"Library"_s, last})
        path = sv::stringByAppendingPathComponent(path, component);
    return QUrl::fromLocalFile(path);
}

QList<QUrl> SVFileSearchTool::preferenceFilesForApplicationName(const QString& name,
                                                                const QString& identifier,
                                                                Matches* matches) const {
    const QString appName = sv::stringByDeletingPathExtension(name).toLower();
    QList<QUrl> found;
    if (matches)
        matches->clear();
    for (const QUrl& folder : subfolders(LibraryFolders::userLibraryFolders(), u"Preferences"_s))
        collectInDirectory(folder, appName, identifier, false, found, matches);
    if (containerExists(identifier))
        collectInDirectory(containerSubfolder(identifier, u"Preferences"_s), appName, identifier,
                           true, found, matches);
    for (const QUrl& folder : subfolders(LibraryFolders::localLibraryFolders(), u"Preferences"_s))
        collectInDirectory(folder, appName, identifier, false, found, matches);
    return found;
}

QList<QUrl> SVFileSearchTool::cacheFilesForApplicationName(const QString& name,
                                                           const QString& identifier,
                                                           Matches* matches) const {
    const QString appName = sv::stringByDeletingPathExtension(name).toLower();
    QList<QUrl> found;
    if (matches)
        matches->clear();
    for (const QUrl& folder : LibraryFolders::userCachesFolders())
        collectInDirectory(folder, appName, identifier, false, found, matches);
    for (const QUrl& folder : subfolders(LibraryFolders::userLibraryFolders(), kSavedState))
        collectSavedStates(folder, identifier, false, found, matches);
    if (containerExists(identifier)) {
        collectInDirectory(containerSubfolder(identifier, u"Caches"_s), appName, identifier, true,
                           found, matches);
        collectSavedStates(containerSubfolder(identifier, kSavedState), identifier, true, found,
                           matches);
    }
    for (const QUrl& folder : LibraryFolders::localCachesFolders())
        collectInDirectory(folder, appName, identifier, false, found, matches);
    return found;
}

QList<QUrl> SVFileSearchTool::filesInDirectory(const QUrl& folder, const QString& name,
                                               const QString& identifier, Matches* matches) const {
    QList<QUrl> found;
    if (matches)
        matches->clear();
    collectInDirectory(folder, name, identifier, false, found, matches);
    return found;
}

void SVFileSearchTool::collectInDirectory(const QUrl& folder, const QString& name,
                                          const QString& identifier, bool inContainer,
                                          QList<QUrl>& found, Matches* matches) const {
    const QString path = folder.toLocalFile();
    sv::log(u"Searching in directory %1"_s.arg(path));
    const bool isPreferences = equalsIgnoringCase(sv::lastPathComponent(path), u"Preferences"_s);
    for (const QString& entry : DirectoryListing::list(path).names) {
        // Deliberate: property lists in a Preferences folder are defaults
        // domains, never listed by this search.
        if (isPreferences && equalsIgnoringCase(sv::pathExtension(entry), u"plist"_s))
            continue;
        std::optional<Match> match = matchOfEntry(entry, name, identifier);
        if (!match)
            continue;
        found.append(entryUrl(path, entry));
        if (matches) {
            match->inContainer = inContainer;
            matches->append(*match);
        }
    }
}

std::optional<SVFileSearchTool::Match> SVFileSearchTool::matchOfEntry(const QString& entry,
                                                                      const QString& name,
                                                                      const QString& identifier) {
    // The three tests in the order the search has always made them.
    if (equalsIgnoringCase(entry, name))
        return Match{Match::Rule::Name, QString(), false};
    if (equalsIgnoringCase(entry, identifier))
        return Match{Match::Rule::Identifier, QString(), false};
    const QString word = relatedSuffixWord(entry, name);
    if (!word.isNull())
        return Match{Match::Rule::SuffixWord, word, false};
    return std::nullopt;
}

void SVFileSearchTool::collectSavedStates(const QUrl& folder, const QString& identifier,
                                          bool inContainer, QList<QUrl>& found,
                                          Matches* matches) const {
    const QString path = folder.toLocalFile();
    for (const QString& entry : DirectoryListing::list(path).names) {
        if (sv::pathExtension(entry) != u"savedState"_s ||
            sv::stringByDeletingPathExtension(entry) != identifier)
            continue;
        found.append(entryUrl(path, entry));
        if (matches)
            matches->append(Match{Match::Rule::SavedState, QString(), inContainer});
    }
}

bool SVFileSearchTool::nameIsRelatedToApplicationName(const QString& entryName,
                                                      const QString& applicationName) {
    return !relatedSuffixWord(entryName, applicationName).isNull();
}

QString SVFileSearchTool::relatedSuffixWord(const QString& entryName,
                                            const QString& applicationName) {
    const QString reduced = sv::stringByDeletingPathExtension(entryName).toLower();
    for (const QString& word : {u"se"_s, u"le"_s, u"trial"_s, u"express"_s, u"free"_s}) {
        if (!sv::endsWithString(applicationName, word))
            continue;
        if (trimWhiteSpace(applicationName.chopped(word.size())) == reduced)
            return word;
    }
    return QString();
}

void SVFileSearchTool::runNameComparisonTests() {
    struct Case {
        QString entry;
        QString application;
    };
    const Case pass[] = {{u"app"_s, u"app le"_s},
                         {u"app"_s, u"appse"_s},
                         {u"app"_s, u"app express"_s},
                         {u"otherapp"_s, u"otherapp trial"_s},
                         {u"small app"_s, u"small app free"_s}};
    const Case fail[] = {{u"big app"_s, u"app le"_s},
                         {u"apple"_s, u"appse"_s},
                         {u"appx"_s, u"app express"_s},
                         {u"otherapt"_s, u"otherapp trial"_s},
                         {u"small free app"_s, u"small app free"_s}};
    const auto logGroup = [](const auto& cases) {
        for (const Case& c : cases) {
            const bool related = nameIsRelatedToApplicationName(c.entry, c.application);
            sv::log(u"Test : %1 == %2  ?  %3"_s.arg(c.entry, c.application,
                                                    related ? u"YES"_s : u"NO"_s));
        }
    };
    sv::log(u"These tests should pass..."_s);
    logGroup(pass);
    sv::log(u"These tests should fail..."_s);
    logGroup(fail);
}
