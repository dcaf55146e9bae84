#pragma once

#include "linux/desktop_entry.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The installed applications of the Linux desktop: every desktop entry below
// the applications/ sub-folders of the XDG data folders, each desktop-file ID
// once, as the freedesktop precedence rules choose it. The environment is read
// on every call, so a changed XDG_DATA_HOME or XDG_DATA_DIRS counts at once.
class DesktopEntries {
public:
    // The data folders in precedence order: $XDG_DATA_HOME (else
    // ~/.local/share), each of $XDG_DATA_DIRS (else /usr/local/share and
    // /usr/share under the system root), then, when not listed yet, the
    // Flatpak exports and snapd's desktop folder.
    static QStringList dataFolders();
    // Every entry, the first of each desktop-file ID winning; Hidden and
    // NoDisplay entries are included with their flags set.
    static QList<DesktopEntry> all();
    // By identifier or desktop-file ID, with or without ".desktop"; Hidden and
    // NoDisplay entries are found too.
    static std::optional<DesktopEntry> withIdentifier(const QString& identifier);
    // A .desktop file anywhere: its ID follows from its place below a data
    // folder's applications/ tree, else it is its file name.
    static std::optional<DesktopEntry> atPath(const QString& path);
    // The entries whose Name or identifier equals name, ignoring case;
    // Hidden entries are left out.
    static QList<DesktopEntry> withName(const QString& name);
    // The desktop-file ID of a file below an applications/ folder: the
    // relative path with "/" turned into "-".
    static QString desktopFileIdForRelativePath(const QString& relativePath);
};
