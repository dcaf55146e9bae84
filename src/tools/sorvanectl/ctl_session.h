#pragma once

#include "stderr_alerts.h"
#include "workflows/cleaning.h"
#include "workflows/cleaning_backup_store.h"
#include "workflows/system_services.h"

#include <QJsonObject>

#include <memory>

class CtlOutput;
class HelperAccess;

// The services one sorvanectl command runs on, made when first needed: the
// helper (probed once, its absence said once), the defaults domains of the
// user and of root (read once and waited for, since a command has nobody to
// wait for them otherwise), the defaults program, the running-application
// query and the alerts, all of the settings system chosen at start-up.
class CtlSession {
public:
    explicit CtlSession(CtlOutput& out);
    ~CtlSession();
    CtlSession(const CtlSession&) = delete;
    CtlSession& operator=(const CtlSession&) = delete;

    CtlOutput& out() { return out_; }
    // What the command does without the helper, said with its absence.
    void setWithoutHelper(const QString& consequence) { withoutHelper_ = consequence; }
    HelperAccess& helper();
    DomainMatcher& matcher();
    StderrAlerts& alerts() { return alerts_; }
    RunningApplicationQuery& running();
    // With keepBackups, cleanings back up what they delete first.
    CleaningServices cleaningServices(bool keepBackups = true);
    // The store of the cleanings' backups of the chosen settings system.
    CleaningBackupStore& backups();

    // {"reachable": bool, "problem": text}, for commands that asked.
    QJsonObject helperJson();

private:
    CtlOutput& out_;
    QString withoutHelper_;
    StderrAlerts alerts_;
    std::unique_ptr<HelperAccess> helper_;
    std::unique_ptr<DomainMatcher> matcher_;
    std::unique_ptr<CleaningBackupStore> backups_;
    TaskMasterDomainRunner defaultsRunner_;
};
