#pragma once

#include <QString>
#include <QVariantMap>

// Every change the helper makes to the file system, with root's rights, goes
// through this one class, so that limiting what the helper may touch has one
// place to change. Each operation answers true, or false with a reason.
class HelperFileOperations {
public:
    // Removes a file, a link (not what it points to) or a whole folder.
    static bool deleteItem(const QString& path, QString* error);
    // Copies a file or a folder with its contents; the destination must not
    // exist yet.
    static bool copyItem(const QString& source, const QString& destination, QString* error);
    // Applies the file manager's attribute keys: permissions, owner and group
    // ids and modification date. Unknown keys are refused before anything
    // changes.
    static bool setAttributes(const QVariantMap& attributes, const QString& path, QString* error);
};
