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
// must never take them.
bool isSharedEntry(const QString& entry) {
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
    return shared.contains(entry.toLower());
}

// KDE's rc files: "<name>rc", "<name>staterc" (in the state folder) and
// "<name>-<part>rc".
bool isRcFileOf(const QString& lowerEntry, const QString& name) {
    if (lowerEntry == name + u"rc"_s || lowerEntry == name + u"staterc"_s)
        return true;
    return lowerEntry.size() > name.size() + 3 && lowerEntry.startsWith(name + u'-') &&
           lowerEntry.endsWith(u"rc"_s);
}

// The rules in the order they are tried: the identifier, each name, KDE's rc
// files of each name, the suffix rule.
std::optional<MatchReason> matchOfEntry(const QString& entry, const LinuxApplication& application,
                                        bool withRcFiles) {
    if (entry.compare(application.identifier, Qt::CaseInsensitive) == 0)
        return MatchReason{MatchReason::Kind::ApplicationId, application.identifier, false};
    const QString lower = entry.toLower();
    for (const QString& name : application.fileNames) {
        if (lower == name)
            return MatchReason{MatchReason::Kind::Name, name, false};
    }
    if (withRcFiles) {
        // KDE names some rc files after the whole ID ("org.kde.gwenviewrc").
        for (const QString& name :
             application.fileNames + QStringList{application.identifier.toLower()}) {
            if (isRcFileOf(lower, name))
                return MatchReason{MatchReason::Kind::RcFile, name, false};
        }
    }
    for (const QString& name : application.fileNames) {
        const QString word = SVFileSearchTool::relatedSuffixWord(entry, name);
        if (!word.isNull())
            return MatchReason{MatchReason::Kind::SuffixWord, word, false};
    }
    return std::nullopt;
}

} // namespace

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
    collectInFolder(configHome(), application, true, found);
    collectInFolder(dataHome(), application, false, found);
    collectContainer(application, false, found);
    if (!application.snapName.isEmpty()) {
        const QString snap = homePath(u"snap/"_s + application.snapName);
        if (FileStatus::exists(snap))
            found.add(snap, {MatchReason::Kind::Name, application.snapName, true});
    }
    collectInFolder(LibraryFolders::underSystemRoot(u"/etc/xdg"_s), application, true, found);
    return found.urls;
}

QList<QUrl> LinuxFileSearch::cacheFiles(const LinuxApplication& application,
                                        QList<MatchReason>* reasons) const {
    if (reasons)
        reasons->clear();
    Found found{{}, reasons};
    collectInFolder(cacheHome(), application, false, found);
    collectInFolder(stateHome(), application, true, found);
    collectContainer(application, true, found);
    collectInFolder(LibraryFolders::underSystemRoot(u"/var/cache"_s), application, false, found);
    return found.urls;
}

void LinuxFileSearch::collectInFolder(const QString& folder, const LinuxApplication& application,
                                      bool withRcFiles, Found& found) const {
    for (const QString& entry : DirectoryListing::list(folder).names) {
        if (isSharedEntry(entry))
            continue;
        if (const auto reason = matchOfEntry(entry, application, withRcFiles))
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
