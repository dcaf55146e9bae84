#pragma once

#include <QMutex>
#include <QStringList>
#include <QtMessageHandler>

// Collects the lines Sorvane logs while it lives. During a deployment the
// only lines logged are domains and files that did not make it, so they are
// what the user is told at the end. Lines of other categories always reach
// the previous handler; Sorvane's own only when forwarding is asked for (a
// terminal stays free of them unless the user wants them). One at a time.
class ProblemLog {
public:
    explicit ProblemLog(bool forward);
    ~ProblemLog();
    ProblemLog(const ProblemLog&) = delete;
    ProblemLog& operator=(const ProblemLog&) = delete;

    // The lines collected since the last call, which are then forgotten.
    QStringList takeLines();

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message);

    bool forward_;
    QMutex mutex_;
    QStringList lines_;
    QtMessageHandler previous_ = nullptr;
};
