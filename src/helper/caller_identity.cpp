#include "helper/caller_identity.h"

#include <vector>

#include <grp.h>
#include <pwd.h>

CallerIdentity CallerIdentity::ofUser(uid_t uid) {
    CallerIdentity who{uid, static_cast<gid_t>(-1), {}};
    const passwd* user = ::getpwuid(uid);
    if (!user)
        return who;
    who.gid = user->pw_gid;
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    if (::getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0) {
        groups.resize(static_cast<size_t>(count));
        if (::getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0)
            count = 0;
    }
    for (int i = 0; i < count; ++i)
        who.groups.append(groups[static_cast<size_t>(i)]);
    return who;
}
