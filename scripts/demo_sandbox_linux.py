#!/usr/bin/env python3
"""Builds a sandbox Linux desktop that shows Sorvane's jobs on desktop
applications: a home folder with the XDG folders, and a system root with
/usr/share, /etc/xdg, /var/cache and the Flatpak and Snap export folders.
Its applications carry the desktop entries their packages install (IDs, names,
Exec, StartupWMClass, Flatpak and Snap keys) and leave the files those
applications write, filled with small plausible settings; icons come from a
hicolor theme in the sandbox. Nothing outside the given folder is touched.

The layout (HOME is <folder>/home, the system root <folder>/system):
  XDG_CONFIG_HOME  ~/.config        XDG_DATA_HOME   ~/.local/share
  XDG_CACHE_HOME   ~/.cache         XDG_STATE_HOME  ~/.local/state
  XDG_DATA_DIRS    <system>/usr/share
  XDG_CONFIG_DIRS  <system>/etc/xdg
"""

import os
import shutil
import subprocess
import sys
import tempfile

from demo_sandbox import png

# The hicolor theme's own description, enough for an icon loader to find the
# scalable application icons.
HICOLOR_INDEX = """[Icon Theme]
Name=Hicolor
Comment=Fallback icon theme
Hidden=true
Directories=scalable/apps

[scalable/apps]
Size=64
MinSize=8
MaxSize=512
Type=Scalable
Context=Applications
"""

# Glyphs drawn on an icon's tile, in a 64-unit square; {a} is the accent colour.
GLYPHS = {
    "page": '<rect x="18" y="12" width="28" height="40" rx="3" fill="#fff"/>'
            '<path d="M23 22h18M23 29h18M23 36h12" stroke="{a}" stroke-width="3"/>',
    "globe": '<circle cx="32" cy="32" r="18" fill="none" stroke="{a}" stroke-width="4"/>'
             '<ellipse cx="32" cy="32" rx="8" ry="18" fill="none" stroke="{a}" stroke-width="3"/>'
             '<path d="M14 32h36" stroke="{a}" stroke-width="3"/>',
    "cone": '<path d="M32 10L46 50H18z" fill="{a}"/><path d="M24 34h16M21 42h22" '
            'stroke="#fff" stroke-width="4"/>'
            '<rect x="14" y="50" width="36" height="5" fill="#fff"/>',
    "brackets": '<path d="M26 18L12 32l14 14M38 18l14 14-14 14" fill="none" stroke="{a}" '
                'stroke-width="6" stroke-linecap="round" stroke-linejoin="round"/>',
    "bars": '<path d="M16 48V34M26 48V22M36 48V28M46 48V14" stroke="{a}" stroke-width="6" '
            'stroke-linecap="round"/>',
    "prompt": '<path d="M14 22l12 10-12 10" fill="none" stroke="{a}" stroke-width="5" '
              'stroke-linecap="round" stroke-linejoin="round"/><path d="M30 44h18" stroke="{a}" '
              'stroke-width="5" stroke-linecap="round"/>',
    "folder": '<path d="M10 20h16l4 5h24v25H10z" fill="{a}"/>',
    "keys": '<g fill="{a}"><rect x="14" y="12" width="36" height="10" rx="2"/>'
            '<rect x="14" y="28" width="10" height="10" rx="2"/><rect x="27" y="28" width="10" '
            'height="10" rx="2"/><rect x="40" y="28" width="10" height="24" rx="2"/>'
            '<rect x="14" y="42" width="10" height="10" rx="2"/><rect x="27" y="42" width="10" '
            'height="10" rx="2"/></g>',
    "fox": '<circle cx="32" cy="32" r="20" fill="{a}"/><path d="M14 30c6-16 30-20 38-4'
           'c-8-6-18-4-22 4z" fill="#fff" opacity=".8"/>',
    "shield": '<path d="M32 10l18 7v13c0 12-8 20-18 24-10-4-18-12-18-24V17z" fill="{a}"/>',
    "kite": '<path d="M32 10l18 22-18 22-18-22z" fill="{a}"/><path d="M32 10v44M14 32h36" '
            'stroke="#fff" stroke-width="2"/>',
}


def svg(colour, accent, glyph):
    """A scalable application icon: a rounded tile with a simple glyph."""
    return ('<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64" viewBox="0 0 64 64">'
            f'<rect x="2" y="2" width="60" height="60" rx="13" fill="{colour}"/>'
            + GLYPHS[glyph].format(a=accent) + '</svg>\n')


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as handle:
        handle.write(data.encode() if isinstance(data, str) else data)


