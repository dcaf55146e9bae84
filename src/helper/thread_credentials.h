#pragma once

#include "helper/caller_identity.h"

#include <QList>

#include <sys/types.h>

// Lets the calling thread, and only it, reach files as someone else: its
// file-system user and group and its supplementary groups become theirs
// until the object goes, so that every open, list and create is checked by
// the kernel as it would be for them (ACLs, groups and all), and what the
// thread creates is theirs and counts against their quota. Raw system calls,
// because the C library would change every thread of the helper at once.
// A helper that is not root can only be who it already is.
class ThreadCredentials {
public:
    explicit ThreadCredentials(const CallerIdentity& who);
    ~ThreadCredentials();
    ThreadCredentials(const ThreadCredentials&) = delete;
    ThreadCredentials& operator=(const ThreadCredentials&) = delete;

    // Whether the thread now acts as who; when not, nothing may be done.
    bool isActive() const { return active_; }

private:
    void restore();

    bool switched_ = false;
    bool active_ = false;
    uid_t oldUid_ = 0;
    gid_t oldGid_ = 0;
    QList<gid_t> oldGroups_;
};
