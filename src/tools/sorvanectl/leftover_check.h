#pragma once

#include "search/sv_defaults_domain.h"

#include <QString>
#include <QStringList>

#include <optional>

class HelperAccess;

// What a cleaning left behind, looked up after it: the counts a cleaning
// keeps follow the desktop application's rules (a helper's "true" after a
// failed removal counts as an error, its "false" as a deletion), so the
// command line reports each item by whether it is still there.
class LeftoverCheck {
public:
    explicit LeftoverCheck(HelperAccess& helper);

    // A user domain is looked for in the user's defaults; root's in the
    // helper's list, read once (without the helper it counts as still there).
    bool domainRemains(const SVDefaultsDomain& domain);
    static bool fileRemains(const QString& path);

private:
    HelperAccess& helper_;
    bool rootDomainsRead_ = false;
    std::optional<QStringList> rootDomains_;
};
