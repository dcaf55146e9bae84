#pragma once

#include "linux/linux_application.h"
#include "workflows/match_reason.h"

#include <QList>
#include <QString>
#include <QUrl>

// Finds one desktop application's preference files and caches on the Linux
// desktop, in a fixed order, each with the reason it was taken. Like the
// Library search it lists every folder shallowly and takes a matching folder
// as one entry; it never looks outside these folders:
//   preference files: $XDG_CONFIG_HOME, $XDG_DATA_HOME, the Flatpak
//     container's entries but its cache, the Snap's ~/snap/<name>, /etc/xdg;
//   caches: $XDG_CACHE_HOME, $XDG_STATE_HOME, the Flatpak container's cache,
//     /var/cache.
// KDE's rc files are taken in the configuration and state folders.
// System folders lie under the system root. The folders are listed anew on
// every call.
class LinuxFileSearch {
public:
    // The XDG base folders, by the freedesktop rules: the variable when it
    // holds an absolute path, else its default below HOME.
    static QString configHome();
    static QString dataHome();
    static QString cacheHome();
    static QString stateHome();
    // ~/.var/app/<id> of a Flatpak application.
    static QString flatpakContainer(const QString& flatpakId);

    // Both fill reasons (one per URL) when given.
    QList<QUrl> preferenceFiles(const LinuxApplication& application,
                                QList<MatchReason>* reasons = nullptr) const;
    QList<QUrl> cacheFiles(const LinuxApplication& application,
                           QList<MatchReason>* reasons = nullptr) const;

private:
    struct Found {
        QList<QUrl> urls;
        QList<MatchReason>* reasons;
        void add(const QString& path, const MatchReason& reason);
    };
    class EntryRules;
    // withRcFiles: KDE's rc files are taken too (configuration and state folders).
    void collectInFolder(const QString& folder, const EntryRules& rules, bool withRcFiles,
                         Found& found) const;
    void collectContainer(const LinuxApplication& application, bool caches, Found& found) const;
};