def symlink(target, path):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    os.symlink(target, path)


def desktop_entry(path, keys, actions=()):
    """A desktop entry with its keys in the order given, then its actions."""
    lines = ["[Desktop Entry]"] + [f"{key}={value}" for key, value in keys]
    for action, name, exec_line in actions:
        lines += ["", f"[Desktop Action {action}]", f"Name={name}", f"Exec={exec_line}"]
    write(path, "\n".join(lines) + "\n")


class Sandbox:
    def __init__(self, root):
        self.home = os.path.join(root, "home")
        self.system = os.path.join(root, "system")
        self.config = os.path.join(self.home, ".config")
        self.data = os.path.join(self.home, ".local", "share")
        self.cache = os.path.join(self.home, ".cache")
        self.state = os.path.join(self.home, ".local", "state")
        self.usr_share = os.path.join(self.system, "usr", "share")
        self.applications = os.path.join(self.usr_share, "applications")
        self.icons = os.path.join(self.usr_share, "icons", "hicolor", "scalable", "apps")

    def icon(self, name, colour, accent, glyph, folder=None):
        write(os.path.join(folder or self.icons, name + ".svg"), svg(colour, accent, glyph))

    def under(self, *parts):
        return os.path.join(self.home, *parts)

    def in_system(self, *parts):
        return os.path.join(self.system, *parts)


def gnome_text_editor(box):
    # GTK 4: settings in dconf, the session and unsaved drafts in the data folder.
    desktop_entry(os.path.join(box.applications, "org.gnome.TextEditor.desktop"), [
        ("Name", "Text Editor"), ("Name[de]", "Texteditor"), ("Name[fr]", "Éditeur de texte"),
        ("GenericName", "Text Editor"), ("Comment", "View and edit text files"),
        ("Exec", "gnome-text-editor %U"), ("Icon", "org.gnome.TextEditor"), ("Terminal", "false"),
        ("Type", "Application"), ("Categories", "GNOME;GTK;Utility;TextEditor;"),
        ("Keywords", "text;editor;plaintext;write;"), ("MimeType", "text/plain;"),
        ("StartupNotify", "true"), ("DBusActivatable", "true"), ("Actions", "new-window;")],
        [("new-window", "New Window", "gnome-text-editor --new-window")])
    box.icon("org.gnome.TextEditor", "#3584e4", "#99c1f1", "page")
    data = os.path.join(box.data, "org.gnome.TextEditor")
    write(os.path.join(data, "session.gvariant"),
          b"\x00\x00\x00\x00file:///home/demo/notes/todo.txt\x00(ss)\x00" + b"\x00" * 24)
    write(os.path.join(data, "drafts", "4f7c2b9e-3a1d-4c7e-9f21-8b0d5e6a7c31"),
          "Groceries\n- oat milk\n- coffee\n")


def gnome_web(box):
    # GTK: the profile (bookmarks, history) in the data folder, the web cache
    # in the cache folder.
    desktop_entry(os.path.join(box.applications, "org.gnome.Epiphany.desktop"), [
        ("Name", "Web"), ("GenericName", "Web Browser"), ("Comment", "Browse the web"),
        ("Exec", "epiphany %U"), ("StartupNotify", "true"), ("Terminal", "false"),
        ("Type", "Application"), ("Icon", "org.gnome.Epiphany"),
        ("Categories", "Network;GNOME;GTK;WebBrowser;"),
        ("MimeType", "text/html;x-scheme-handler/http;x-scheme-handler/https;"),
        ("DBusActivatable", "true"), ("Actions", "new-window;incognito;")],
        [("new-window", "New Window", "epiphany --new-window"),
         ("incognito", "New Incognito Window", "epiphany --incognito-mode")])
    box.icon("org.gnome.Epiphany", "#1c71d8", "#ffffff", "globe")
    profile = os.path.join(box.data, "epiphany")
    write(os.path.join(profile, "bookmarks.gvdb"), b"GVariant" + b"\x00" * 56)
    write(os.path.join(profile, "ephy-history.db"), b"SQLite format 3\x00" + b"\x00" * 84)
    write(os.path.join(profile, "session_state.xml"),
          '<?xml version="1.0"?>\n<session>\n <window x="40" y="40" width="1024" height="768">\n'
          '  <embed url="https://www.debian.org/" title="Debian"/>\n </window>\n</session>\n')
    write(os.path.join(box.cache, "epiphany", "WebKitCache", "Version 16", "Records", "0001"),
          b"x" * 8192)
    write(os.path.join(box.cache, "epiphany", "icondatabase", "favicon.db"), b"x" * 2048)


