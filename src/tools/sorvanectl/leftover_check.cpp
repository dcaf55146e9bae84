#include "leftover_check.h"

#include "helper_access.h"
#include "platform/defaults_store.h"
#include "platform/library_folders.h"

#include <QFileInfo>

LeftoverCheck::LeftoverCheck(HelperAccess& helper)
    : helper_(helper) {}

bool LeftoverCheck::domainRemains(const SVDefaultsDomain& domain) {
    // A name read from the defaults program may keep its line end.
    const QString name = domain.domain().trimmed();
    if (domain.authLevel() == 0)
        return DefaultsStore(LibraryFolders::homeFolder()).domainExists(name);
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
