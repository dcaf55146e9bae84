#pragma once

#include "workflows/helper_operations.h"

// The property-list check's operations with the user's own rights: the same
// folder walk and checker the helper runs as root, and direct removal. Used
// for folders other than the two preference folders, and for those when the
// helper cannot be reached.
class LocalPlistOperations : public HelperOperations {
public:
    bool deleteDefaultsDomain(const QString& domain) override;
    bool deleteFileAtUrl(const QUrl& file) override;
    std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl& folder) override;
    void cancelPlutilChecks() override;
    void rebootComputer() override;
};
