#pragma once

#include <QString>
#include <QStringList>

// The folders of the Linux desktop where settings live and where Sorvane
// agrees to delete, copy or change them: the catalogues' paths must point
// into them, and the helper confines every operation to them. Paths are
// relative to a home folder or to the system root.
namespace LinuxSettingsPlaces {

// The XDG folders' defaults, Flatpak containers and Snap folders in a home.
QStringList userFolders();
// Settings folders that predate the XDG folders and sit directly in a home
// ("~/.mozilla"), each named here so that no other hidden entry of a home
// (".ssh", ".gnupg") can ever be a target.
QStringList legacyHomeEntries();
// The system's: /etc/xdg, /etc/dconf and /var/cache, below the system root.
QStringList systemFolders();

// Whether a path of the catalogues' form ("~/…" or "/…") lies strictly
// beneath one of the folders above (a legacy entry may be the path itself).
bool accepts(const QString& catalogPath);

} // namespace LinuxSettingsPlaces
