#pragma once

#include "helper/allowed_places.h"
#include "helper/unique_fd.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

#include <sys/stat.h>

// Reaches an allowed place by descriptor: the home (or system root) by its
// path, which comes from the user database or the helper's start-up, then
// the settings folder one component at a time and everything below it
// without following a link or leaving the file system. Whoever calls these
// does so with the rights it means to use: a thread or a child process that
// has taken on a caller's credentials reaches only what the caller could.
class PlaceDescriptors {
public:
    // A target's settings folder, the folder holding the target, its name in
    // that folder and the folder's statx.
    struct Located {
        UniqueFd library;
        UniqueFd parent;
        QByteArray name;
        struct statx parentInfo {};
    };

    static UniqueFd openBeneath(int rootFd, const QByteArray& relative, uint64_t flags,
                                mode_t mode = 0);
    // The settings folder as an O_PATH descriptor; no component of it is
    // followed when it is a link (a user's ~/.local made a link to /usr must
    // not lead root there).
    static UniqueFd openSettingsFolder(const AllowedPlaces::Target& target, QString* error);
    // The target's parent folder and name; the target itself may not exist.
    static bool locate(const AllowedPlaces::Target& target, Located* located, QString* error);
    // The target as a folder opened for reading (a folder to check).
    static UniqueFd openFolder(const AllowedPlaces::Target& target, QString* error);

    static bool statNoFollow(int dirFd, const char* name, struct statx* info);
    static bool isMountPoint(const struct statx& info, const struct statx& parent);
};
