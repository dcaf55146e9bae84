#include "linux/config_folder_check.h"

#include "linux/config_checker.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QList>
#include <QThread>
#include <QtConcurrent/QtConcurrentRun>

#include <optional>
#include <utility>
#include <vector>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using Fault = ConfigChecker::Fault;

bool isCancelled(const std::atomic<bool>* cancelled) {
    return cancelled && cancelled->load();
}

QString tooLarge(qint64 size) {
    return ConfigChecker::failure(
        Fault::FileTooLarge, u"File too large to check"_s,
        u"File too large to check: %1 bytes, more than %2"_s.arg(size).arg(
            ConfigFolderCheck::maxFileSize));
}

// A file that cannot be opened is reported when its name alone tells that
// it is one to check.
QString unreadable(const QString& path, int error) {
    if (ConfigChecker::formatOf(path, {}) == ConfigChecker::Format::Unknown)
        return {};
    return ConfigChecker::failure(Fault::FileUnreadable, u"Cannot read the file"_s,
                                  u"Cannot read the file: %1"_s.arg(qt_error_string(error)));
}

// Without following a link, the kind of what lies at path.
std::optional<mode_t> typeOf(const QString& path) {
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return info.st_mode & S_IFMT;
}

// Checks each file, several at a time; a file not reached before the check
// was cancelled has no verdict.
ConfigFolderCheck::Results checkAll(const QStringList& files, const std::atomic<bool>* cancelled) {
    std::vector<std::optional<QString>> verdicts(static_cast<size_t>(files.size()));
    std::atomic<qsizetype> next{0};
    const auto worker = [&] {
        while (!isCancelled(cancelled)) {
            const qsizetype index = next.fetch_add(1);
            if (index >= files.size())
                return;
            verdicts[static_cast<size_t>(index)] = ConfigFolderCheck::checkFile(files.at(index));
        }
    };
    const int workers = qMin<qsizetype>(qMax(1, QThread::idealThreadCount()), files.size());
    QList<QFuture<void>> running;
    for (int i = 1; i < workers; ++i)
        running.append(QtConcurrent::run(worker));
    // This thread works too, so the check ends even when the pool is busy.
    worker();
    for (QFuture<void>& future : running)
        future.waitForFinished();

    ConfigFolderCheck::Results results;
    for (qsizetype i = 0; i < files.size(); ++i) {
        const std::optional<QString>& verdict = verdicts[static_cast<size_t>(i)];
        if (verdict && !verdict->isNull())
            results.insert(files.at(i), *verdict);
    }
    return results;
}

} // namespace

QStringList ConfigFolderCheck::regularFilesInFolder(const QString& folder,
                                                    const std::atomic<bool>* cancelled) {
    QStringList files;
    // The folder asked for may itself be a link (a ~/.config kept with other
    // dotfiles); only the links found inside it are not followed.
    if (!QFileInfo(folder).isDir())
        return files;
    // Depth first, with the folders still to read on a stack of their own.
    std::vector<std::pair<QString, int>> folders{{QDir::cleanPath(folder), 0}};
    while (!folders.empty() && files.size() < maxFiles && !isCancelled(cancelled)) {
        const auto [path, depth] = folders.back();
        folders.pop_back();
        const QStringList names = QDir(path).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        std::vector<std::pair<QString, int>> subfolders;
        for (const QString& name : names) {
            const QString entry = path + u'/' + name;
            const std::optional<mode_t> type = typeOf(entry);
            if (type == S_IFREG) {
                files.append(entry);
                if (files.size() >= maxFiles)
                    break;
            } else if (type == S_IFDIR && depth < maxDepth) {
                subfolders.emplace_back(entry, depth + 1);
            }
        }
        folders.insert(folders.end(), subfolders.rbegin(), subfolders.rend());
    }
    return files;
}

ConfigFolderCheck::Results ConfigFolderCheck::checkFolder(const QString& folder,
                                                          const std::atomic<bool>* cancelled) {
    return checkAll(regularFilesInFolder(folder, cancelled), cancelled);
}

ConfigFolderCheck::Results ConfigFolderCheck::checkFiles(const QStringList& paths,
                                                         const std::atomic<bool>* cancelled) {
    return checkAll(paths, cancelled);
}

QString ConfigFolderCheck::checkFile(const QString& path) {
    // Not following a link put in the file's place since it was listed, and
    // not blocking on a FIFO.
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENXIO)
            return {};
        return unreadable(path, error);
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return {};
    }
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return unreadable(path, EIO);
    }
    if (info.st_size > maxFileSize) {
        const QByteArray head = file.read(ConfigChecker::headSize);
        if (ConfigChecker::formatOf(path, head) == ConfigChecker::Format::Unknown)
            return {};
        return tooLarge(info.st_size);
    }
    // QIODevice::read reserves what it is asked for, so ask for the measured
    // size; a file that grew since is read on, no further than the bound.
    QByteArray data = file.read(info.st_size + 1);
    if (data.size() > info.st_size)
        data += file.read(maxFileSize + 1 - data.size());
    if (file.error() != QFileDevice::NoError)
        return unreadable(path, EIO);
    if (data.size() > maxFileSize) {
        if (ConfigChecker::formatOf(path, data.left(ConfigChecker::headSize)) ==
            ConfigChecker::Format::Unknown)
            return {};
        return tooLarge(data.size());
    }
    return ConfigChecker::check(path, data);
}
