#pragma once

#include <QMutex>
#include <QStringList>
#include <QtMessageHandler>

#include "qt_printers.h"

// Captures the lines written to Sorvane's log category while it lives, so a
// test can assert the exact messages. Lines of other categories pass on.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const;
    bool contains(const QString& line) const { return lines().contains(line); }
    void clear();

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message);

    mutable QMutex mutex_;
    QStringList lines_;
    QtMessageHandler previous_ = nullptr;
};