def kate(box):
    # KDE: rc files in the configuration folder (the plug-ins' as
    # kate-<plugin>rc), sessions in the data folder, the administrator's
    # defaults in /etc/xdg.
    desktop_entry(os.path.join(box.applications, "org.kde.kate.desktop"), [
        ("Type", "Application"), ("Exec", "kate -b %U"), ("Icon", "kate"), ("Name", "Kate"),
        ("GenericName", "Advanced Text Editor"), ("Comment", "KDE Advanced Text Editor"),
        ("MimeType", "text/plain;"), ("StartupNotify", "true"),
        ("X-DBUS-StartupType", "Multi"), ("InitialPreference", "9"),
        ("Categories", "Qt;KDE;Utility;TextEditor;"), ("Actions", "new-window;")],
        [("new-window", "New Window", "kate -n %U")])
    box.icon("kate", "#2b74c7", "#ffffff", "kite")
    write(os.path.join(box.config, "katerc"),
          "[General]\nConfig Revision=10\nDays Meta Infos=30\nRecent File List Entry Count=10\n"
          "Save Meta Infos=true\nShow Full Path in Title=true\n\n"
          "[KTextEditor Renderer]\nColor Theme=Breeze Light\nShow Indentation Lines=true\n\n"
          "[MainWindow]\nToolBarsMovable=Disabled\n")
    write(os.path.join(box.config, "kate-externaltoolspluginrc"),
          "[Global]\ntools=\n\n[Tool 0]\nname=Run Shell Script\nexecutable=sh\n")
    write(os.path.join(box.config, "kateschemarc"), "[Normal]\nFont=Hack,10,-1,7,50,0,0,0,0,0\n")
    write(os.path.join(box.config, "katemetainfos"),
          "[file:///home/demo/notes/todo.txt]\nEncoding=UTF-8\nMode=Normal\nMTime=1700000000\n")
    sessions = os.path.join(box.data, "kate")
    write(os.path.join(sessions, "anonymous.katesession"),
          "[Document 0]\nURL=file:///home/demo/notes/todo.txt\n\n[Open Documents]\nCount=1\n")
    write(os.path.join(sessions, "sessions", "Work.katesession"),
          "[Document 0]\nURL=file:///home/demo/work/report.md\n\n[Open Documents]\nCount=1\n")
    write(box.in_system("etc", "xdg", "katerc"),
          "[General]\nShow Full Path in Title=true\n\n"
          "[KTextEditor Document]\nIndentation Width=4\n")


def konsole(box):
    desktop_entry(os.path.join(box.applications, "org.kde.konsole.desktop"), [
        ("Type", "Application"), ("Exec", "konsole"), ("Icon", "utilities-terminal"),
        ("Name", "Konsole"), ("GenericName", "Terminal"), ("Comment", "Command line access"),
        ("Categories", "Qt;KDE;System;TerminalEmulator;"), ("StartupNotify", "true"),
        ("X-KDE-AuthorizeAction", "shell_access"), ("Actions", "NewWindow;NewTab;")],
        [("NewWindow", "Open a New Window", "konsole"),
         ("NewTab", "Open a New Tab", "konsole --new-tab")])
    box.icon("utilities-terminal", "#232629", "#3daee9", "prompt")
    write(os.path.join(box.config, "konsolerc"),
          "[Desktop Entry]\nDefaultProfile=Demo.profile\n\n[MainWindow]\nMenuBar=Disabled\n")
    write(os.path.join(box.data, "konsole", "Demo.profile"),
          "[Appearance]\nColorScheme=Breeze\nFont=Hack,11,-1,5,50,0,0,0,0,0\n\n"
          "[General]\nName=Demo\nParent=FALLBACK/\n")


