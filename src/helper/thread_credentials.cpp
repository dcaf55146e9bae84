#include "helper/thread_credentials.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace {

// setfsuid answers the previous id whether or not it changed anything; an id
// of -1 changes nothing, so a second call tells what the id now is.
uid_t currentFsuid() {
    return static_cast<uid_t>(::syscall(SYS_setfsuid, static_cast<uid_t>(-1)));
}

gid_t currentFsgid() {
    return static_cast<gid_t>(::syscall(SYS_setfsgid, static_cast<gid_t>(-1)));
}

bool setGroups(const QList<gid_t>& groups) {
    return ::syscall(SYS_setgroups, static_cast<size_t>(groups.size()), groups.constData()) == 0;
}

QList<gid_t> threadGroups() {
    const int count = ::getgroups(0, nullptr);
    QList<gid_t> groups(count > 0 ? count : 0);
    if (count > 0 && ::getgroups(count, groups.data()) != count)
        groups.clear();
    return groups;
}

} // namespace

ThreadCredentials::ThreadCredentials(const CallerIdentity& who) {
    oldUid_ = currentFsuid();
    oldGid_ = currentFsgid();
    if (::geteuid() != 0) {
        active_ = who.uid == oldUid_;
        return;
    }
    if (who.uid == 0 && oldUid_ == 0) {
        active_ = true;
        return;
    }
    if (who.uid == static_cast<uid_t>(-1) || who.gid == static_cast<gid_t>(-1))
        return;
    oldGroups_ = threadGroups();
    switched_ = true;
    // Groups first: once the user is no longer root, they cannot be changed.
    ::syscall(SYS_setfsgid, who.gid);
    active_ = setGroups(who.groups) && currentFsgid() == who.gid;
    ::syscall(SYS_setfsuid, who.uid);
    active_ = active_ && currentFsuid() == who.uid;
    if (!active_)
        restore();
}

ThreadCredentials::~ThreadCredentials() {
    restore();
}

void ThreadCredentials::restore() {
    if (!switched_)
        return;
    // Back to root first: the groups can only be set again as root.
    ::syscall(SYS_setfsuid, oldUid_);
    ::syscall(SYS_setfsgid, oldGid_);
    setGroups(oldGroups_);
    switched_ = false;
}
