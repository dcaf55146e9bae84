#pragma once

#include "helper/allowed_places.h"

#include <QString>
#include <QVariantMap>

#include <sys/types.h>

// Every change the helper makes to the file system, with root's rights, goes
// through this one class, so that limiting what the helper may touch has one
// place to change. Targets come already checked by AllowedPlaces; each is
// reached from a descriptor of its Library folder without following links or
// leaving the file system, and acted on through its parent's descriptor and
// its name. Each operation answers true, or false with a reason.
class HelperFileOperations {
public:
    // Who asked: copies are limited to what they may read themselves, owner
    // changes to what they may give away.
    struct Caller {
        uid_t uid = 0;
        gid_t gid = 0;
    };

    // Removes a file, a link (not what it points to) or a whole folder on the
    // same file system; a mount point inside the folder is left alone.
    static bool deleteItem(const AllowedPlaces::Target& target, QString* error);
    // Copies a file or a folder with its contents; the destination must not
    // exist yet and appears at once, complete.
    static bool copyItem(const AllowedPlaces::Target& source,
                         const AllowedPlaces::Target& destination, const Caller& caller,
                         QString* error);
    // Applies the file manager's attribute keys: permissions, owner and group
    // ids and modification date. Anything unknown or not allowed is refused
    // before anything changes.
    static bool setAttributes(const QVariantMap& attributes, const AllowedPlaces::Target& target,
                              const Caller& caller, QString* error);
};