def vlc_flatpak(box):
    # A Flatpak installed for the user: flatpak keeps the application below
    # ~/.local/share/flatpak/app and links its desktop entry and icon into the
    # exports; the application's own files live in its container,
    # ~/.var/app/<id>. An older Debian package of it left ~/.config/vlc and
    # friends behind.
    app_id = "org.videolan.VLC"
    flatpak = os.path.join(box.data, "flatpak")
    deploy = os.path.join(flatpak, "app", app_id, "x86_64", "stable")
    commit = "8c2f1e4b7d9a0356e1f2a3b4c5d6e7f8091a2b3c4d5e6f708192a3b4c5d6e7f8"
    active = os.path.join(deploy, commit)
    export = os.path.join(active, "export", "share")
    desktop_entry(os.path.join(export, "applications", app_id + ".desktop"), [
        ("Version", "1.0"), ("Name", "VLC media player"), ("GenericName", "Media player"),
        ("Comment", "Read, capture, broadcast your multimedia streams"),
        ("Exec", "/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=/app/bin/vlc "
                 f"--file-forwarding {app_id} --started-from-file @@u %U @@"),
        ("Icon", app_id), ("Terminal", "false"), ("Type", "Application"),
        ("Categories", "AudioVideo;Player;Recorder;"),
        ("MimeType", "application/ogg;audio/mpeg;video/mp4;video/x-matroska;"),
        ("X-KDE-Protocols", "ftp,http,https,mms,rtmp,rtsp,sftp,smb"),
        ("Keywords", "Player;Capture;DVD;Audio;Video;Server;Broadcast;"),
        ("X-Flatpak", app_id), ("StartupWMClass", "vlc")])
    box.icon(app_id, "#f28c00", "#ffffff", "cone",
             os.path.join(export, "icons", "hicolor", "scalable", "apps"))
    symlink(os.path.basename(active), os.path.join(deploy, "active"))
    symlink("x86_64/stable", os.path.join(flatpak, "app", app_id, "current"))
    # The exports link through "current" and "active", as flatpak's do.
    through_current = os.path.join(flatpak, "app", app_id, "current", "active", "export", "share")
    exports = os.path.join(flatpak, "exports", "share")
    for sub, name in [("applications", app_id + ".desktop"),
                      (os.path.join("icons", "hicolor", "scalable", "apps"), app_id + ".svg")]:
        link = os.path.join(exports, sub, name)
        symlink(os.path.relpath(os.path.join(through_current, sub, name), os.path.dirname(link)),
                link)
    # A session's profile scripts put the exports on XDG_DATA_DIRS; the
    # sandbox's XDG_DATA_DIRS is its /usr/share alone, so the icon is there too.
    box.icon(app_id, "#f28c00", "#ffffff", "cone")

    container = box.under(".var", "app", app_id)
    write(os.path.join(container, "config", "vlc", "vlcrc"),
          "[qt] # Qt interface\nqt-privacy-ask=0\nqt-recentplay=1\n\n[core] # core program\n"
          "volume-step=12.800000\nmetadata-network-access=0\n")
    write(os.path.join(container, "config", "vlc", "vlc-qt-interface.conf"),
          "[General]\nIsFirstRun=0\n\n[RecentsMRL]\nlist=file:///home/demo/Videos/holiday.mkv\n")
    write(os.path.join(container, "data", "vlc", "ml.xspf"),
          '<?xml version="1.0" encoding="UTF-8"?>\n<playlist xmlns="http://xspf.org/ns/0/" '
          'version="1">\n <title>Media Library</title>\n <trackList/>\n</playlist>\n')
    write(os.path.join(container, "cache", "vlc", "art", "artistalbum", "Demo", "art.jpg"),
          b"\xff\xd8\xff\xe0" + b"\x00" * 1020)
    write(os.path.join(container, "cache", "fontconfig", "cache.cache-8"), b"x" * 1024)
    write(os.path.join(box.config, "vlc", "vlcrc"), "[core] # core program\nvolume-step=12.8\n")
    write(os.path.join(box.data, "vlc", "ml.xspf"),
          '<?xml version="1.0" encoding="UTF-8"?>\n<playlist version="1"><trackList/></playlist>\n')
    write(os.path.join(box.cache, "vlc", "art", "arturl", "cover.jpg"), b"\xff\xd8" + b"\x00" * 510)


def flatseal_flatpak(box):
    # A Flatpak of the system installation: its export lies below
    # /var/lib/flatpak; its container is still the user's. GLib keeps a
    # sandboxed application's settings in the container's keyfile.
    app_id = "com.github.tchx84.Flatseal"
    exports = box.in_system("var", "lib", "flatpak", "exports", "share")
    desktop_entry(os.path.join(exports, "applications", app_id + ".desktop"), [
        ("Name", "Flatseal"), ("Comment", "Manage Flatpak permissions"),
        ("Exec", f"/usr/bin/flatpak run --branch=stable --arch=x86_64 --command={app_id} {app_id}"),
        ("Icon", app_id), ("Terminal", "false"), ("Type", "Application"),
        ("Categories", "Utility;"), ("StartupNotify", "true"), ("X-Flatpak", app_id)])
    box.icon(app_id, "#4a86cf", "#ffffff", "shield")
    container = box.under(".var", "app", app_id)
    write(os.path.join(container, "config", "glib-2.0", "settings", "keyfile"),
          "[com/github/tchx84/Flatseal]\nwindow-width=900\nwindow-height=640\n")
    write(os.path.join(container, "cache", "flatseal", "permissions.cache"), b"x" * 512)


