#include "log_capture.h"

#include <QMutexLocker>

#include <cstring>

namespace {
LogCapture* active = nullptr;
}

LogCapture::LogCapture() {
    active = this;
    previous_ = qInstallMessageHandler(&LogCapture::handler);
}

LogCapture::~LogCapture() {
    qInstallMessageHandler(previous_);
    active = nullptr;
}

QStringList LogCapture::lines() const {
    QMutexLocker lock(&mutex_);
    return lines_;
}

void LogCapture::clear() {
    QMutexLocker lock(&mutex_);
    lines_.clear();
}

void LogCapture::handler(QtMsgType type, const QMessageLogContext& context,
                         const QString& message) {
    LogCapture* capture = active;
    if (capture && context.category && std::strcmp(context.category, "sorvane") == 0) {
        QMutexLocker lock(&capture->mutex_);
        capture->lines_.append(message);
        return;
    }
    if (capture && capture->previous_)
        capture->previous_(type, context, message);
}
