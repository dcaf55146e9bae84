#include "stderr_alerts.h"

#include "ctl_output.h"

using namespace Qt::StringLiterals;

StderrAlerts::StderrAlerts(CtlOutput& out)
    : out_(out) {}

void StderrAlerts::showAlert(const QString& message, const QString& informative) {
    ++shown_;
    if (message.isEmpty() || informative.isEmpty())
        out_.complain(message.isEmpty() ? informative : message);
    else
        out_.complain(message + u": "_s + informative);
}

bool StderrAlerts::confirm(AlertKind kind, const QString& message, const QString& informative,
                           const QString& agreeButton) {
    Q_UNUSED(kind);
    Q_UNUSED(agreeButton);
    showAlert(message, informative);
    ++refused_;
    return false;
}
