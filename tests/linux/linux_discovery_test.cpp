// What the Linux desktop's search finds for real applications, laid out as
// their packages install them and as they write their files. Each row names
// where its facts come from: the application's own desktop entry or its
// distribution's packaging, its documentation or source, or the sandboxing
// profiles (firejail's) that list the files an application needs to keep.

#include "linux/flatpak_settings_keyfile.h"
#include "linux/linux_desktop.h"
#include "workflows/application_search.h"
#include "workflows/domain_matcher.h"

#include "sandbox.h"
#include "scoped_environment.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// A user's desktop in a sandbox: the XDG folders at their defaults below the
// home folder, and the data folders in the order the Flatpak and snapd
// profile scripts leave in XDG_DATA_DIRS. Paths are written "~/..." for the
// home folder and "/..." for the system root; a path ending in "/" is a folder.
class DesktopWorld {
public:
    DesktopWorld() {
        environment_.set("XDG_CONFIG_HOME", path(u"~/.config"_s));
        environment_.set("XDG_DATA_HOME", path(u"~/.local/share"_s));
        environment_.set("XDG_CACHE_HOME", path(u"~/.cache"_s));
        environment_.set("XDG_STATE_HOME", path(u"~/.local/state"_s));
        environment_.set("XDG_DATA_DIRS",
                         QStringList{path(u"~/.local/share/flatpak/exports/share"_s),
                                     path(u"/var/lib/flatpak/exports/share"_s),
                                     path(u"/usr/local/share"_s), path(u"/usr/share"_s),
                                     path(u"/var/lib/snapd/desktop"_s)}
                             .join(u':'));
    }

    QString path(const QString& place) const {
        if (place.startsWith(u"~/"_s))
            return sandbox_.home() + place.mid(1);
        return sandbox_.systemRoot() + place;
    }
    // A file with some contents, or a folder for a path ending in "/".
    void make(const QString& place, const QByteArray& content = "x") const {
        const QString target = path(place);
        if (place.endsWith(u'/'))
            sandbox_.makeFolder(target);
        else
            sandbox_.makeFile(target, content);
    }
    // The world notation of a path below the sandbox.
    QString written(const QString& path) const {
        if (path.startsWith(sandbox_.home() + u'/'))
            return u'~' + path.mid(sandbox_.home().size());
        if (path.startsWith(sandbox_.systemRoot() + u'/'))
            return path.mid(sandbox_.systemRoot().size());
        return path;
    }

private:
    Sandbox sandbox_;
    ScopedEnvironment environment_;
};

QByteArray desktopEntry(const char* lines) {
    return QByteArray("[Desktop Entry]\nType=Application\n") + lines;
}

QString kindText(MatchReason::Kind kind) {
    switch (kind) {
    case MatchReason::Kind::ApplicationId:
        return u"id"_s;
    case MatchReason::Kind::Name:
        return u"name"_s;
    case MatchReason::Kind::RcFile:
        return u"rc"_s;
    case MatchReason::Kind::SuffixWord:
        return u"suffix"_s;
    default:
        return u"other"_s;
    }
}

// "~/.config/katerc  [rc kate]", "~/.var/app/x/cache  [id x, container]".
QString describe(const QString& place, const MatchReason& reason) {
    return u"%1  [%2 %3%4]"_s.arg(place, kindText(reason.kind), reason.detail,
                                  reason.inContainer ? u", container"_s : QString());
}

QString parentOf(const QString& item) {
    const QString path = item.left(item.indexOf(u"  ["_s));
    return path.left(path.lastIndexOf(u'/'));
}

// The file system decides the order of the entries inside one folder; the
// folders themselves come in the search's fixed order. Sorting each folder's
// run by name keeps the second and ignores the first.
QStringList inFolderOrder(const QStringList& items) {
    QStringList parents;
    for (const QString& item : items) {
        if (!parents.contains(parentOf(item)))
            parents.append(parentOf(item));
    }
    QStringList sorted = items;
    std::stable_sort(sorted.begin(), sorted.end(), [&](const QString& a, const QString& b) {
        const qsizetype pa = parents.indexOf(parentOf(a));
        const qsizetype pb = parents.indexOf(parentOf(b));
        return pa != pb ? pa < pb : a < b;
    });
    return sorted;
}

struct EntryFile {
    const char* path;
    const char* lines; // what follows "[Desktop Entry]" and "Type=Application"
};

struct Found {
    const char* path;
    const char* reason; // "id X", "name X", "rc X", each with ", container" when it applies
};

struct DiscoveryCase {
    const char* name;
    std::vector<EntryFile> entries;
    const char* argument;   // how the user names the application
    const char* identifier; // the application it names
    std::vector<const char*> ownFiles;
    std::vector<const char*> neighbours; // files nearby that belong to others
    std::vector<Found> preferenceFiles;
    std::vector<Found> caches;
};

void PrintTo(const DiscoveryCase& c, std::ostream* out) {
    *out << c.name;
}

