#include "leftover_check.h"

#include "helper_access.h"
#include "workflows/settings_system.h"

#include <QFileInfo>

LeftoverCheck::LeftoverCheck(HelperAccess& helper)
    : helper_(helper) {}

bool LeftoverCheck::domainRemains(const SVDefaultsDomain& domain) {
    // A name read from the defaults program may keep its line end.
    const QString name = domain.domain().trimmed();
    if (domain.authLevel() == 0)
        return SettingsSystem::current().userDomainValues(name).has_value();
    if (!rootDomainsRead_) {
        rootDomains_ = helper_.readAllDefaultsDomains();
        rootDomainsRead_ = true;
    }
    return !rootDomains_ || rootDomains_->contains(name);
}

bool LeftoverCheck::fileRemains(const QString& path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}
