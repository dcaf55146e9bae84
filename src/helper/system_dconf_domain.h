#pragma once

#include <QString>

// A system domain of the Linux desktop, as the helper deletes it: its keys
// and locks come out of the key files of <system root>/etc/dconf/db, then
// "dconf update" rebuilds the binary databases from them. Nothing outside
// that folder is touched.
class SystemDconfDomain {
public:
    // Whether a key file or lock file of the system databases names it.
    static bool exists(const QString& domain);
    static bool remove(const QString& domain, QString* error);
};