def spotify_snap(box):
    # A snap: snapd writes its desktop entry as <snap>_<app>.desktop with the
    # icon's path inside the mounted snap; the snap's files live below
    # ~/snap/<snap>/<revision> (current is a link) and ~/snap/<snap>/common.
    revision = "80"
    desktop_entry(box.in_system("var", "lib", "snapd", "desktop", "applications",
                                "spotify_spotify.desktop"), [
        ("X-SnapInstanceName", "spotify"), ("Type", "Application"), ("Name", "Spotify"),
        ("GenericName", "Music Player"),
        ("Icon", box.in_system("snap", "spotify", revision, "usr", "share", "spotify", "icons",
                               "spotify-linux-128.png")),
        ("X-SnapAppName", "spotify"),
        ("Exec", "env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/"
                 "spotify_spotify.desktop /snap/bin/spotify %U"),
        ("Terminal", "false"), ("MimeType", "x-scheme-handler/spotify;"),
        ("Categories", "Audio;Music;Player;AudioVideo;"), ("StartupWMClass", "spotify")])
    write(box.in_system("snap", "spotify", revision, "usr", "share", "spotify", "icons",
                        "spotify-linux-128.png"), png(128, 128, (30, 185, 84), (25, 20, 20)))
    snap = box.under("snap", "spotify")
    write(os.path.join(snap, revision, ".config", "spotify", "prefs"),
          'language="en"\napp.autostart-configured=true\nui.track_notifications_enabled=false\n')
    write(os.path.join(snap, "common", ".cache", "spotify", "Data", "a1", "a1b2c3d4.file"),
          b"x" * 4096)
    symlink(revision, os.path.join(snap, "current"))


def code(box):
    # Electron: everything in ~/.config/<StartupWMClass>; its URL handler is
    # a second entry that no menu shows.
    desktop_entry(os.path.join(box.applications, "code.desktop"), [
        ("Name", "Visual Studio Code"), ("Comment", "Code Editing. Redefined."),
        ("GenericName", "Text Editor"), ("Exec", "/usr/share/code/code %F"), ("Icon", "vscode"),
        ("Type", "Application"), ("StartupNotify", "false"), ("StartupWMClass", "Code"),
        ("Categories", "TextEditor;Development;IDE;"),
        ("MimeType", "application/x-code-workspace;"), ("Actions", "new-empty-window;"),
        ("Keywords", "vscode;")],
        [("new-empty-window", "New Empty Window", "/usr/share/code/code --new-window %F")])
    desktop_entry(os.path.join(box.applications, "code-url-handler.desktop"), [
        ("Name", "Visual Studio Code - URL Handler"), ("Comment", "Code Editing. Redefined."),
        ("GenericName", "Text Editor"), ("Exec", "/usr/share/code/code --open-url %U"),
        ("Icon", "vscode"), ("Type", "Application"), ("NoDisplay", "true"),
        ("StartupNotify", "true"), ("Categories", "Utility;TextEditor;Development;IDE;"),
        ("MimeType", "x-scheme-handler/vscode;"), ("Keywords", "vscode;")])
    box.icon("vscode", "#0065a9", "#ffffff", "brackets")
    user = os.path.join(box.config, "Code", "User")
    write(os.path.join(user, "settings.json"),
          '{\n    "editor.fontSize": 13,\n    "editor.rulers": [100],\n'
          '    "files.trimTrailingWhitespace": true,\n    "telemetry.telemetryLevel": "off"\n}\n')
    write(os.path.join(user, "keybindings.json"),
          '[\n    { "key": "ctrl+shift+d", "command": "editor.action.copyLinesDownAction" }\n]\n')
    write(os.path.join(user, "globalStorage", "storage.json"), '{ "theme": "vs-dark" }\n')
    write(os.path.join(box.config, "Code", "Cache", "Cache_Data", "index"), b"x" * 4096)
    write(os.path.join(box.config, "Code", "logs", "20240301T101500", "main.log"),
          "[info] update#setState idle\n")
    write(box.under(".vscode", "extensions", "extensions.json"), "[]\n")