// What every desktop carries whoever uses it: files of the desktop itself and
// of libraries all applications share. No application ever takes them.
const char* const kDesktopFurniture[] = {
    "~/.config/autostart/discord.desktop",
    "~/.config/autostart/thunderbird.desktop",
    "~/.config/mimeapps.list",
    "~/.config/user-dirs.dirs",
    "~/.config/dconf/user",
    "~/.config/gtk-3.0/bookmarks",
    "~/.config/kdeglobals",
    "~/.config/fontconfig/fonts.conf",
    "~/.config/menus/applications-kmenuedit.menu",
    "~/.config/systemd/user/default.target.wants/",
    "~/.local/share/Trash/info/notes.txt.trashinfo",
    "~/.local/share/Trash/files/notes.txt",
    "~/.local/share/recently-used.xbel",
    "~/.local/share/keyrings/login.keyring",
    "~/.local/share/icons/hicolor/48x48/apps/discord.png",
    "~/.local/share/gvfs-metadata/home",
    "~/.local/share/mime/packages/user-extension-x-kolvane2.xml",
    "~/.local/share/fonts/Inter.ttf",
    "~/.local/share/flatpak/repo/config",
    "~/.cache/thumbnails/normal/0a1b2c.png",
    "~/.cache/fontconfig/a1b2c3-le64.cache-9",
    "~/.local/state/wireplumber/default-nodes",
    "/etc/xdg/autostart/xdg-user-dirs.desktop",
    "/etc/xdg/menus/gnome-applications.menu",
    "/var/cache/apt/pkgcache.bin",
    "/var/cache/man/index.db",
    "/var/cache/fontconfig/a1b2c3-le64.cache-9",
};

class LinuxDiscovery : public testing::TestWithParam<DiscoveryCase> {};

TEST_P(LinuxDiscovery, FindsExactlyTheApplicationsOwnFiles) {
    const DiscoveryCase& c = GetParam();
    DesktopWorld world;
    for (const EntryFile& entry : c.entries)
        world.make(QString::fromUtf8(entry.path), desktopEntry(entry.lines));
    for (const char* file : kDesktopFurniture)
        world.make(QString::fromUtf8(file));
    for (const char* file : c.ownFiles)
        world.make(QString::fromUtf8(file));
    for (const char* file : c.neighbours)
        world.make(QString::fromUtf8(file));

    LinuxDesktop desktop;
    QString problem;
    const QList<ApplicationTarget> targets =
        desktop.applicationsForArgument(QString::fromUtf8(c.argument), &problem);
    ASSERT_EQ(targets.size(), 1) << problem.toStdString();
    EXPECT_EQ(targets.first().identifier, QString::fromUtf8(c.identifier));

    const std::unique_ptr<DomainMatcher> matcher = desktop.makeDomainMatcher({});
    ApplicationSearchResults results;
    ApplicationSearchReasons reasons;
    desktop.findApplicationSettings(targets.first(), *matcher, results, &reasons);
    // No dconf here: the only domain can be a Flatpak's own settings store.
    for (const SVDefaultsDomain& domain : results.appDomainResults)
        EXPECT_EQ(domain.domain().toStdString(),
                  FlatpakSettingsKeyfile::domainOf(targets.first().identifier.toStdString()));
    ASSERT_EQ(reasons.preferenceFiles.size(), results.appAdditionalPreferenceFiles.size());
    ASSERT_EQ(reasons.caches.size(), results.appCacheFiles.size());

    const auto actual = [&](const QList<QUrl>& urls, const QList<MatchReason>& why) {
        QStringList items;
        for (qsizetype i = 0; i < urls.size(); ++i)
            items.append(describe(world.written(urls.at(i).toLocalFile()), why.at(i)));
        return inFolderOrder(items);
    };
    const auto expected = [&](const std::vector<Found>& found) {
        QStringList items;
        for (const Found& item : found)
            items.append(
                u"%1  [%2]"_s.arg(QString::fromUtf8(item.path), QString::fromUtf8(item.reason)));
        return inFolderOrder(items);
    };
    EXPECT_EQ(actual(results.appAdditionalPreferenceFiles, reasons.preferenceFiles),
              expected(c.preferenceFiles));
    EXPECT_EQ(actual(results.appCacheFiles, reasons.caches), expected(c.caches));

    // Said once more, the way a cleaning would suffer it: nothing found may
    // hold a file that belongs to someone else.
    const QList<QUrl> everything = results.appAdditionalPreferenceFiles + results.appCacheFiles;
    for (const char* neighbour : c.neighbours) {
        const QString path = world.path(QString::fromUtf8(neighbour));
        for (const QUrl& url : everything) {
            const QString found = url.toLocalFile();
            EXPECT_FALSE(path == found || path.startsWith(found + u'/'))
                << neighbour << " would go with " << found.toStdString();
        }
    }
}

