#include "helper/plist_check_job.h"

#include "platform/plist_checker.h"

#include <QDirIterator>
#include <QFile>
#include <QFuture>
#include <QString>
#include <QThread>
#include <QtConcurrent/QtConcurrentRun>

#include <optional>
#include <vector>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

QString checkFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return u"%1: %2"_s.arg(path, file.errorString());
    return PlistChecker::check(file.readAll());
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
        if (::stat(QFile::encodeName(path).constData(), &info) == 0 && S_ISREG(info.st_mode))
            files.append(path);
    }
    return files;
}

PlistCheckJob::Results PlistCheckJob::run(const QString& folder, const std::atomic<bool>& cancelled,
                                          QDeadlineTimer deadline) {
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