def htop(box):
    # A terminal program.
    desktop_entry(os.path.join(box.applications, "htop.desktop"), [
        ("Type", "Application"), ("Version", "1.0"), ("Name", "Htop"),
        ("GenericName", "Process Viewer"), ("Comment", "Show System Processes"),
        ("Icon", "htop"), ("Exec", "htop"), ("Terminal", "true"),
        ("Categories", "ConsoleOnly;System;Monitor;"), ("Keywords", "system;process;task")])
    box.icon("htop", "#1e1e1e", "#4ec94e", "bars")
    write(os.path.join(box.config, "htop", "htoprc"),
          "# Beware! This file is rewritten by htop when settings are changed in the interface.\n"
          "htop_version=3.2.2\nfields=0 48 17 18 38 39 40 2 46 47 49 1\nhide_kernel_threads=1\n"
          "tree_view=1\ncolor_scheme=0\ndelay=15\n")


def listed_only(box):
    # Applications the chooser lists beside the others.
    desktop_entry(os.path.join(box.applications, "org.gnome.Nautilus.desktop"), [
        ("Name", "Files"), ("Comment", "Access and organize files"),
        ("Exec", "nautilus --new-window %U"), ("Icon", "org.gnome.Nautilus"),
        ("Terminal", "false"), ("Type", "Application"), ("DBusActivatable", "true"),
        ("StartupNotify", "true"), ("Categories", "GNOME;GTK;Utility;Core;FileManager;"),
        ("MimeType", "inode/directory;")])
    box.icon("org.gnome.Nautilus", "#5e5c64", "#f6d32d", "folder")
    desktop_entry(os.path.join(box.applications, "org.gnome.Calculator.desktop"), [
        ("Name", "Calculator"), ("Comment", "Perform arithmetic, scientific or financial "
                                            "calculations"),
        ("Exec", "gnome-calculator"), ("Icon", "org.gnome.Calculator"), ("Terminal", "false"),
        ("Type", "Application"), ("StartupNotify", "true"), ("DBusActivatable", "true"),
        ("Categories", "GNOME;GTK;Utility;Calculator;")])
    box.icon("org.gnome.Calculator", "#3d3846", "#f66151", "keys")
    desktop_entry(os.path.join(box.applications, "firefox-esr.desktop"), [
        ("Name", "Firefox ESR"), ("Comment", "Browse the World Wide Web"),
        ("GenericName", "Web Browser"), ("Exec", "/usr/lib/firefox-esr/firefox-esr %u"),
        ("Terminal", "false"), ("Type", "Application"), ("Icon", "firefox-esr"),
        ("Categories", "Network;WebBrowser;"), ("StartupWMClass", "Firefox-esr"),
        ("StartupNotify", "true")])
    box.icon("firefox-esr", "#20123a", "#ff7139", "fox")


def shared_files(box):
    # What every desktop keeps and no single application owns: the search
    # must leave these alone.
    write(os.path.join(box.config, "mimeapps.list"),
          "[Default Applications]\ntext/plain=org.gnome.TextEditor.desktop\n")
    write(os.path.join(box.config, "user-dirs.dirs"), 'XDG_DOCUMENTS_DIR="$HOME/Documents"\n')
    write(os.path.join(box.config, "gtk-3.0", "bookmarks"), "file:///home/demo/Documents\n")
    write(os.path.join(box.config, "autostart", "org.kde.kate.desktop"),
          "[Desktop Entry]\nType=Application\nName=Kate\nExec=kate\nHidden=true\n")
    write(os.path.join(box.data, "recently-used.xbel"),
          '<?xml version="1.0" encoding="UTF-8"?>\n<xbel version="1.0"/>\n')
    write(os.path.join(box.data, "Trash", "info", "old.txt.trashinfo"),
          "[Trash Info]\nPath=/home/demo/old.txt\nDeletionDate=2024-03-01T10:00:00\n")
    write(os.path.join(box.data, "keyrings", "login.keyring"), b"GnomeKeyring\n" + b"\x00" * 32)
    write(os.path.join(box.cache, "fontconfig", "cache.cache-8"), b"x" * 1024)
    write(os.path.join(box.cache, "thumbnails", "normal", "0a1b2c.png"), b"\x89PNG")
    write(os.path.join(box.state, "wireplumber", "restore-stream"), "[restore-stream]\n")
    write(os.path.join(box.state, "UserFeedback.org.kde.kate"), "[Usage]\nCount=12\n")
    write(box.in_system("etc", "xdg", "user-dirs.defaults"), "DESKTOP=Desktop\n")
    write(box.in_system("etc", "xdg", "autostart", "xdg-user-dirs.desktop"),
          "[Desktop Entry]\nType=Application\nName=User folders update\n"
          "Exec=xdg-user-dirs-update\n")
    write(box.in_system("var", "cache", "fontconfig", "cache.cache-8"), b"x" * 1024)
    write(box.in_system("var", "cache", "apt", "pkgcache.bin"), b"x" * 1024)


