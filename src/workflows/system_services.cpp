#include "workflows/system_services.h"

#include "platform/running_applications.h"
#include "privileged/link_to_helper_tool.h"
#include "privileged/sv_task_master.h"
#include "search/sv_defaults_tool.h"

LinkHelperOperations::LinkHelperOperations(LinkToHelperTool* link)
    : link_(link) {}

LinkToHelperTool* LinkHelperOperations::link() {
    if (!link_)
        link_ = LinkToHelperTool::helperLink();
    return link_;
}

bool LinkHelperOperations::deleteDefaultsDomain(const QString& domain) {
    return link()->deleteDefaultsDomain(domain);
}

bool LinkHelperOperations::deleteFileAtUrl(const QUrl& file) {
    return link()->deleteFileAtUrl(file);
}

std::optional<QMap<QString, QString>> LinkHelperOperations::checkPlistsAtUrl(const QUrl& folder) {
    return link()->checkPlistsAtUrl(folder);
}

void LinkHelperOperations::cancelPlutilChecks() {
    link()->cancelPlutilChecks();
}

void LinkHelperOperations::rebootComputer() {
    link()->rebootComputer();
}

bool TaskMasterDomainRunner::deleteDefaultDomain(const QString& domain) {
    SVTaskMaster runner;
    return runner.deleteDefaultDomain(domain);
}

DefaultsToolMatcher::DefaultsToolMatcher(SVDefaultsTool* tool)
    : tool_(tool) {}

QList<SVDefaultsDomain> DefaultsToolMatcher::matchesForDomain(const QString& pattern) {
    if (!tool_)
        tool_ = SVDefaultsTool::sharedTool();
    return tool_->matchesForDomain(pattern);
}

bool ProcessRunningApplicationQuery::isRunning(const QString& bundleIdentifier) {
    return !RunningApplications::runningApplicationsWithBundleIdentifier(bundleIdentifier)
                .isEmpty();
}
