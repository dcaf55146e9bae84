#pragma once

#include <QString>

// Existence tests straight on stat(2): the path searches ask them once per
// entry of large folders, where QFileInfo's bookkeeping shows.
class FileStatus {
public:
    // Whether something exists at the path, links followed.
    static bool exists(const QString& path);
    // Whether a folder exists at the path, links followed.
    static bool isFolder(const QString& path);
};
