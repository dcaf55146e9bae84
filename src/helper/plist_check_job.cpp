#include "helper/plist_check_job.h"

#include "linux/config_folder_check.h"
#include "platform/library_folders.h"
#include "platform/plist_checker.h"

#include <QDir>

#include <QDirIterator>
#include <QFile>
#include <QFuture>
#include <QString>
#include <QThread>
#include <QtConcurrent/QtConcurrentRun>

#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// Bounds on what one check reads as root: no preference file is this large,
// and no preferences folder holds this many.
constexpr qint64 kMaxFileSize = 32 * 1024 * 1024;
constexpr qsizetype kMaxFiles = 100000;

QString checkFile(const QString& path) {
    // Not following a link put in the file's place since it was listed, and
    // not blocking on a FIFO.
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || ::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        if (fd >= 0)
            ::close(fd);
        return u"%1: not a regular file"_s.arg(path);
    }
    if (info.st_size > kMaxFileSize) {
        ::close(fd);
        return u"%1: the file is too large to check"_s.arg(path);
    }
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return u"%1: %2"_s.arg(path, file.errorString());
    return PlistChecker::check(file.read(kMaxFileSize));
}

} // namespace

QStringList PlistCheckJob::plistFilesInFolder(const QString& folder) {
    QStringList files;
    QDirIterator entries(folder, {u"*.plist"_s}, QDir::Files | QDir::Hidden | QDir::System,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        // Only regular files: opening a FIFO or a device would block the
        // check, or read without end.
        struct stat info {};
        if (::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode))
            files.append(path);
        if (files.size() >= kMaxFiles)
            break;
    }
    return files;
}

bool PlistCheckJob::isLinuxSettingsFolder(const QString& folder) {
    const QString cleaned = QDir::cleanPath(folder);
    return cleaned == LibraryFolders::underSystemRoot(u"/etc/xdg"_s) ||
           cleaned == LibraryFolders::underSystemRoot(u"/etc/dconf"_s);
}

PlistCheckJob::Results PlistCheckJob::run(const QString& folder, const std::atomic<bool>& cancelled,
                                          QDeadlineTimer deadline) {
    // The Linux desktop's system folders hold settings of every format.
    if (isLinuxSettingsFolder(folder))
        return ConfigFolderCheck::checkFolder(folder, &cancelled);
    const QStringList files = plistFilesInFolder(folder);
    std::vector<std::optional<QString>> messages(static_cast<size_t>(files.size()));
    std::atomic<qsizetype> next{0};
    const auto worker = [&] {
        while (!cancelled.load() && !deadline.hasExpired()) {
            const qsizetype index = next.fetch_add(1);
            if (index >= files.size())
                return;
            messages[static_cast<size_t>(index)] = checkFile(files.at(index));
        }
    };
    const int workers = qMax(1, QThread::idealThreadCount());
    QList<QFuture<void>> running;
    for (int i = 1; i < workers; ++i)
        running.append(QtConcurrent::run(worker));
    worker();
    for (QFuture<void>& future : running)
        future.waitForFinished();

    Results results;
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (messages[static_cast<size_t>(i)])
            results.insert(files.at(i), *messages[static_cast<size_t>(i)]);
    }
    return results;
}
