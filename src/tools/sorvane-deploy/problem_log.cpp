#include "problem_log.h"

#include "util/logging.h"

#include <QMutexLocker>

#include <atomic>
#include <cstring>

namespace {

std::atomic<ProblemLog*> current{nullptr};

} // namespace

ProblemLog::ProblemLog(bool forward)
    : forward_(forward) {
    current = this;
    previous_ = qInstallMessageHandler(&ProblemLog::handler);
}

ProblemLog::~ProblemLog() {
    qInstallMessageHandler(previous_);
    current = nullptr;
}

QStringList ProblemLog::takeLines() {
    QMutexLocker lock(&mutex_);
    return std::exchange(lines_, {});
}

void ProblemLog::handler(QtMsgType type, const QMessageLogContext& context,
                         const QString& message) {
    ProblemLog* log = current.load();
    if (!log)
        return;
    const bool ours =
        context.category && std::strcmp(context.category, lcSorvane().categoryName()) == 0;
    if (ours) {
        QMutexLocker lock(&log->mutex_);
        log->lines_.append(message);
    }
    if ((!ours || log->forward_) && log->previous_)
        log->previous_(type, context, message);
}
