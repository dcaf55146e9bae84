#include "linux/linux_file_search.h"

#include "platform/directory_listing.h"
#include "platform/file_status.h"
#include "platform/library_folders.h"
#include "search/sv_file_search_tool.h"
#include "util/path_utils.h"

#include <QDir>
#include <QSet>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

QString homePath(const QString& relative) {
    return QDir::cleanPath(QDir::homePath() + u'/' + relative);
}

QString xdgFolder(const char* variable, const QString& fallback) {
    const QString value = qEnvironmentVariable(variable);
    return value.startsWith(u'/') ? QDir::cleanPath(value) : homePath(fallback);
}

// Entries that the desktop and the system share among all applications: an
// application whose program happens to carry such a name ("trash", "man")
// must never take them. Lower-case.
bool isSharedEntry(const QString& lowerEntry) {
    static const QSet<QString> shared = {u"applications"_s,
                                         u"autostart"_s,
                                         u"dconf"_s,
                                         u"environment.d"_s,
                                         u"systemd"_s,
                                         u"menus"_s,
                                         u"mimeapps.list"_s,
                                         u"user-dirs.dirs"_s,
                                         u"user-dirs.locale"_s,
                                         u"fontconfig"_s,
                                         u"gtk-2.0"_s,
                                         u"gtk-3.0"_s,
                                         u"gtk-4.0"_s,
                                         u"icons"_s,
                                         u"mime"_s,
                                         u"trash"_s,
                                         u"keyrings"_s,
                                         u"fonts"_s,
                                         u"themes"_s,
                                         u"flatpak"_s,
                                         u"snap"_s,
                                         u"desktop-directories"_s,
                                         u"sounds"_s,
                                         u"backgrounds"_s,
                                         u"thumbnails"_s,
                                         u"recently-used.xbel"_s,
                                         u"apt"_s,
                                         u"debconf"_s,
                                         u"ldconfig"_s,
                                         u"man"_s,
                                         u"private"_s,
                                         u"pki"_s};
    return shared.contains(lowerEntry);
}

// KDE's rc files: "<name>rc", "<name>staterc" (in the state folder) and
// "<name>-<part>rc".
bool isRcFileOf(const QString& lowerEntry, const QString& name) {
    if (lowerEntry.size() <= name.size() + 1 || !lowerEntry.startsWith(name))
        return false;
    const QStringView rest = QStringView(lowerEntry).mid(name.size());
    return rest == u"rc" || rest == u"staterc" ||
           (rest.size() > 3 && rest.startsWith(u'-') && rest.endsWith(u"rc"));
}

} // namespace

// The application's names prepared once per search, so that each entry of a
// folder costs one lower-casing and a few look-ups. The rules are tried in
// this order: the identifier, each name, KDE's rc files of each name (and of
// the whole identifier, as "org.kde.gwenviewrc"), the suffix rule.
class LinuxFileSearch::EntryRules {
public:
    explicit EntryRules(const LinuxApplication& application)
        : identifier_(application.identifier)
        , lowerIdentifier_(application.identifier.toLower())
        , names_(application.fileNames.cbegin(), application.fileNames.cend())
        , rcNames_(application.fileNames + QStringList{lowerIdentifier_}) {
        for (const QString& name : application.fileNames) {
            if (hasSuffixWord(name))
                suffixNames_.append(name);
        }
    }

    std::optional<MatchReason> match(const QString& entry, bool withRcFiles) const {
        const QString lower = entry.toLower();
        if (isSharedEntry(lower))
            return std::nullopt;
        if (lower == lowerIdentifier_)
            return MatchReason{MatchReason::Kind::ApplicationId, identifier_, false};
        if (names_.contains(lower))
            return MatchReason{MatchReason::Kind::Name, lower, false};
        if (withRcFiles && lower.endsWith(u"rc"_s)) {
            for (const QString& name : rcNames_) {
                if (isRcFileOf(lower, name))
                    return MatchReason{MatchReason::Kind::RcFile, name, false};
            }
        }
        for (const QString& name : suffixNames_) {
            const QString word = SVFileSearchTool::relatedSuffixWord(entry, name);
            if (!word.isNull())
                return MatchReason{MatchReason::Kind::SuffixWord, word, false};
        }
        return std::nullopt;
    }

private:
    // Only names that end in a suffix word can relate to an entry by it.
    static bool hasSuffixWord(const QString& name) {
        for (const QString& word : {u"se"_s, u"le"_s, u"trial"_s, u"express"_s, u"free"_s}) {
            if (name.endsWith(word))
                return true;
        }
        return false;
    }