def desktop_components(box):
    # What the desktops' own components keep, for the System Components tab:
    # GNOME's display layout and shell state, GTK's theme files, a second
    # list of default applications, the search index and file metadata, and
    # the settings files of KDE Plasma and Xfce. Their dconf values are in
    # DCONF_USER. Files that are no component's (the keyring, a launcher the
    # user made, the user's fonts) stay whatever is reset.
    write(os.path.join(box.config, "monitors.xml"),
          '<monitors version="2">\n  <configuration>\n    <logicalmonitor>\n      <x>0</x>\n'
          '      <y>0</y>\n      <scale>1</scale>\n      <primary>yes</primary>\n'
          '      <monitor>\n        <monitorspec>\n          <connector>eDP-1</connector>\n'
          '          <vendor>BOE</vendor>\n          <product>0x0a1b</product>\n'
          '          <serial>0x00000000</serial>\n        </monitorspec>\n        <mode>\n'
          '          <width>1920</width>\n          <height>1080</height>\n'
          '          <rate>60.000</rate>\n        </mode>\n      </monitor>\n'
          '    </logicalmonitor>\n  </configuration>\n</monitors>\n')
    write(os.path.join(box.data, "gnome-shell", "application_state"),
          '<?xml version="1.0"?>\n<application-state>\n  <context id="">\n'
          '    <application id="org.gnome.TextEditor.desktop" score="12" last-seen="1709287200"/>\n'
          '  </context>\n</application-state>\n')
    write(os.path.join(box.config, "gtk-3.0", "settings.ini"),
          "[Settings]\ngtk-application-prefer-dark-theme=1\n")
    write(os.path.join(box.config, "gtk-4.0", "gtk.css"), "headerbar { min-height: 38px; }\n")
    write(os.path.join(box.config, "gnome-mimeapps.list"),
          "[Default Applications]\ntext/html=org.gnome.Epiphany.desktop\n")
    write(os.path.join(box.data, "applications", "mimeapps.list"),
          "[Added Associations]\ntext/plain=org.kde.kate.desktop;\n")
    write(os.path.join(box.data, "applications", "userapp-notes.desktop"),
          "[Desktop Entry]\nType=Application\nName=Notes\nExec=notes\nNoDisplay=true\n")
    write(os.path.join(box.cache, "tracker3", "files", "meta.db"),
          b"SQLite format 3\x00" + b"\x00" * 84)
    write(os.path.join(box.data, "gvfs-metadata", "home"), b"\xda\x1ameta\x01\x00" + b"\x00" * 56)
    write(os.path.join(box.data, "fonts", "Example-Regular.ttf"),
          b"\x00\x01\x00\x00" + b"\x00" * 60)
    write(os.path.join(box.config, "kglobalshortcutsrc"),
          "[kwin]\nSwitch to Desktop 1=Meta+1,none,Switch to Desktop 1\n"
          "Overview=Meta+W,Meta+W,Toggle Overview\n")
    write(os.path.join(box.config, "plasma-org.kde.plasma.desktop-appletsrc"),
          "[Containments][1]\nformfactor=2\nlocation=4\nplugin=org.kde.panel\n\n"
          "[Containments][1][Applets][2]\nplugin=org.kde.plasma.kickoff\n")
    write(os.path.join(box.config, "plasmashellrc"),
          "[PlasmaViews][Panel 1][Defaults]\nthickness=44\n")
    write(os.path.join(box.config, "kwinrc"),
          "[Desktops]\nNumber=4\nRows=1\n\n[Plugins]\nblurEnabled=false\n")
    write(os.path.join(box.config, "kdeglobals"),
          "[General]\nColorScheme=BreezeDark\n\n[KDE]\nSingleClick=false\n")
    perchannel = os.path.join(box.config, "xfce4", "xfconf", "xfce-perchannel-xml")
    write(os.path.join(perchannel, "xfce4-panel.xml"),
          '<?xml version="1.0" encoding="UTF-8"?>\n\n<channel name="xfce4-panel" version="1.0">\n'
          '  <property name="panels" type="array">\n    <value type="int" value="1"/>\n'
          '  </property>\n</channel>\n')
    write(os.path.join(perchannel, "xfwm4.xml"),
          '<?xml version="1.0" encoding="UTF-8"?>\n\n<channel name="xfwm4" version="1.0">\n'
          '  <property name="general" type="empty">\n'
          '    <property name="theme" type="string" value="Default"/>\n'
          '  </property>\n</channel>\n')


