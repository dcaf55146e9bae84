#pragma once

#include <QList>
#include <QString>
#include <QUrl>

// Where the Library folders are. The user domain is $HOME/Library; the local
// domain is <system root>/Library, where the system root is "/" unless
// SORVANE_SYSTEM_ROOT names another folder (tests, or an admin managing a
// mounted disk). Root's home is <system root>/root.
class LibraryFolders {
public:
    static QString systemRoot();
    static QString homeFolder();
    static QString rootHomeFolder();

    // The user domain's Library folders (normally one: ~/Library).
    static QList<QUrl> userLibraryFolders();
    // The local domain's Library folders (normally one: /Library).
    static QList<QUrl> localLibraryFolders();
    static QList<QUrl> userCachesFolders();
    static QList<QUrl> localCachesFolders();
    // ~/Library/Containers/<identifier>; empty when there is no user Library.
    static QUrl containerFolder(const QString& identifier);
    // Prefixes a path meant for the real system ("/Library/...") with the
    // system root.
    static QString underSystemRoot(const QString& absolutePath);
};
