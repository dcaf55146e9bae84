#include "workflows/cleaning_backup_capture.h"

#include "platform/directory_listing.h"
#include "platform/library_folders.h"
#include "util/path_utils.h"
#include "workflows/settings_system.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using Item = CleaningBackup::Item;

const QString kSystemDomain =
    u"a system domain: only the privileged helper changes it, so it cannot be written back"_s;

// The item's kind, mode, size and time without following a link; nothing
// when there is no such entry.
std::optional<Item> statItem(const QString& path, QString* error) {
    struct stat status {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0) {
        *error = QString::fromLocal8Bit(std::strerror(errno));
        return std::nullopt;
    }
    Item item;
    item.path = CleaningBackupCapture::storedPathOf(path);
    item.mode = status.st_mode & 07777;
    item.size = status.st_size;
    item.modifiedMs = qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
    if (S_ISDIR(status.st_mode)) {
        item.type = Item::Type::Folder;
        item.size = 0;
    } else if (S_ISLNK(status.st_mode)) {
        item.type = Item::Type::Link;
        // The target as written, relative ones too; a link's size is its length.
        QByteArray raw(qsizetype(status.st_size) + 1, '\0');
        const ssize_t length =
            ::readlink(QFile::encodeName(path).constData(), raw.data(), size_t(raw.size()));
        if (length < 0)
            item.problem = u"its target could not be read"_s;
        else
            item.target = QFile::decodeName(raw.left(length));
    } else if (!S_ISREG(status.st_mode)) {
        item.problem = u"neither a file, a folder nor a link"_s;
    }
    return item;
}

std::optional<QByteArray> readWhole(const QString& path, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        *error = file.errorString();
        return std::nullopt;
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        *error = file.errorString();
        return std::nullopt;
    }
    return bytes;
}

} // namespace

CleaningBackupCapture::CleaningBackupCapture(qint64 byteBound, QString excludedFolder)
    : byteBound_(byteBound)
    , excludedFolder_(std::move(excludedFolder)) {}

QString CleaningBackupCapture::storedPathOf(const QString& path) {
    const QString home = LibraryFolders::homeFolder();
    if (!home.isEmpty() && (path == home || path.startsWith(home + u'/')))
        return u'~' + path.mid(home.size());
    return path;
}

void CleaningBackupCapture::addDomains(const QList<SVDefaultsDomain>& domains) {
    QList<SVDefaultsDomain> toRead;
    for (const SVDefaultsDomain& domain : domains) {
        const bool seen =
            std::any_of(content_.backup.domains.cbegin(), content_.backup.domains.cend(),
                        [&domain](const CleaningBackup::Domain& d) {
                            return d.domain == domain.domain() && d.authLevel == domain.authLevel();
                        });
        if (seen)
            continue;
        content_.backup.domains.append({domain.domain(), domain.authLevel(), QString()});
        if (domain.authLevel() != 0)
            content_.backup.domains.last().problem = kSystemDomain;
        else if (!content_.prefs.contains(domain.domain()))
            toRead.append(domain);
    }
    // Read in this process, in the very form the defaults program prints:
    // a child process per domain would cost as much as the deletion after it.
    const SettingsSystem& system = SettingsSystem::current();
    QList<std::optional<QString>> texts;
    for (const SVDefaultsDomain& domain : std::as_const(toRead))
        texts.append(system.userDomainSettingsText(domain.domain()));
    for (qsizetype i = 0; i < toRead.size(); ++i) {
        const QString& name = toRead.at(i).domain();
        if (texts.at(i) && !texts.at(i)->isEmpty()) {
            content_.prefs.insert(name, *texts.at(i));
            continue;
        }
        for (CleaningBackup::Domain& domain : content_.backup.domains) {
            if (domain.domain == name && domain.authLevel == 0)
                domain.problem = u"it could not be read"_s;
        }
    }
}

void CleaningBackupCapture::addFiles(const QList<QUrl>& files) {
    for (const QUrl& url : files)
        addPath(QDir::cleanPath(url.toLocalFile()));
}

bool CleaningBackupCapture::isCaptured(const QString& path) const {
    for (QString at = path; !at.isEmpty() && at != u"/"_s;
         at = sv::stringByDeletingLastPathComponent(at)) {
        if (capturedPaths_.contains(at))
            return true;
    }
    return false;
}

void CleaningBackupCapture::addPath(const QString& path) {
    if (!path.isEmpty() && !isCaptured(path))
        captureEntry(path);
}

void CleaningBackupCapture::captureEntry(const QString& path) {
    if (!excludedFolder_.isEmpty() &&
        (path == excludedFolder_ || path.startsWith(excludedFolder_ + u'/')))
        return;
    QString error;
    std::optional<Item> item = statItem(path, &error);
    // A path that is not there is deleted by nobody: nothing to keep.
    if (!item)
        return;
    capturedPaths_.insert(path);
    if (item->type == Item::Type::File && item->kept())
        addFile(path, *item);
    content_.backup.items.append(*item);
    if (item->type == Item::Type::Folder)
        addFolderContents(path);
}

void CleaningBackupCapture::addFile(const QString& path, Item& item) {
    if (content_.backup.bytes + item.size > byteBound_) {
        item.problem = u"beyond the backup's bound of %1 MiB"_s.arg(byteBound_ / (1024 * 1024));
        return;
    }
    QString error;
    std::optional<QByteArray> bytes = readWhole(path, &error);
    if (!bytes) {
        item.problem = u"could not be read: %1"_s.arg(error);
        return;
    }
    // The file may have grown since it was looked at.
    if (content_.backup.bytes + bytes->size() > byteBound_) {
        item.problem = u"beyond the backup's bound of %1 MiB"_s.arg(byteBound_ / (1024 * 1024));
        return;
    }
    item.size = bytes->size();
    content_.backup.bytes += bytes->size();
    content_.files.insert(item.path, *bytes);
}

void CleaningBackupCapture::addFolderContents(const QString& folder) {
    DirectoryListing listing = DirectoryListing::list(folder);
    if (!listing.ok) {
        content_.backup.items.last().problem =
            u"its contents could not be listed: %1"_s.arg(listing.error);
        return;
    }
    // A fixed order, so that two backups of the same tree read alike.
    std::sort(listing.names.begin(), listing.names.end());
    for (const QString& name : listing.names)
        captureEntry(folder + u'/' + name);
}

bool CleaningBackupCapture::keptNothing() const {
    return content_.backup.keptCount() == 0;
}