# The user's dconf database: settings of GTK applications, the notification
# settings the desktop keeps for each application, and the desktop's own
# components (shortcuts, window behaviour, the shell, background, input,
# Night Light, Files, Terminal, proxy and IBus).
DCONF_USER = """[org/gnome/TextEditor]
style-scheme='Adwaita-dark'
custom-font='Monospace 11'
show-line-numbers=true
restore-session=true

[org/gnome/epiphany]
homepage-url='https://www.debian.org/'

[org/gnome/epiphany/web]
default-zoom-level=1.1000000000000001

[org/gnome/calculator]
button-mode='advanced'
accuracy=9

[org/gnome/desktop/notifications/application/org-gnome-texteditor]
application-id='org.gnome.TextEditor.desktop'
enable=true

[org/gnome/desktop/notifications/application/org-videolan-vlc]
application-id='org.videolan.VLC.desktop'
enable=false

[org/gnome/desktop/interface]
color-scheme='prefer-dark'

[org/gnome/desktop/wm/keybindings]
switch-to-workspace-1=['<Super>Home']
close=['<Super>q']

[org/gnome/settings-daemon/plugins/media-keys]
custom-keybindings=['/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/']

[org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0]
name='Terminal'
command='gnome-terminal'
binding='<Super>t'

[org/gnome/desktop/wm/preferences]
button-layout='appmenu:minimize,maximize,close'

[org/gnome/mutter]
edge-tiling=true
dynamic-workspaces=false

[org/gnome/shell]
favorite-apps=['org.gnome.Epiphany.desktop', 'org.gnome.Nautilus.desktop']

[org/gnome/shell/keybindings]
toggle-overview=['<Super>s']

[org/gnome/desktop/background]
picture-uri='file:///usr/share/backgrounds/gnome/blobs-l.svg'
picture-uri-dark='file:///usr/share/backgrounds/gnome/blobs-d.svg'

[org/gnome/desktop/input-sources]
sources=[('xkb', 'us'), ('xkb', 'de')]
xkb-options=['compose:ralt']

[org/gnome/desktop/peripherals/touchpad]
tap-to-click=true
natural-scroll=false

[org/gnome/settings-daemon/plugins/color]
night-light-enabled=true
night-light-temperature=uint32 3700

[org/gnome/nautilus/preferences]
default-folder-viewer='list-view'

[org/gnome/terminal/legacy]
theme-variant='dark'

[org/gnome/terminal/legacy/profiles:]
list=['b1dcc9dd-5262-4d8d-a863-c897e6d979b9']

[org/gnome/terminal/legacy/profiles:/:b1dcc9dd-5262-4d8d-a863-c897e6d979b9]
visible-name='Demo'
use-system-font=false
font='Monospace 12'

[system/proxy]
mode='manual'

[system/proxy/http]
host='proxy.example.org'
port=3128

[desktop/ibus/general]
preload-engines=['xkb:us::eng']
"""


def dconf_database(box):
    # dconf builds the binary database from key files, as an administrator
    # would; without it the sandbox simply has no dconf settings.
    if shutil.which("dconf") is None:
        print("demo_sandbox_linux.py: dconf is not installed; the sandbox has no dconf settings",
              file=sys.stderr)
        return
    with tempfile.TemporaryDirectory() as keyfiles:
        write(os.path.join(keyfiles, "00-demo"), DCONF_USER)
        os.makedirs(os.path.join(box.config, "dconf"), exist_ok=True)
        subprocess.run(["dconf", "compile", os.path.join(box.config, "dconf", "user"), keyfiles],
                       check=True)


def main(root):
    box = Sandbox(root)
    hicolor = os.path.dirname(os.path.dirname(box.icons))
    write(os.path.join(hicolor, "index.theme"), HICOLOR_INDEX)
    for make in (gnome_text_editor, gnome_web, kate, konsole, vlc_flatpak, flatseal_flatpak,
                 spotify_snap, code, htop, listed_only, shared_files, desktop_components,
                 dconf_database):
        make(box)
    for folder in (box.config, box.data, box.cache, box.state, box.in_system("var", "cache")):
        os.makedirs(folder, exist_ok=True)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: demo_sandbox_linux.py FOLDER")
    main(os.path.abspath(sys.argv[1]))
