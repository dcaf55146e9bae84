#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

#include <sys/types.h>

// Where the helper agrees to delete, copy, change attributes and check:
// beneath the settings places of each settings system, never one of those
// folders itself. For a user's home those are its Library and the Linux
// desktop's user folders (LinuxSettingsPlaces::userFolders()), and the
// legacy entries that sit directly in a home (~/.mozilla), which may be a
// target themselves; for the system its Library and the Linux desktop's
// system folders (/etc/xdg, /etc/dconf, /var/cache); for root its Library.
// It also checks the text of a path before anything touches the file system,
// and says which kind of place a target is in, because polkit is asked a
// different question for each kind.
class AllowedPlaces {
public:
    enum class Kind { CallerLibrary, OtherUserLibrary, SystemLibrary, RootLibrary };

    // A place that passed: the allowed folder it lies beneath and the path's
    // components below that folder (empty only for a folder to check).
    struct Target {
        Kind kind = Kind::SystemLibrary;
        QString home; // the home (or the system root) holding the settings folder
        // The settings folder below home ("Library", ".local/share"; empty for
        // a legacy home entry); none of its components is ever followed when
        // it is a link.
        QList<QByteArray> libraryPath{"Library"};
        QList<QByteArray> components;
        uid_t libraryUser = 0; // whose Library it is (root for the system's)
        QString path() const;
        // Whether the settings folder is one of the Linux desktop's.
        bool isLinuxPlace() const;
    };

    // callerUid comes from the bus. testHome (named at the helper's start-up,
    // never by a caller) counts as the caller's home besides the user
    // database's; otherTestHome counts as its owner's, another user's unless
    // the caller owns it.
    AllowedPlaces(uid_t callerUid, QString testHome = {}, QString otherTestHome = {});

    // Checks a path's bytes: absolute, valid UTF-8 without NUL, within
    // PATH_MAX and NAME_MAX, no empty, "." or ".." component.
    static bool isValidPath(const QByteArray& path, QString* error);
    // A defaults domain: letters, digits, '.', '_' and '-' only.
    static bool isPlainName(const QString& name);
    // The settings folders below a home (or the system root) of each kind.
    static QStringList settingsFolders(Kind kind);

    // A target strictly beneath a settings folder, or a legacy home entry.
    std::optional<Target> resolve(const QByteArray& path, QString* error) const;
    // A folder to check: a settings folder itself, or anything resolve takes.
    std::optional<Target> resolveFolder(const QByteArray& path, QString* error) const;

private:
    struct Root {
        Kind kind;
        QString home;
        uid_t user;
    };
    QList<Root> roots() const;
    std::optional<Target> find(const QByteArray& path, bool folderItself, QString* error) const;

    uid_t caller_;
    QString testHome_;
    QString otherTestHome_;
};
