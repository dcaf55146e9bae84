#include "platform/directory_listing.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <dirent.h>

using namespace Qt::StringLiterals;

DirectoryListing DirectoryListing::list(const QString& folder) {
    DirectoryListing listing;
    const QByteArray encoded = QFile::encodeName(folder);
    DIR* dir = opendir(encoded.constData());
    if (!dir) {
        const int code = errno;
        listing.error = u"The folder “%1” could not be listed: %2 (errno %3)"_s.arg(
            folder, QString::fromLocal8Bit(strerror(code)), QString::number(code));
        return listing;
    }
    errno = 0;
    while (const dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        listing.names.append(QFile::decodeName(name));
    }
    closedir(dir);
    listing.ok = true;
    return listing;
}
