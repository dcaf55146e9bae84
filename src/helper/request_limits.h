#pragma once

#include <QHash>

#include <sys/types.h>

// How many requests of one kind may run at once: a few for each caller
// (counted by user, since one user may open many connections) and a few in
// all, so that no caller can take the helper's memory, threads or processes
// away from another. Used on the helper's event thread only.
class RequestLimits {
public:
    RequestLimits(int perCaller, int overall);

    bool tryAcquire(uid_t caller);
    void release(uid_t caller);
    int running() const { return running_; }

private:
    int perCaller_;
    int overall_;
    int running_ = 0;
    QHash<uid_t, int> byCaller_;
};
