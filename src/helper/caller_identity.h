#pragma once

#include <QList>

#include <sys/types.h>

// Who a request acts for, as the kernel checks it: the user, the primary
// group and the supplementary groups. The bus reports a caller's groups as
// they are in its process; ofUser() reads them from the user database for a
// user who did not ask (the owner of another user's Library).
struct CallerIdentity {
    CallerIdentity(uid_t user = 0, gid_t group = 0, QList<gid_t> otherGroups = {})
        : uid(user)
        , gid(group)
        , groups(std::move(otherGroups)) {}

    uid_t uid;
    gid_t gid;
    QList<gid_t> groups;

    static CallerIdentity ofUser(uid_t uid);
    static CallerIdentity root() { return {}; }
};
