#include "platform/file_remover.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

bool FileRemover::removeItem(const QString& path, QString* error) {
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink()) {
        if (error)
            *error = u"“%1” does not exist"_s.arg(path);
        return false;
    }
    bool removed = false;
    if (info.isDir() && !info.isSymLink())
        removed = QDir(path).removeRecursively();
    else
        removed = QFile::remove(path);
    if (!removed && error)
        *error = u"“%1” could not be removed"_s.arg(path);
    return removed;
}
