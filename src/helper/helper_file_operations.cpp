#include "helper/helper_file_operations.h"

#include "privileged/helper_protocol.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool copyFile(const QString& source, const QString& destination, QString* error) {
    if (!QFile::copy(source, destination))
        return fail(error, u"Cannot copy %1 to %2."_s.arg(source, destination));
    return true;
}

bool copyFolder(const QString& source, const QString& destination, QString* error) {
    if (!QDir().mkpath(destination))
        return fail(error, u"Cannot create the folder %1."_s.arg(destination));
    QDirIterator entries(source,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        const QFileInfo entry(entries.next());
        const QString target = destination + u'/' + entry.fileName();
        const bool copied = entry.isDir() && !entry.isSymLink()
                                ? copyFolder(entry.filePath(), target, error)
                                : copyFile(entry.filePath(), target, error);
        if (!copied)
            return false;
    }
    return true;
}

bool toInteger(const QVariant& value, qlonglong* result) {
    bool ok = false;
    *result = value.toLongLong(&ok);
    return ok;
}

} // namespace

bool HelperFileOperations::deleteItem(const QString& path, QString* error) {
    const QFileInfo item(path);
    if (!item.exists() && !item.isSymLink())
        return fail(error, u"The file %1 does not exist."_s.arg(path));
    if (item.isDir() && !item.isSymLink()) {
        if (!QDir(path).removeRecursively())
            return fail(error, u"Cannot remove the folder %1."_s.arg(path));
        return true;
    }
    if (::unlink(QFile::encodeName(path).constData()) != 0)
        return fail(error, u"Cannot remove %1: %2"_s.arg(path, systemError()));
    return true;
}

bool HelperFileOperations::copyItem(const QString& source, const QString& destination,
                                    QString* error) {
    const QFileInfo from(source);
    if (!from.exists())
        return fail(error, u"The file %1 does not exist."_s.arg(source));
    if (QFileInfo::exists(destination))
        return fail(error, u"The file %1 already exists."_s.arg(destination));
    if (from.isDir())
        return copyFolder(source, destination, error);
    return copyFile(source, destination, error);
}

bool HelperFileOperations::setAttributes(const QVariantMap& attributes, const QString& path,
                                         QString* error) {
    const QStringList known{
        HelperProtocol::kFilePosixPermissions, HelperProtocol::kFileOwnerAccountID,
        HelperProtocol::kFileGroupOwnerAccountID, HelperProtocol::kFileModificationDate};
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        if (!known.contains(it.key()))
            return fail(error, u"Unsupported file attribute %1."_s.arg(it.key()));
    }
    const QByteArray native = QFile::encodeName(path);
    if (!QFileInfo::exists(path))
        return fail(error, u"The file %1 does not exist."_s.arg(path));

    qlonglong number = 0;
    if (attributes.contains(HelperProtocol::kFilePosixPermissions)) {
        if (!toInteger(attributes.value(HelperProtocol::kFilePosixPermissions), &number))
            return fail(error, u"The permissions are not a number."_s);
        if (::chmod(native.constData(), static_cast<mode_t>(number & 07777)) != 0)
            return fail(error,
                        u"Cannot change the permissions of %1: %2"_s.arg(path, systemError()));
    }
    uid_t owner = static_cast<uid_t>(-1);
    gid_t group = static_cast<gid_t>(-1);
    if (attributes.contains(HelperProtocol::kFileOwnerAccountID)) {
        if (!toInteger(attributes.value(HelperProtocol::kFileOwnerAccountID), &number))
            return fail(error, u"The owner id is not a number."_s);
        owner = static_cast<uid_t>(number);
    }
    if (attributes.contains(HelperProtocol::kFileGroupOwnerAccountID)) {
        if (!toInteger(attributes.value(HelperProtocol::kFileGroupOwnerAccountID), &number))
            return fail(error, u"The group id is not a number."_s);
        group = static_cast<gid_t>(number);
    }
    if ((owner != static_cast<uid_t>(-1) || group != static_cast<gid_t>(-1)) &&
        ::lchown(native.constData(), owner, group) != 0)
        return fail(error, u"Cannot change the owner of %1: %2"_s.arg(path, systemError()));

    if (attributes.contains(HelperProtocol::kFileModificationDate)) {
        const QVariant value = attributes.value(HelperProtocol::kFileModificationDate);
        QDateTime date = value.typeId() == QMetaType::QDateTime
                             ? value.toDateTime()
                             : QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
        if (!date.isValid())
            return fail(error, u"The modification date is not a date."_s);
        const qint64 ms = date.toMSecsSinceEpoch();
        // The access time is left as it is.
        const struct timespec times[2] = {{0, UTIME_OMIT}, {ms / 1000, (ms % 1000) * 1000000}};
        if (::utimensat(AT_FDCWD, native.constData(), times, 0) != 0)
            return fail(error, u"Cannot change the date of %1: %2"_s.arg(path, systemError()));
    }
    return true;
}