const DiscoveryCase kApplications[] = {
    // GNOME Text Editor installed twice: as a Debian package and from Flathub.
    // The Flatpak export comes first in XDG_DATA_DIRS, so its entry is the
    // application and its container is searched. Entry: upstream's
    // org.gnome.TextEditor.desktop.in.in, with the Exec line and X-Flatpak key
    // that flatpak writes into exports. Files: upstream's editor-session.c and
    // editor-print-operation.c keep drafts and print settings in
    // $XDG_DATA_HOME/org.gnome.TextEditor; in the sandbox that is the
    // container's data folder; a GSettings keyfile lives in its config folder.
    {"gnomeTextEditorFlatpakWinsOverThePackage",
     {{"/usr/share/applications/org.gnome.TextEditor.desktop",
       "Name=Text Editor\nExec=gnome-text-editor %U\nDBusActivatable=true\n"
       "Icon=org.gnome.TextEditor\n"},
      {"/var/lib/flatpak/exports/share/applications/org.gnome.TextEditor.desktop",
       "Name=Text Editor\nExec=/usr/bin/flatpak run --branch=stable --arch=x86_64 "
       "--command=gnome-text-editor --file-forwarding org.gnome.TextEditor @@u %U @@\n"
       "DBusActivatable=true\nIcon=org.gnome.TextEditor\nX-Flatpak=org.gnome.TextEditor\n"}},
     "org.gnome.TextEditor",
     "org.gnome.TextEditor",
     {"~/.local/share/org.gnome.TextEditor/drafts/5f1c9a",
      "~/.local/share/org.gnome.TextEditor/print-settings",
      "~/.var/app/org.gnome.TextEditor/config/glib-2.0/settings/keyfile",
      "~/.var/app/org.gnome.TextEditor/data/org.gnome.TextEditor/session.gvariant",
      "~/.var/app/org.gnome.TextEditor/cache/fontconfig/a1b2c3-le64.cache-9"},
     {"~/.local/share/gtksourceview-5/styles/custom.xml"},
     {{"~/.local/share/org.gnome.TextEditor", "id org.gnome.TextEditor"},
      {"~/.var/app/org.gnome.TextEditor/config", "id org.gnome.TextEditor, container"},
      {"~/.var/app/org.gnome.TextEditor/data", "id org.gnome.TextEditor, container"}},
     {{"~/.var/app/org.gnome.TextEditor/cache", "id org.gnome.TextEditor, container"}}},

    // gedit. Entry: upstream org.gnome.gedit.desktop (Exec=gedit %U). Files:
    // firejail's gedit profile (~/.config/gedit, and enchant's dictionaries it
    // uses); style schemes in ~/.local/share/gedit/styles, where gedit's theme
    // installers put them, and plug-ins beside them.
    {"gedit",
     {{"/usr/share/applications/org.gnome.gedit.desktop",
       "Name=gedit\nExec=gedit %U\nIcon=org.gnome.gedit\n"}},
     "org.gnome.gedit.desktop",
     "org.gnome.gedit",
     {"~/.config/gedit/accels", "~/.local/share/gedit/plugins/wordcount.plugin",
      "~/.local/share/gedit/styles/solarized.xml"},
     {"~/.config/enchant/en_US.dic"},
     {{"~/.config/gedit", "name gedit"}, {"~/.local/share/gedit", "name gedit"}},
     {}},

    // Nautilus, chosen by its Name, which is not its program. Entry: upstream
    // org.gnome.Nautilus.desktop. Files: user scripts in
    // $XDG_DATA_HOME/nautilus/scripts (Nautilus' help); nautilus-python, a
    // separate package, reads its extensions from ~/.local/share/nautilus-python.
    {"nautilusByItsName",
     {{"/usr/share/applications/org.gnome.Nautilus.desktop",
       "Name=Files\nExec=nautilus --new-window %U\nDBusActivatable=true\n"
       "Icon=org.gnome.Nautilus\n"}},
     "Files",
     "org.gnome.Nautilus",
     {"~/.local/share/nautilus/scripts/Open Terminal Here"},
     {"~/.local/share/nautilus-python/extensions/compare.py"},
     {{"~/.local/share/nautilus", "name nautilus"}},
     {}},

    // Okular. Entry: upstream org.kde.okular.desktop. Files: firejail's
    // okular profile (~/.config/okularrc, ~/.local/share/okular, ~/.cache/okular);
    // the GUI layout in kxmlgui5 is KXmlGui's shared folder.
    {"okular",
     {{"/usr/share/applications/org.kde.okular.desktop",
       "Name=Okular\nExec=okular %U\nIcon=okular\n"}},
     "org.kde.okular",
     "org.kde.okular",
     {"~/.config/okularrc", "~/.local/share/okular/docdata/1234.report.pdf.xml",
      "~/.cache/okular/thumbnails"},
     {"~/.local/share/kxmlgui5/okular/part.rc"},
     {{"~/.config/okularrc", "rc okular"}, {"~/.local/share/okular", "name okular"}},
     {{"~/.cache/okular", "name okular"}}},

    // Kate. Entry: upstream org.kde.kate.desktop (Exec=kate -b %U). Files:
    // katerc and ~/.local/share/kate from firejail's kate profile; the external
    // tools plug-in opens "kate-externaltoolspluginrc" (its source) and keeps
    // its tools in ~/.config/kate/externaltools. katepartrc, kateschemarc,
    // katevirc and katesyntaxhighlightingrc belong to KTextEditor, which KWrite
    // and KDevelop share; kwriterc is KWrite's.
    {"kate",
     {{"/usr/share/applications/org.kde.kate.desktop", "Name=Kate\nExec=kate -b %U\nIcon=kate\n"}},
     "org.kde.kate",
     "org.kde.kate",
     {"~/.config/katerc", "~/.config/kate-externaltoolspluginrc",
      "~/.config/kate/externaltools/git-blame.ini",
      "~/.local/share/kate/sessions/work.katesession"},
     {"~/.config/katepartrc", "~/.config/kateschemarc", "~/.config/katevirc",
      "~/.config/katesyntaxhighlightingrc", "~/.config/kwriterc"},
     {{"~/.config/kate", "name kate"},
      {"~/.config/kate-externaltoolspluginrc", "rc kate"},
      {"~/.config/katerc", "rc kate"},
      {"~/.local/share/kate", "name kate"}},
     {}},

    // Dolphin. Entry: upstream org.kde.dolphin.desktop. Files: dolphinrc and
    // ~/.local/share/dolphin/view_properties, as users back them up; baloofilerc
    // is Baloo's (the file indexer) and session/ is the session manager's.
    {"dolphin",
     {{"/usr/share/applications/org.kde.dolphin.desktop",
       "Name=Dolphin\nExec=dolphin %u\nIcon=system-file-manager\n"}},
     "org.kde.dolphin",
     "org.kde.dolphin",
     {"~/.config/dolphinrc", "~/.local/share/dolphin/view_properties/global/.directory"},
     {"~/.config/baloofilerc", "~/.config/session/dolphin_dolphin_dolphin",
      "~/.local/share/kxmlgui5/dolphin/dolphinui.rc"},
     {{"~/.config/dolphinrc", "rc dolphin"}, {"~/.local/share/dolphin", "name dolphin"}},
     {}},

    // Visual Studio Code (Electron), the Debian package. Entry: upstream's
    // resources/linux/code.desktop with the package's values (Exec
    // /usr/share/code/code, StartupWMClass=Code). Files: firejail's code
    // profile: ~/.config/Code, and "Code - OSS" for the open-source build;
    // extensions go to ~/.vscode, which no search reaches.
    {"visualStudioCode",
     {{"/usr/share/applications/code.desktop",
       "Name=Visual Studio Code\nExec=/usr/share/code/code %F\nStartupWMClass=Code\n"
       "Icon=vscode\n"}},
     "code",
     "code",
     {"~/.config/Code/User/settings.json", "~/.vscode/extensions/extensions.json"},
     {"~/.config/Code - OSS/User/settings.json"},
     {{"~/.config/Code", "id code"}},
     {}},

    // VS Code's URL handler: NoDisplay, never listed, yet chosen by its ID. Its
    // program is VS Code's, so it finds VS Code's folder by that name. Entry:
    // upstream's resources/linux/code-url-handler.desktop.
    {"hiddenUrlHandlerChosenById",
     {{"/usr/share/applications/code.desktop",
       "Name=Visual Studio Code\nExec=/usr/share/code/code %F\nStartupWMClass=Code\n"},
      {"/usr/share/applications/code-url-handler.desktop",
       "Name=Visual Studio Code - URL Handler\nExec=/usr/share/code/code --open-url %U\n"
       "NoDisplay=true\nMimeType=x-scheme-handler/vscode;\n"}},
     "code-url-handler.desktop",
     "code-url-handler",
     {"~/.config/Code/User/globalStorage/state.vscdb"},
     {},
     {{"~/.config/Code", "name code"}},
     {}},

    // Discord (Electron). Entry: the discord.desktop of Discord's package
    // (StartupWMClass=discord). Files: firejail's discord and discord-canary
    // profiles: the Canary build keeps its own ~/.config/discordcanary.
    {"discord",
     {{"/usr/share/applications/discord.desktop",
       "Name=Discord\nStartupWMClass=discord\nExec=/usr/share/discord/Discord\nIcon=discord\n"}},
     "Discord",
     "discord",
     {"~/.config/discord/settings.json", "~/.config/discord/Local Storage/leveldb/CURRENT"},
     {"~/.config/discordcanary/settings.json"},
     {{"~/.config/discord", "id discord"}},
     {}},

    // Slack (Electron). Entry: slack.desktop of Slack's package. Files:
    // firejail's slack profile (~/.config/Slack).
    {"slack",
     {{"/usr/share/applications/slack.desktop", "Name=Slack\nExec=/usr/bin/slack %U\n"}},
     "slack",
     "slack",
     {"~/.config/Slack/storage/root-state.json"},
     {},
     {{"~/.config/Slack", "id slack"}},
     {}},

    // Signal (Electron): its folder carries the StartupWMClass, not the ID.
    // Entry: signal-desktop.desktop of Signal's package. Files: firejail's
    // signal-desktop profile (~/.config/Signal).
    {"signalByItsWindowClass",
     {{"/usr/share/applications/signal-desktop.desktop",
       "Name=Signal\nExec=/opt/Signal/signal-desktop --no-sandbox %U\nStartupWMClass=Signal\n"
       "Icon=signal-desktop\n"}},
     "signal-desktop",
     "signal-desktop",
     {"~/.config/Signal/config.json", "~/.config/Signal/sql/db.sqlite"},
     {},
     {{"~/.config/Signal", "name signal"}},
     {}},

    // Telegram: the ID's last part is "desktop", the data folder is the window
    // class. Entry: upstream lib/xdg/org.telegram.desktop.desktop. Files:
    // firejail's telegram profile (~/.local/share/TelegramDesktop).
    {"telegramByItsWindowClass",
     {{"/usr/share/applications/org.telegram.desktop.desktop",
       "Name=Telegram\nTryExec=Telegram\nExec=Telegram -- %u\nIcon=org.telegram.desktop\n"
       "StartupWMClass=TelegramDesktop\n"}},
     "Telegram",
     "org.telegram.desktop",
     {"~/.local/share/TelegramDesktop/tdata/settingss"},
     {"~/.local/share/desktop-directories/telegram.directory"},
     {{"~/.local/share/TelegramDesktop", "name telegramdesktop"}},
     {}},

    // Firefox from the Snap Store. Entry: the export snapd writes as
    // firefox_firefox.desktop. Files: the snap keeps its profile in
    // ~/snap/firefox/common/.mozilla/firefox, where the tools that read
    // Firefox profiles look for it; a Debian Firefox ESR left ~/.mozilla and
    // ~/.cache/mozilla behind (firejail's firefox profile).
    {"firefoxSnap",
     {{"/var/lib/snapd/desktop/applications/firefox_firefox.desktop",
       "Name=Firefox Web Browser\nX-SnapInstanceName=firefox\n"
       "Exec=env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/"
       "firefox_firefox.desktop /snap/bin/firefox %u\n"
       "Icon=/snap/firefox/4336/default256.png\n"}},
     "firefox_firefox",
     "firefox_firefox",
     {"~/snap/firefox/common/.mozilla/firefox/profiles.ini",
      "~/snap/firefox/4336/.config/ibus/bus/"},
     {"~/.mozilla/firefox/profiles.ini", "~/.cache/mozilla/firefox/abcd.default-esr/cache2"},
     {{"~/snap/firefox", "name firefox, container"}},
     {}},

    // Firefox from Flathub. Entry: org.mozilla.firefox.desktop as flatpak
    // exports it. Files: the sandbox's config, data and cache folders flatpak
    // makes; the cache holds Firefox's ~/.cache/mozilla.
    {"firefoxFlatpak",
     {{"/var/lib/flatpak/exports/share/applications/org.mozilla.firefox.desktop",
       "Name=Firefox\nExec=/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=firefox "
       "--file-forwarding org.mozilla.firefox @@u %u @@\nStartupWMClass=firefox\n"
       "X-Flatpak=org.mozilla.firefox\n"}},
     "org.mozilla.firefox",
     "org.mozilla.firefox",
     {"~/.var/app/org.mozilla.firefox/config/pulse/cookie", "~/.var/app/org.mozilla.firefox/data/",
      "~/.var/app/org.mozilla.firefox/cache/mozilla/firefox/abcd.default-release/startupCache"},
     {"~/.var/app/org.mozilla.Thunderbird/config/"},
     {{"~/.var/app/org.mozilla.firefox/config", "id org.mozilla.firefox, container"},
      {"~/.var/app/org.mozilla.firefox/data", "id org.mozilla.firefox, container"}},
     {{"~/.var/app/org.mozilla.firefox/cache", "id org.mozilla.firefox, container"}}},

    // Spotify from Flathub after the Debian package: the Flatpak's name is its
    // window class, so the package's leftovers go too. Entry: Flathub's
    // com.spotify.Client.desktop as flatpak exports it. Files: firejail's
    // spotify profile (~/.config/spotify, ~/.cache/spotify, and
    // ~/.config/spotify-adblock of the separate spotify-adblock project).
    {"spotifyFlatpakAfterThePackage",
     {{"/var/lib/flatpak/exports/share/applications/com.spotify.Client.desktop",
       "Name=Spotify\nExec=/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=spotify "
       "--file-forwarding com.spotify.Client @@u %U @@\nStartupWMClass=Spotify\n"
       "Icon=com.spotify.Client\nX-Flatpak=com.spotify.Client\n"}},
     "Spotify",
     "com.spotify.Client",
     {"~/.var/app/com.spotify.Client/config/spotify/prefs", "~/.var/app/com.spotify.Client/data/",
      "~/.var/app/com.spotify.Client/cache/spotify/Data/0a/0a1b", "~/.config/spotify/prefs",
      "~/.cache/spotify/Storage/index.dat"},
     {"~/.config/spotify-adblock/config.toml"},
     {{"~/.config/spotify", "name spotify"},
      {"~/.var/app/com.spotify.Client/config", "id com.spotify.Client, container"},
      {"~/.var/app/com.spotify.Client/data", "id com.spotify.Client, container"}},
     {{"~/.cache/spotify", "name spotify"},
      {"~/.var/app/com.spotify.Client/cache", "id com.spotify.Client, container"}}},

    // htop, a terminal program. Entry: upstream htop.desktop (Terminal=true).
    // Files: its Settings.c writes $XDG_CONFIG_HOME/htop/htoprc; /etc/htoprc is
    // the system-wide default, outside /etc/xdg.
    {"htopInATerminal",
     {{"/usr/share/applications/htop.desktop", "Name=Htop\nExec=htop\nTerminal=true\nIcon=htop\n"}},
     "htop",
     "htop",
     {"~/.config/htop/htoprc"},
     {"/etc/htoprc"},
     {{"~/.config/htop", "id htop"}},
     {}},

    // Neovim, a terminal program using all four XDG folders. Entry: upstream
    // runtime/nvim.desktop. Files: firejail's nvim profile (~/.config/nvim,
    // ~/.local/share/nvim, ~/.local/state/nvim, ~/.cache/nvim); Vim's ~/.vimrc
    // and ~/.vim lie in the home folder itself.
    {"neovimInATerminal",
     {{"/usr/share/applications/nvim.desktop",
       "Name=Neovim\nTryExec=nvim\nExec=nvim %F\nTerminal=true\nIcon=nvim\n"}},
     "Neovim",
     "nvim",
     {"~/.config/nvim/init.lua", "~/.local/share/nvim/lazy/lazy.nvim/README.md",
      "~/.local/state/nvim/shada/main.shada", "~/.cache/nvim/luac/init.luac"},
     {"~/.vimrc", "~/.vim/autoload/plug.vim"},
     {{"~/.config/nvim", "id nvim"}, {"~/.local/share/nvim", "id nvim"}},
     {{"~/.cache/nvim", "id nvim"}, {"~/.local/state/nvim", "id nvim"}}},

    // GIMP 2.10, the Debian package. Entry: upstream desktop/gimp.desktop.in.in
    // with GIMP_COMMAND gimp-2.10. Files: firejail's gimp profile
    // (~/.config/GIMP, ~/.cache/gimp); babl's and GEGL's caches belong to
    // those libraries, which GNOME Photos uses too.
    {"gimp",
     {{"/usr/share/applications/gimp.desktop",
       "Name=GNU Image Manipulation Program\nExec=gimp-2.10 %U\nTryExec=gimp-2.10\n"
       "Icon=gimp\nStartupWMClass=gimp-2.10\n"}},
     "gimp",
     "gimp",
     {"~/.config/GIMP/2.10/gimprc", "~/.config/GIMP/2.10/sessionrc",
      "~/.cache/gimp/2.10/fonts.conf"},
     {"~/.cache/babl/babl-fishes", "~/.cache/gegl-0.4/swap/gegl-swap-1234-0-shared"},
     {{"~/.config/GIMP", "id gimp"}},
     {{"~/.cache/gimp", "id gimp"}}},

    // VLC, chosen by its Name. Entry: upstream share/vlc.desktop.in. Files:
    // firejail's vlc profile (~/.config/vlc, ~/.local/share/vlc, ~/.cache/vlc;
    // libaacs' ~/.config/aacs and libdvdcss' ~/.dvdcss, which VLC reads).
    {"vlcByItsName",
     {{"/usr/share/applications/vlc.desktop",
       "Name=VLC media player\nExec=/usr/bin/vlc --started-from-file %U\n"
       "TryExec=/usr/bin/vlc\nIcon=vlc\n"}},
     "VLC media player",
     "vlc",
     {"~/.config/vlc/vlcrc", "~/.config/vlc/vlc-qt-interface.conf", "~/.local/share/vlc/ml.xspf",
      "~/.cache/vlc/art/artistalbum/x/art.jpg"},
     {"~/.config/aacs/KEYDB.cfg", "~/.dvdcss/0a1b2c3d/00000.key"},
     {{"~/.config/vlc", "id vlc"}, {"~/.local/share/vlc", "id vlc"}},
     {{"~/.cache/vlc", "id vlc"}}},

    // LibreOffice Writer: its program names the suite's folder. Entry:
    // Debian's libreoffice-writer.desktop. Files: firejail's libreoffice
    // profile (~/.config/libreoffice; GVfs metadata is the desktop's).
    {"libreOfficeWriter",
     {{"/usr/share/applications/libreoffice-writer.desktop",
       "Name=LibreOffice Writer\nExec=libreoffice --writer %U\nIcon=libreoffice-writer\n"
       "StartupWMClass=libreoffice-writer\n"}},
     "LibreOffice Writer",
     "libreoffice-writer",
     {"~/.config/libreoffice/4/user/registrymodifications.xcu"},
     {},
     {{"~/.config/libreoffice", "name libreoffice"}},
     {}},

    // Thunderbird keeps its profiles in ~/.thunderbird, which no search reaches
    // (a catalogue entry would have to add it); its cache is found. Entry: the
    // thunderbird.desktop distributions install. Files: firejail's thunderbird
    // profile (~/.thunderbird, ~/.cache/thunderbird); ~/.cache/mozilla is
    // Firefox's.
    {"thunderbird",
     {{"/usr/share/applications/thunderbird.desktop",
       "Name=Thunderbird Mail\nExec=thunderbird %u\nIcon=thunderbird\n"}},
     "thunderbird",
     "thunderbird",
     {"~/.thunderbird/profiles.ini", "~/.cache/thunderbird/abcd.default-release/cache2/index"},
     {"~/.cache/mozilla/firefox/efgh.default-release/cache2/index"},
     {},
     {{"~/.cache/thunderbird", "id thunderbird"}}},

    // Inkscape. Entry: upstream org.inkscape.Inkscape.desktop. Files:
    // firejail's inkscape profile (~/.config/inkscape, ~/.cache/inkscape; it
    // reads GIMP's palettes in ~/.config/GIMP).
    {"inkscape",
     {{"/usr/share/applications/org.inkscape.Inkscape.desktop",
       "Name=Inkscape\nTryExec=inkscape\nExec=inkscape %F\nIcon=org.inkscape.Inkscape\n"}},
     "org.inkscape.Inkscape",
     "org.inkscape.Inkscape",
     {"~/.config/inkscape/preferences.xml", "~/.cache/inkscape/extension-manager/index.json"},
     {"~/.config/GIMP/2.10/palettes/Default.gpl", "~/.inkscape/extensions/"},
     {{"~/.config/inkscape", "name inkscape"}},
     {{"~/.cache/inkscape", "name inkscape"}}},

    // Audacity 3: a program started through env. Entry: Ubuntu's
    // audacity.desktop (Exec=env UBUNTU_MENUPROXY=0 audacity %F). Files:
    // firejail's audacity profile (~/.config/audacity, ~/.local/share/audacity,
    // ~/.local/state/audacity, ~/.cache/audacity; ~/.audacity-data of old
    // versions lies in the home folder).
    {"audacityStartedThroughEnv",
     {{"/usr/share/applications/audacity.desktop",
       "Name=Audacity\nExec=env UBUNTU_MENUPROXY=0 audacity %F\nIcon=audacity\n"}},
     "Audacity",
     "audacity",
     {"~/.config/audacity/audacity.cfg", "~/.local/share/audacity/modules/",
      "~/.local/state/audacity/lastlog.txt", "~/.cache/audacity/SessionData/"},
     {"~/.audacity-data/audacity.cfg"},
     {{"~/.config/audacity", "id audacity"}, {"~/.local/share/audacity", "id audacity"}},
     {{"~/.cache/audacity", "id audacity"}, {"~/.local/state/audacity", "id audacity"}}},

    // Transmission's GTK program writes to folders named "transmission", a
    // name its entry never gives; they are the catalogue's to add. The daemon,
    // another program, keeps ~/.config/transmission-daemon. Entry: upstream
    // gtk/transmission-gtk.desktop.in. Files: firejail's transmission-common
    // profile and transmission-daemon's documentation.
    {"transmissionGtk",
     {{"/usr/share/applications/transmission-gtk.desktop",
       "Name=Transmission\nExec=transmission-gtk %U\nTryExec=transmission-gtk\n"
       "Icon=transmission\n"}},
     "transmission-gtk",
     "transmission-gtk",
     {"~/.config/transmission/settings.json", "~/.cache/transmission/"},
     {"~/.config/transmission-daemon/settings.json"},
     {},
     {}},

    // KeePassXC. Entry: upstream share/linux/org.keepassxc.KeePassXC.desktop.in.
    // Files: its Config.cpp writes ~/.config/keepassxc/keepassxc.ini and the
    // local state ~/.cache/keepassxc/keepassxc.ini; KeePass 2 (under Mono)
    // keeps ~/.config/KeePass (keepass.info's configuration page).
    {"keePassXc",
     {{"/usr/share/applications/org.keepassxc.KeePassXC.desktop",
       "Name=KeePassXC\nExec=keepassxc %f\nTryExec=keepassxc\nIcon=keepassxc\n"
       "StartupWMClass=keepassxc\n"}},
     "KeePassXC",
     "org.keepassxc.KeePassXC",
     {"~/.config/keepassxc/keepassxc.ini", "~/.cache/keepassxc/keepassxc.ini"},
     {"~/.config/KeePass/KeePass.config.xml"},
     {{"~/.config/keepassxc", "name keepassxc"}},
     {{"~/.cache/keepassxc", "name keepassxc"}}},

    // Remmina: its program is a wrapper script with another name. Entry:
    // upstream data/desktop/org.remmina.Remmina.desktop.in. Files: firejail's
    // remmina profile (~/.config/remmina, ~/.local/share/remmina; ~/.remmina
    // of old versions).
    {"remminaStartedThroughAWrapper",
     {{"/usr/share/applications/org.remmina.Remmina.desktop",
       "Name=Remmina\nTryExec=remmina-file-wrapper\nExec=remmina-file-wrapper %U\n"
       "Icon=org.remmina.Remmina\nStartupWMClass=org.remmina.Remmina\n"}},
     "Remmina",
     "org.remmina.Remmina",
     {"~/.config/remmina/remmina.pref", "~/.local/share/remmina/group_rdp_office.remmina"},
     {"~/.remmina/remmina.pref"},
     {{"~/.config/remmina", "name remmina"}, {"~/.local/share/remmina", "name remmina"}},
     {}},

    // qBittorrent, a Qt program with an rc file under Plasma. Entry: upstream
    // dist/unix/org.qbittorrent.qBittorrent.desktop. Files: firejail's
    // qbittorrent profile (~/.config/qBittorrent, ~/.config/qBittorrentrc,
    // ~/.local/share/qBittorrent, ~/.cache/qBittorrent, and Qt 4's
    // ~/.local/share/data/qBittorrent one level deeper).
    {"qBittorrent",
     {{"/usr/share/applications/org.qbittorrent.qBittorrent.desktop",
       "Name=qBittorrent\nExec=qbittorrent %U\nIcon=qbittorrent\nStartupWMClass=qbittorrent\n"}},
     "qBittorrent",
     "org.qbittorrent.qBittorrent",
     {"~/.config/qBittorrent/qBittorrent.conf", "~/.config/qBittorrentrc",
      "~/.local/share/qBittorrent/BT_backup/0a1b.fastresume", "~/.cache/qBittorrent/"},
     {"~/.local/share/data/qBittorrent/nova3/engines/"},
     {{"~/.config/qBittorrent", "name qbittorrent"},
      {"~/.config/qBittorrentrc", "rc qbittorrent"},
      {"~/.local/share/qBittorrent", "name qbittorrent"}},
     {{"~/.cache/qBittorrent", "name qbittorrent"}}},

    // Thunar, with the custom actions its package installs in /etc/xdg. Entry:
    // upstream thunar.desktop. Files: Thunar's documentation (accels.scm and
    // uca.xml in ~/.config/Thunar; the package's /etc/xdg/Thunar/uca.xml);
    // /etc/xdg/menus is the menu system's.
    {"thunarWithSystemDefaults",
     {{"/usr/share/applications/thunar.desktop",
       "Name=Thunar File Manager\nExec=thunar %F\nIcon=org.xfce.thunar\n"}},
     "Thunar File Manager",
     "thunar",
     {"~/.config/Thunar/accels.scm", "~/.config/Thunar/uca.xml", "/etc/xdg/Thunar/uca.xml"},
     {"/etc/xdg/menus/xfce-applications.menu"},
     {{"~/.config/Thunar", "id thunar"}, {"/etc/xdg/Thunar", "id thunar"}},
     {}},

    // A launcher the user made for trash-cli's "trash" command: the desktop's
    // own Trash is never the application's. Files: the desktop's Trash in
    // $XDG_DATA_HOME/Trash, where trash-cli's README says it puts files.
    {"userLauncherNamedLikeTheTrash",
     {{"~/.local/share/applications/trash.desktop", "Name=Move to Trash\nExec=trash %F\n"}},
     "trash",
     "trash",
     {},
     {"~/.local/share/Trash/files/report.pdf"},
     {},
     {}},
};

