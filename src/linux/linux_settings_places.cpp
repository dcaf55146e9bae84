#include "linux/linux_settings_places.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

bool beneath(const QString& path, const QStringList& folders) {
    for (const QString& folder : folders) {
        if (path.startsWith(folder + u'/') && path.size() > folder.size() + 1)
            return true;
    }
    return false;
}

} // namespace

namespace LinuxSettingsPlaces {

QStringList userFolders() {
    return {u".config"_s, u".local/share"_s, u".local/state"_s,
            u".cache"_s,  u".var/app"_s,     u"snap"_s};
}

QStringList legacyHomeEntries() {
    // Each one is where an application of the catalogue keeps its settings.
    return {u".mozilla"_s, u".thunderbird"_s, u".vscode"_s, u".vscode-oss"_s, u".steam"_s,
            // Editors' start-up files and folders, older applications' own folders.
            u".audacity-data"_s, u".emacs"_s, u".emacs.d"_s, u".emacs.el"_s, u".gvimrc"_s,
            u".kodi"_s, u".vim"_s, u".viminfo"_s, u".vimrc"_s};
}

QStringList systemFolders() {
    return {u"etc/xdg"_s, u"etc/dconf"_s, u"var/cache"_s};
}

bool accepts(const QString& catalogPath) {
    if (QDir::cleanPath(catalogPath) != catalogPath)
        return false;
    if (catalogPath.startsWith(u"~/"_s)) {
        const QString inHome = catalogPath.mid(2);
        const QString first = inHome.section(u'/', 0, 0);
        return beneath(inHome, userFolders()) || legacyHomeEntries().contains(first);
    }
    return catalogPath.startsWith(u'/') && beneath(catalogPath.mid(1), systemFolders());
}

} // namespace LinuxSettingsPlaces
