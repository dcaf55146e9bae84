#pragma once

#include "helper/unique_fd.h"

#include <QByteArray>
#include <QString>

#include <sys/types.h>

// The folder tree the installer writes into, as root: the prefix and every
// folder above it must be safe (owned by root, or by whoever installs when
// that is not root, and writable by nobody else, a sticky folder such as
// /tmp excepted above the prefix), no component may be a link, and every
// folder inside it that the installer passes through is held to the same
// rule. Files are written beside their place under a fresh name, never
// following a link, and renamed over whatever was there, so that a link
// planted in the tree is replaced and not written through. Missing folders,
// the prefix included, are made (mode 0755) below folders that passed.
class InstallTree {
public:
    explicit InstallTree(const QString& prefix);

    // Whether the prefix passed; error says why not.
    bool isSafe(QString* error) const;
    // Writes content to prefix/relative with the given mode, creating the
    // folders on the way (mode 0755).
    bool writeFile(const QString& relative, const QByteArray& content, mode_t mode,
                   QString* error) const;

private:
    UniqueFd openFolder(const QByteArray& relative, bool create, QString* error) const;
    static bool folderIsSafe(int fd, bool insidePrefix, const QString& shown, QString* error);

    QString prefix_;
    UniqueFd root_;
    QString rootError_;
};