INSTANTIATE_TEST_SUITE_P(RealLayouts, LinuxDiscovery, testing::ValuesIn(kApplications),
                         [](const testing::TestParamInfo<DiscoveryCase>& param) {
                             return std::string(param.param.name);
                         });

// Single files that real layouts put near an application's own: files it
// writes in places a plain name rule misses, and files of others that a
// careless rule would take. Each says what a wrong answer would mean.
struct EdgeFileCase {
    const char* name;
    EntryFile entry;
    const char* argument;
    const char* ownFile;     // found today already; nullptr: none
    const char* file;        // the file the fault is about
    bool belongs;            // whether the file is the application's
    bool isCache;            // for the application's own file: which list it belongs in
    const char* wrongAnswer; // what taking (or missing) the file would mean
};

void PrintTo(const EdgeFileCase& c, std::ostream* out) {
    *out << c.name;
}

class LinuxDiscoveryEdgeFiles : public testing::TestWithParam<EdgeFileCase> {};

TEST_P(LinuxDiscoveryEdgeFiles, FileGoesWhereItBelongs) {
    const EdgeFileCase& c = GetParam();
    DesktopWorld world;
    world.make(QString::fromUtf8(c.entry.path), desktopEntry(c.entry.lines));
    world.make(QString::fromUtf8(c.file));
    if (c.ownFile)
        world.make(QString::fromUtf8(c.ownFile));
    LinuxDesktop desktop;
    const QList<ApplicationTarget> targets =
        desktop.applicationsForArgument(QString::fromUtf8(c.argument), nullptr);
    ASSERT_EQ(targets.size(), 1);
    ApplicationSearchResults results;
    desktop.findApplicationSettings(targets.first(), *desktop.makeDomainMatcher({}), results,
                                    nullptr);
    const auto holds = [&world](const QList<QUrl>& urls, const char* place) {
        const QString file = world.path(QString::fromUtf8(place));
        for (const QUrl& url : urls) {
            if (file == url.toLocalFile() || file.startsWith(url.toLocalFile() + u'/'))
                return true;
        }
        return false;
    };
    const QList<QUrl> everything = results.appAdditionalPreferenceFiles + results.appCacheFiles;
    if (c.ownFile) {
        EXPECT_TRUE(holds(everything, c.ownFile)) << c.ownFile;
    }
    const bool inPreferences = holds(results.appAdditionalPreferenceFiles, c.file);
    const bool inCaches = holds(results.appCacheFiles, c.file);
    const bool taken = inPreferences || inCaches;
    ASSERT_EQ(taken, c.belongs) << c.wrongAnswer;
    if (c.belongs) {
        EXPECT_EQ(inCaches, c.isCache);
        EXPECT_EQ(inPreferences, !c.isCache);
    }
}

