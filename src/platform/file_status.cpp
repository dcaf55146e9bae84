#include "platform/file_status.h"

#include <QFile>

#include <sys/stat.h>

bool FileStatus::exists(const QString& path) {
    struct stat info;
    return !path.isEmpty() && stat(QFile::encodeName(path).constData(), &info) == 0;
}

bool FileStatus::isFolder(const QString& path) {
    struct stat info;
    return !path.isEmpty() && stat(QFile::encodeName(path).constData(), &info) == 0 &&
           S_ISDIR(info.st_mode);
}
