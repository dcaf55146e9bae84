#pragma once

#include "helper/allowed_places.h"
#include "helper/caller_identity.h"
#include "helper/settings_check_walk.h"

#include <QDeadlineTimer>
#include <QMap>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <functional>

// One settings check for one caller, run by the helper in a worker process
// (SettingsCheckWorker) that has become the caller before it starts: the
// caller's user, primary group and groups, no way back to root, a memory
// bound for its parses and death with the helper. The worker is forked and
// watched through a process descriptor rather than started by QProcess,
// whose start waits for the child to run its program: a caller who stopped
// its own worker in between would hold the helper's event thread. A worker that dies while
// it parses a file (out of memory, most likely) has that file reported as too
// large to check, and a new worker goes on after it. The run answers once:
// when the walk is done, when it is cancelled, or at its deadline, with what
// it has by then.
class SettingsCheckRun : public QObject {
    Q_OBJECT
public:
    using Results = QMap<QString, QString>;
    // ok false: the folder could not be checked at all, and error says why.
    using Finished = std::function<void(bool ok, const Results& results, const QString& error)>;

    // What one worker may take: its data (heap) and its processor time.
    static constexpr qint64 kMemoryBound = 256 * 1024 * 1024;
    static constexpr int kCpuSeconds = 30;
    // Workers started again after a file they could not check.
    static constexpr int kMaxRestarts = 8;

    SettingsCheckRun(const AllowedPlaces::Target& folder, const CallerIdentity& caller,
                     QDeadlineTimer deadline, Finished finished, QObject* parent = nullptr);
    ~SettingsCheckRun() override;

    static SettingsCheckWalk::Mode modeFor(const AllowedPlaces::Target& folder);
    // The program run as the worker: the running helper's own image unless a
    // test names another.
    static void setWorkerProgram(const QString& program);

    void start();
    void cancel();

private:
    void startWorker();
    void readFrames();
    void workerEnded();
    bool takeFrame();
    void finish(bool ok, const QString& error = {});
    void stopWorker();

    AllowedPlaces::Target folder_;
    CallerIdentity caller_;
    SettingsCheckWalk::Mode mode_;
    Finished finished_;
    int output_ = -1;  // the worker's standard output
    int process_ = -1; // its process descriptor
    QSocketNotifier* outputReady_ = nullptr;
    QSocketNotifier* processEnded_ = nullptr;
    QTimer deadline_;
    QByteArray pending_;
    qint64 received_ = 0;
    Results results_;
    QString current_;
    bool inFile_ = false;
    qsizetype begun_ = 0;
    int restarts_ = 0;
    QString failure_;
    bool done_ = false;
};