const EdgeFileCase kEdgeFiles[] = {
    // KConfig's openStateConfig() writes "<application>staterc" to
    // $XDG_STATE_HOME (kconfig's ksharedconfig.h; Dolphin and Okular use it
    // since KDE Gear 23.08, as firejail's okular profile lists).
    {"dolphinStateFile",
     {"/usr/share/applications/org.kde.dolphin.desktop", "Name=Dolphin\nExec=dolphin %u\n"},
     "org.kde.dolphin",
     "~/.config/dolphinrc",
     "~/.local/state/dolphinstaterc",
     true,
     true,
     "KDE's state files \"<name>staterc\" in XDG_STATE_HOME are not taken: the rc rule is applied "
     "to configuration folders only and wants \"<name>rc\" or \"<name>-*rc\""},
    {"okularStateFile",
     {"/usr/share/applications/org.kde.okular.desktop", "Name=Okular\nExec=okular %U\n"},
     "org.kde.okular",
     "~/.config/okularrc",
     "~/.local/state/okularstaterc",
     true,
     true,
     "KDE's state files \"<name>staterc\" in XDG_STATE_HOME are not taken"},
    // Firefox's Flatpak keeps its profile at the top of the sandbox's home,
    // ~/.var/app/org.mozilla.firefox/.mozilla/firefox, where the tools that
    // read Firefox profiles look for it (newer releases move it to config/).
    {"firefoxFlatpakProfile",
     {"/var/lib/flatpak/exports/share/applications/org.mozilla.firefox.desktop",
      "Name=Firefox\nExec=/usr/bin/flatpak run --command=firefox org.mozilla.firefox @@u %u @@\n"
      "X-Flatpak=org.mozilla.firefox\n"},
     "org.mozilla.firefox",
     "~/.var/app/org.mozilla.firefox/cache/mozilla/firefox/x.default-release/startupCache",
     "~/.var/app/org.mozilla.firefox/.mozilla/firefox/profiles.ini",
     true,
     false,
     "only the config, data and cache folders of a Flatpak's ~/.var/app/<id> are searched; "
     "dot-folders at its top (Firefox's .mozilla) are left behind"},
    // Users sandbox an application by editing its entry to run it through
    // firejail (firejail's documentation; the sed line of a Debian hardening
    // script: "Exec=firejail /usr/bin/thunderbird %u"), and keep their own
    // firejail profiles in ~/.config/firejail (firejail(1)).
    {"firejailLauncherIsNotTheApplication",
     {"~/.local/share/applications/thunderbird.desktop",
      "Name=Thunderbird Mail\nExec=firejail /usr/bin/thunderbird %u\n"},
     "thunderbird",
     "~/.cache/thunderbird/abcd.default-release/cache2/index",
     "~/.config/firejail/thunderbird.local",
     false,
     false,
     "an entry run through firejail names \"firejail\" as its program, so firejail's own "
     "~/.config/firejail (every sandboxed application's profiles) is taken, and any sandboxed "
     "program counts as the application running"},
};

INSTANTIATE_TEST_SUITE_P(RealLayouts, LinuxDiscoveryEdgeFiles, testing::ValuesIn(kEdgeFiles),
                         [](const testing::TestParamInfo<EdgeFileCase>& param) {
                             return std::string(param.param.name);
                         });

} // namespace
