#include "platform/library_folders.h"

#include "util/path_utils.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

QList<QUrl> subFolders(const QList<QUrl>& folders, const QString& name) {
    QList<QUrl> result;
    for (const QUrl& folder : folders)
        result.append(
            QUrl::fromLocalFile(sv::stringByAppendingPathComponent(folder.toLocalFile(), name)));
    return result;
}

} // namespace

QString LibraryFolders::systemRoot() {
    const QString root = qEnvironmentVariable("SORVANE_SYSTEM_ROOT");
    if (root.isEmpty())
        return u"/"_s;
    return QDir::cleanPath(root);
}

QString LibraryFolders::homeFolder() {
    return QDir::homePath();
}

QString LibraryFolders::rootHomeFolder() {
    return underSystemRoot(u"/root"_s);
}

QString LibraryFolders::underSystemRoot(const QString& absolutePath) {
    const QString root = systemRoot();
    if (root == u"/"_s)
        return absolutePath;
    return sv::stringByAppendingPathComponent(root, absolutePath);
}

QList<QUrl> LibraryFolders::userLibraryFolders() {
    const QString home = homeFolder();
    if (home.isEmpty())
        return {};
    return {QUrl::fromLocalFile(sv::stringByAppendingPathComponent(home, u"Library"_s))};
}

QList<QUrl> LibraryFolders::localLibraryFolders() {
    return {QUrl::fromLocalFile(underSystemRoot(u"/Library"_s))};
}

QList<QUrl> LibraryFolders::userCachesFolders() {
    return subFolders(userLibraryFolders(), u"Caches"_s);
}

QList<QUrl> LibraryFolders::localCachesFolders() {
    return subFolders(localLibraryFolders(), u"Caches"_s);
}

QUrl LibraryFolders::containerFolder(const QString& identifier) {
    const QList<QUrl> libraries = userLibraryFolders();
    if (libraries.isEmpty())
        return {};
    const QString containers =
        sv::stringByAppendingPathComponent(libraries.first().toLocalFile(), u"Containers"_s);
    return QUrl::fromLocalFile(sv::stringByAppendingPathComponent(containers, identifier));
}
