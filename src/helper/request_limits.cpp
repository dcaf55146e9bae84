#include "helper/request_limits.h"

RequestLimits::RequestLimits(int perCaller, int overall)
    : perCaller_(perCaller)
    , overall_(overall) {}

bool RequestLimits::tryAcquire(uid_t caller) {
    int& mine = byCaller_[caller];
    if (mine >= perCaller_ || running_ >= overall_) {
        if (mine == 0)
            byCaller_.remove(caller);
        return false;
    }
    ++mine;
    ++running_;
    return true;
}

void RequestLimits::release(uid_t caller) {
    const auto it = byCaller_.find(caller);
    if (it == byCaller_.end())
        return;
    --running_;
    if (--it.value() <= 0)
        byCaller_.erase(it);
}
