#include "local_plist_operations.h"

#include "helper/plist_check_job.h"
#include "platform/file_remover.h"

#include <QDeadlineTimer>

#include <atomic>

bool LocalPlistOperations::deleteDefaultsDomain(const QString&) {
    // The check never deletes domains.
    return false;
}

bool LocalPlistOperations::deleteFileAtUrl(const QUrl& file) {
    return FileRemover::removeItem(file.toLocalFile());
}

std::optional<QMap<QString, QString>> LocalPlistOperations::checkPlistsAtUrl(const QUrl& folder) {
    // Nobody cancels and nothing times out: the user waits for their own check.
    const std::atomic<bool> cancelled{false};
    return PlistCheckJob::run(folder.toLocalFile(), cancelled, QDeadlineTimer::Forever);
}

void LocalPlistOperations::cancelPlutilChecks() {}

void LocalPlistOperations::rebootComputer() {}
