#pragma once

#include "helper/allowed_places.h"
#include "helper/caller_identity.h"

#include <QString>
#include <QVariantMap>

#include <sys/types.h>

// Every change the helper makes to the file system, with root's rights, goes
// through this one class, so that limiting what the helper may touch has one
// place to change. Targets come already checked by AllowedPlaces; each is
// reached from a descriptor of its settings folder without following links
// or leaving the file system (PlaceDescriptors), and acted on through its
// parent's descriptor and its name. Each operation answers true, or false
// with a reason.
class HelperFileOperations {
public:
    // Who asked: copies read only what the caller could read itself.
    using Caller = CallerIdentity;

    // Bounds on one recursive delete or copy: deeper or larger trees are not
    // what a Library holds, and the helper must not run unbounded as root.
    static constexpr int kMaxDepth = 128;
    static constexpr long kMaxEntries = 1000000;
    static constexpr qint64 kMaxCopyBytes = 1024LL * 1024 * 1024;

    // Removes a file, a link (not what it points to) or a whole folder on the
    // same file system; a mount point inside the folder is left alone.
    static bool deleteItem(const AllowedPlaces::Target& target, QString* error);
    // Copies a file or a folder with its contents, of at most kMaxCopyBytes;
    // the destination must not exist yet and appears at once, complete. The
    // source is read with the caller's own rights, as the kernel checks them
    // (ACLs included); in a user's Library the copy is made as that user, so
    // that it is theirs and counts against their quota.
    static bool copyItem(const AllowedPlaces::Target& source,
                         const AllowedPlaces::Target& destination, const Caller& caller,
                         QString* error);
    // Applies the file manager's attribute keys: permissions, owner and group
    // ids and modification date. Anything unknown or not allowed is refused
    // before anything changes, and so is a mount point.
    static bool setAttributes(const QVariantMap& attributes, const AllowedPlaces::Target& target,
                              const Caller& caller, QString* error);
};
