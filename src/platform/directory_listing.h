#pragma once

#include <QString>
#include <QStringList>

// A shallow listing of one folder: every entry name (hidden ones included, "."
// and ".." left out) in the order the file system gives them. Faster than
// QDir for the large Library folders Sorvane walks, and it keeps the reason a
// folder could not be listed.
struct DirectoryListing {
    bool ok = false;
    QStringList names;
    QString error; // why the folder could not be listed, when !ok

    static DirectoryListing list(const QString& folder);
};
