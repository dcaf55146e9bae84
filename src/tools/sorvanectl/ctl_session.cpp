#include "ctl_session.h"

#include "ctl_output.h"
#include "helper_access.h"
#include "workflows/settings_system.h"

using namespace Qt::StringLiterals;

CtlSession::CtlSession(CtlOutput& out)
    : out_(out)
    , alerts_(out) {}

CtlSession::~CtlSession() = default;

HelperAccess& CtlSession::helper() {
    if (helper_)
        return *helper_;
    helper_ = std::make_unique<HelperAccess>();
    if (!helper_->reachable())
        out_.warn(u"the privileged helper is not reachable (%1); %2 (to use it, %3)"_s.arg(
            helper_->problem(),
            withoutHelper_.isEmpty() ? u"going on without it"_s : withoutHelper_,
            HelperAccess::installHint()));
    return *helper_;
}

DomainMatcher& CtlSession::matcher() {
    if (matcher_)
        return *matcher_;
    HelperAccess& access = helper();
    matcher_ = SettingsSystem::current().makeDomainMatcher(
        [&access]() -> std::optional<QStringList> { return access.readAllDefaultsDomains(); });
    return *matcher_;
}

CleaningServices CtlSession::cleaningServices(bool keepBackups) {
    DomainMatcher& domainMatcher = matcher();
    return CleaningServices{helper(),  defaultsRunner_, domainMatcher,
                            running(), alerts_,         keepBackups ? &backups() : nullptr};
}

CleaningBackupStore& CtlSession::backups() {
    if (!backups_)
        backups_ = std::make_unique<CleaningBackupStore>(
            SettingsSystem::current().cleaningBackupsFolder());
    return *backups_;
}

QJsonObject CtlSession::helperJson() {
    HelperAccess& access = helper();
    QJsonObject json{{u"reachable"_s, access.reachable()}};
    if (!access.reachable())
        json.insert(u"problem"_s, access.problem());
    return json;
}

RunningApplicationQuery& CtlSession::running() {
    return SettingsSystem::current().running();
}