    QString identifier_;
    QString lowerIdentifier_;
    QSet<QString> names_;
    QStringList rcNames_;
    QStringList suffixNames_;
};

QString LinuxFileSearch::configHome() {
    return xdgFolder("XDG_CONFIG_HOME", u".config"_s);
}

QString LinuxFileSearch::dataHome() {
    return xdgFolder("XDG_DATA_HOME", u".local/share"_s);
}

QString LinuxFileSearch::cacheHome() {
    return xdgFolder("XDG_CACHE_HOME", u".cache"_s);
}

QString LinuxFileSearch::stateHome() {
    return xdgFolder("XDG_STATE_HOME", u".local/state"_s);
}

QString LinuxFileSearch::flatpakContainer(const QString& flatpakId) {
    return homePath(u".var/app/"_s + flatpakId);
}

void LinuxFileSearch::Found::add(const QString& path, const MatchReason& reason) {
    const QUrl url = QUrl::fromLocalFile(path);
    // Two rules may lead to one entry (a name that is also the identifier).
    if (urls.contains(url))
        return;
    urls.append(url);
    if (reasons)
        reasons->append(reason);
}

QList<QUrl> LinuxFileSearch::preferenceFiles(const LinuxApplication& application,
                                             QList<MatchReason>* reasons) const {
    if (reasons)
        reasons->clear();
    Found found{{}, reasons};
    const EntryRules rules(application);
    collectInFolder(configHome(), rules, true, found);
    collectInFolder(dataHome(), rules, false, found);
    collectContainer(application, false, found);
    if (!application.snapName.isEmpty()) {
        const QString snap = homePath(u"snap/"_s + application.snapName);
        if (FileStatus::exists(snap))
            found.add(snap, {MatchReason::Kind::Name, application.snapName, true});
    }
    collectInFolder(LibraryFolders::underSystemRoot(u"/etc/xdg"_s), rules, true, found);
    return found.urls;
}

QList<QUrl> LinuxFileSearch::cacheFiles(const LinuxApplication& application,
                                        QList<MatchReason>* reasons) const {
    if (reasons)
        reasons->clear();
    Found found{{}, reasons};
    const EntryRules rules(application);
    collectInFolder(cacheHome(), rules, false, found);
    collectInFolder(stateHome(), rules, true, found);
    collectContainer(application, true, found);
    collectInFolder(LibraryFolders::underSystemRoot(u"/var/cache"_s), rules, false, found);
    return found.urls;
}

void LinuxFileSearch::collectInFolder(const QString& folder, const EntryRules& rules,
                                      bool withRcFiles, Found& found) const {
    for (const QString& entry : DirectoryListing::list(folder).names) {
        if (const auto reason = rules.match(entry, withRcFiles))
            found.add(sv::stringByAppendingPathComponent(folder, entry), *reason);
    }
}

void LinuxFileSearch::collectContainer(const LinuxApplication& application, bool caches,
                                       Found& found) const {
    if (application.flatpakId.isEmpty())
        return;
    // The container is the application's alone: its cache folder holds its
    // caches, everything else (config, data, and the dot-folders some
    // applications keep, such as .mozilla) its settings.
    const QString container = flatpakContainer(application.flatpakId);
    for (const QString& entry : DirectoryListing::list(container).names) {
        if ((entry == u"cache"_s) == caches)
            found.add(container + u'/' + entry,
                      {MatchReason::Kind::ApplicationId, application.flatpakId, true});
    }
}
