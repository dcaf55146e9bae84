#include "workflows/cleaning_backup_store.h"

#include "packager/package_keys.h"
#include "platform/keyed_archive.h"
#include "util/logging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr auto kPrivateFile = QFile::ReadOwner | QFile::WriteOwner;
constexpr auto kPrivateFolder = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
const QString kIndexSuffix = u".json"_s;

bool writeWhole(const QString& path, const QByteArray& bytes, QString* error) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = u"%1: %2"_s.arg(path, file.errorString());
        return false;
    }
    QFile::setPermissions(path, kPrivateFile);
    return true;
}

// The package the backup's file is: one application record holding every
// domain's captured text and every file's bytes, as any package holds them.
QByteArray packageOf(const CleaningBackupCapture::Content& content, QString* error) {
    using namespace package_keys;
    QVariantMap files;
    for (auto it = content.files.cbegin(); it != content.files.cend(); ++it)
        files.insert(it.key(), it.value());
    const CleaningBackup& backup = content.backup;
    const QVariantMap record{{kName, backup.title.isEmpty() ? u"Cleaning"_s : backup.title},
                             {kAppId, backup.identifier},
                             {kPrefs, content.prefs},
                             {kFiles, files}};
    return KeyedArchive::encode(QVariantMap{{kApplications, QVariantList{record}}}, error);
}

} // namespace

CleaningBackupStore::CleaningBackupStore(QString folder)
    : CleaningBackupStore(std::move(folder), Limits()) {}

CleaningBackupStore::CleaningBackupStore(QString folder, Limits limits)
    : folder_(QDir::cleanPath(folder))
    , limits_(limits) {}

QString CleaningBackupStore::packagePath(const QString& id) const {
    return folder_ + u'/' + id + u'.' + package_keys::kExtension;
}

QString CleaningBackupStore::indexPath(const QString& id) const {
    return folder_ + u'/' + id + kIndexSuffix;
}

QString CleaningBackupStore::newId(const QDateTime& created) const {
    const QString stamp = created.toUTC().toString(u"yyyyMMdd-HHmmss-zzz"_s);
    QString id = stamp;
    for (int n = 2; QFileInfo::exists(indexPath(id)) || QFileInfo::exists(packagePath(id)); ++n)
        id = u"%1-%2"_s.arg(stamp).arg(n);
    return id;
}

std::optional<CleaningBackup> CleaningBackupStore::write(CleaningBackupCapture::Content content,
                                                         QString* error) {
    if (!QDir().mkpath(folder_) || !QFileInfo(folder_).isDir()) {
        *error = u"the folder %1 could not be made"_s.arg(folder_);
        return std::nullopt;
    }
    QFile::setPermissions(folder_, kPrivateFolder);
    CleaningBackup& backup = content.backup;
    backup.created = QDateTime::currentDateTimeUtc();
    backup.id = newId(backup.created);
    QString archiveError;
    const QByteArray bytes = packageOf(content, &archiveError);
    if (bytes.isEmpty()) {
        *error = u"the package could not be made: %1"_s.arg(archiveError);
        return std::nullopt;
    }
    if (!writeWhole(packagePath(backup.id), bytes, error))
        return std::nullopt;
    if (!writeIndex(backup, error)) {
        QFile::remove(packagePath(backup.id));
        return std::nullopt;
    }
    prune();
    return backup;
}

bool CleaningBackupStore::writeIndex(const CleaningBackup& backup, QString* error) const {
    return writeWhole(indexPath(backup.id), QJsonDocument(backup.toJson()).toJson(), error);
}

QList<CleaningBackup> CleaningBackupStore::backups() const {
    QList<CleaningBackup> found;
    const QStringList names =
        QDir(folder_).entryList({u"*"_s + kIndexSuffix}, QDir::Files | QDir::Hidden);
    for (const QString& name : names) {
        QFile file(folder_ + u'/' + name);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const auto backup =
            CleaningBackup::fromJson(QJsonDocument::fromJson(file.readAll()).object());
        // An index that names another backup, or whose package is gone, is
        // not one of this folder's backups.
        if (!backup || backup->id + kIndexSuffix != name ||
            !QFileInfo::exists(packagePath(backup->id))) {
            sv::log(u"Passed over a damaged cleaning backup index: %1"_s.arg(file.fileName()));
            continue;
        }
        found.append(*backup);
    }
    std::sort(found.begin(), found.end(), [](const CleaningBackup& a, const CleaningBackup& b) {
        return a.created != b.created ? a.created > b.created : a.id > b.id;
    });
    return found;
}

std::optional<CleaningBackup> CleaningBackupStore::backup(const QString& id) const {
    for (const CleaningBackup& backup : backups()) {
        if (backup.id == id)
            return backup;
    }
    return std::nullopt;
}

std::optional<CleaningBackup> CleaningBackupStore::latestNotRestored() const {
    for (const CleaningBackup& backup : backups()) {
        if (!backup.isRestored())
            return backup;
    }
    return std::nullopt;
}

bool CleaningBackupStore::markRestored(const QString& id, QString* error) {
    std::optional<CleaningBackup> found = backup(id);
    if (!found) {
        *error = u"there is no backup %1"_s.arg(id);
        return false;
    }
    found->restored = QDateTime::currentDateTimeUtc();
    return writeIndex(*found, error);
}

bool CleaningBackupStore::discard(const QString& id, QString* error) {
    // An identifier never leads out of the folder.
    static const QRegularExpression kId(u"^[0-9A-Za-z][0-9A-Za-z-]*$"_s);
    if (!kId.match(id).hasMatch() || !QFileInfo::exists(indexPath(id))) {
        *error = u"there is no backup %1"_s.arg(id);
        return false;
    }
    QFile index(indexPath(id));
    if (!index.remove()) {
        *error = u"%1: %2"_s.arg(index.fileName(), index.errorString());
        return false;
    }
    QFile::remove(packagePath(id));
    return true;
}

qint64 CleaningBackupStore::packageSize(const QString& id) const {
    return QFileInfo(packagePath(id)).size();
}

QStringList CleaningBackupStore::prune() {
    QStringList removed;
    qint64 total = 0;
    bool keeping = true;
    const QList<CleaningBackup> all = backups();
    for (qsizetype i = 0; i < all.size(); ++i) {
        const qint64 size = packageSize(all.at(i).id);
        // The oldest go first: once one is too many, every older one goes too.
        keeping = keeping && i < limits_.count && (i == 0 || total + size <= limits_.totalBytes);
        if (keeping) {
            total += size;
            continue;
        }
        QString error;
        if (discard(all.at(i).id, &error))
            removed.append(all.at(i).id);
        else
            sv::log(u"Could not remove an old cleaning backup: %1"_s.arg(error));
    }
    return removed;
}
