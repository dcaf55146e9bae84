#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

#include <sys/types.h>

// Where the helper agrees to delete, copy and change attributes: beneath the
// settings folders of a user's home (its Library, and on the Linux desktop its
// XDG configuration, data, state and cache folders, Flatpak containers and
// Snap folders), of the system (its Library, /etc/xdg, /var/cache) and of
// root's Library, never one of those folders itself. It also checks the text of a path before
// anything touches the file system, and says which kind of place a target is
// in, because polkit is asked a different question for each kind.
class AllowedPlaces {
public:
    enum class Kind { CallerLibrary, OtherUserLibrary, SystemLibrary, RootLibrary };

    // A place that passed: the allowed folder it lies beneath and the path's
    // components below that folder (never empty).
    struct Target {
        Kind kind = Kind::SystemLibrary;
        QString home; // the home (or the system root) holding the settings folder
        // The settings folder below home ("Library", ".local/share"); none of
        // its components is ever followed when it is a link.
        QList<QByteArray> libraryPath{"Library"};
        QList<QByteArray> components;
        uid_t libraryUser = 0; // whose Library it is (root for the system's)
        QString path() const;
    };

    // callerUid comes from the bus; testHome (named at the helper's start-up,
    // never by a caller) counts as the caller's home besides the user database's.
    AllowedPlaces(uid_t callerUid, QString testHome = {});

    // Checks a path's bytes: absolute, valid UTF-8 without NUL, within
    // PATH_MAX and NAME_MAX, no empty, "." or ".." component.
    static bool isValidPath(const QByteArray& path, QString* error);
    // A defaults domain: letters, digits, '.', '_' and '-' only.
    static bool isPlainName(const QString& name);

    std::optional<Target> resolve(const QByteArray& path, QString* error) const;

private:
    struct Root {
        Kind kind;
        QString home;
        uid_t user;
    };
    QList<Root> roots() const;

    uid_t caller_;
    QString testHome_;
};
