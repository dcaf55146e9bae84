#pragma once

#include "workflows/defaults_domain_runner.h"
#include "workflows/domain_matcher.h"
#include "workflows/helper_operations.h"
#include "workflows/running_application_query.h"

class LinkToHelperTool;
class SVDefaultsTool;

// The real services behind the workflows' interfaces, shared by the desktop
// application and sorvanectl.

// The privileged helper, through the shared helper link. The link is reached
// on first use, so that its version check (and any installation) happens
// when privileged work is first needed, never at construction.
class LinkHelperOperations : public HelperOperations {
public:
    explicit LinkHelperOperations(LinkToHelperTool* link = nullptr);

    bool deleteDefaultsDomain(const QString& domain) override;
    bool deleteFileAtUrl(const QUrl& file) override;
    std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl& folder) override;
    void cancelPlutilChecks() override;
    void rebootComputer() override;

private:
    LinkToHelperTool* link();

    LinkToHelperTool* link_;
};

// "defaults delete" run by a fresh task runner for every domain.
class TaskMasterDomainRunner : public DefaultsDomainRunner {
public:
    bool deleteDefaultDomain(const QString& domain) override;
};

// The domains the shared defaults tool read at start-up.
class DefaultsToolMatcher : public DomainMatcher {
public:
    explicit DefaultsToolMatcher(SVDefaultsTool* tool = nullptr);
    QList<SVDefaultsDomain> matchesForDomain(const QString& pattern) override;

private:
    SVDefaultsTool* tool_;
};

// Processes whose executable lies inside a bundle with the identifier.
class ProcessRunningApplicationQuery : public RunningApplicationQuery {
public:
    bool isRunning(const QString& bundleIdentifier) override;
};
