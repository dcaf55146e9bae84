#include "workflows/cleaning_backup_restore.h"

#include "packager/package_deployer.h"
#include "packager/package_reader.h"
#include "util/logging.h"
#include "util/path_utils.h"
#include "workflows/alert_presenter.h"
#include "workflows/cleaning_backup_store.h"
#include "workflows/settings_system.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using Item = CleaningBackup::Item;

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

QByteArray nativePath(const QString& path) {
    return QFile::encodeName(path);
}

bool setModeAndTime(const QString& path, const Item& item, QString* error) {
    if (item.type != Item::Type::Link && ::chmod(nativePath(path).constData(), item.mode) != 0) {
        *error = u"its mode could not be set: %1"_s.arg(systemError());
        return false;
    }
    const timespec times[2] = {
        {0, UTIME_OMIT}, {time_t(item.modifiedMs / 1000), long(item.modifiedMs % 1000) * 1000000}};
    if (::utimensat(AT_FDCWD, nativePath(path).constData(), times, AT_SYMLINK_NOFOLLOW) != 0) {
        *error = u"its time could not be set: %1"_s.arg(systemError());
        return false;
    }
    return true;
}

bool writeFile(const QString& path, const QByteArray& bytes, QString* error) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

// Whatever is in a link's way goes, unless it is a folder: that is kept.
bool makeLink(const QString& path, const QString& target, QString* error) {
    struct stat status {};
    if (::lstat(nativePath(path).constData(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            *error = u"a folder is in its place"_s;
            return false;
        }
        ::unlink(nativePath(path).constData());
    }
    if (::symlink(nativePath(target).constData(), nativePath(path).constData()) != 0) {
        *error = systemError();
        return false;
    }
    return true;
}

QString counted(quint32 count) {
    return u"%1 item%2 %3"_s.arg(count).arg(count == 1 ? QString() : u"s"_s,
                                            count == 1 ? u"was"_s : u"were"_s);
}

} // namespace

QString CleaningBackupRestore::Result::summary() const {
    QString text = u"%1 restored. %2 could not be restored."_s.arg(counted(restored)).arg(failed);
    if (notKept > 0)
        text += u" %1 not in the backup."_s.arg(counted(notKept));
    return text;
}

CleaningBackupRestore::CleaningBackupRestore(CleaningBackupStore& store, AlertPresenter& alerts,
                                             RunningApplicationQuery& running,
                                             SettingsSystem& system)
    : store_(store)
    , alerts_(alerts)
    , running_(running)
    , system_(system) {}

std::optional<CleaningBackupRestore::Result>
CleaningBackupRestore::restore(const CleaningBackup& backup) {
    PackageReader reader(alerts_, QCoreApplication::applicationVersion());
    if (!reader.initWithKolvaneUrl(QUrl::fromLocalFile(store_.packagePath(backup.id))))
        return std::nullopt;
    if (reader.applications().isEmpty()) {
        alerts_.showAlertOfKind(AlertKind::Error, u"The Backup Could Not Be Read"_s,
                                u"The backup of %1 holds no settings."_s.arg(backup.description()));
        return std::nullopt;
    }
    PackageDeployer deployer(nullptr, alerts_, running_);
    if (backup.kind == CleaningBackup::Kind::Application && !backup.identifier.isEmpty() &&
        !deployer.promptUserToQuitApplications(reader.applications()))
        return std::nullopt;
    const SVPPItem& package = *reader.applications().constFirst();
    Result result;
    restoreDomains(package, backup, result);
    restoreItems(package, backup, result);
    QString error;
    if (!store_.markRestored(backup.id, &error))
        sv::log(u"Could not mark the cleaning backup %1 restored: %2"_s.arg(backup.id, error));
    return result;
}

void CleaningBackupRestore::restoreDomains(const SVPPItem& package, const CleaningBackup& backup,
                                           Result& result) {
    PackageDeployer deployer(nullptr, alerts_, running_);
    for (const CleaningBackup::Domain& domain : backup.domains) {
        if (!domain.kept()) {
            ++result.notKept;
            continue;
        }
        const QString text = package.plistForDomain(domain.domain);
        const auto expected = system_.valuesOfSettingsText(text);
        // The defaults program's word is not enough: the domain must hold
        // exactly what was backed up.
        const bool written = !text.isNull() && deployer.writePreferences(text, domain.domain) &&
                             expected && system_.userDomainValues(domain.domain) == expected;
        if (written) {
            ++result.restored;
            continue;
        }
        ++result.failed;
        result.failures.append(u"%1: %2"_s.arg(
            domain.domain, text.isNull() ? u"the backup holds no settings for it"_s
                                         : u"the defaults program could not write it back"_s));
    }
}

void CleaningBackupRestore::restoreItems(const SVPPItem& package, const CleaningBackup& backup,
                                         Result& result) {
    QList<const Item*> folders;
    for (const Item& item : backup.items) {
        if (!item.kept()) {
            ++result.notKept;
            continue;
        }
        QString error;
        if (!restoreItem(package, item, &error)) {
            ++result.failed;
            result.failures.append(u"%1: %2"_s.arg(item.path, error));
            continue;
        }
        ++result.restored;
        if (item.type == Item::Type::Folder)
            folders.append(&item);
    }
    // Folders take their modes and times last, innermost first: writing into
    // a folder changes its time, and a read-only folder would refuse what it
    // holds.
    for (auto it = folders.crbegin(); it != folders.crend(); ++it) {
        QString error;
        if (!setModeAndTime(sv::stringByExpandingTildeInPath((*it)->path), **it, &error))
            sv::log(u"Restored folder %1, but %2"_s.arg((*it)->path, error));
    }
}

bool CleaningBackupRestore::restoreItem(const SVPPItem& package, const Item& item, QString* error) {
    const QString path = sv::stringByExpandingTildeInPath(item.path);
    if (item.type == Item::Type::Folder) {
        if (QDir().mkpath(path))
            return true;
        *error = u"the folder could not be made"_s;
        return false;
    }
    if (!QDir().mkpath(sv::stringByDeletingLastPathComponent(path))) {
        *error = u"its folder could not be made"_s;
        return false;
    }
    if (item.type == Item::Type::Link)
        return makeLink(path, item.target, error) && setModeAndTime(path, item, error);
    const std::optional<QByteArray> bytes = package.fileContentsForPath(item.path);
    if (!bytes) {
        *error = u"the backup holds no contents for it"_s;
        return false;
    }
    return writeFile(path, *bytes, error) && setModeAndTime(path, item, error);
}
