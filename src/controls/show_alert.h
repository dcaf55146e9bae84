#pragma once

#include "workflows/alert_presenter.h"

#include <QString>

// Shows an alert of a kind through the installed presenter. On the GUI thread
// it returns when the alert is dismissed; on any other thread it queues the
// same call to the GUI thread and returns at once. A null text is left out.
void ShowAlert(AlertKind kind, const QString& message, const QString& informative = QString());
// The same for an alert whose sender does not say its kind: the headline
// decides it (AlertKinds).
void ShowAlert(const QString& message, const QString& informative = QString());

// Asks a yes-or-no question through the installed presenter and returns
// whether the user agreed. Only the GUI thread can wait for an answer: on any
// other thread the question is logged and refused.
bool ShowConfirmation(AlertKind kind, const QString& message, const QString& informative,
                      const QString& agreeButton);

// Installs the presenter every alert goes through and returns the previous
// one; nullptr puts back the message-box presenter. The presenter must
// outlive its installation.
AlertPresenter* setAlertPresenter(AlertPresenter* presenter);

// Hands the workflows' alerts to ShowAlert, so that they reach the GUI thread
// and whichever presenter is installed.
class ShowAlertPresenter : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override {
        ShowAlert(message, informative);
    }
    void showAlertOfKind(AlertKind kind, const QString& message,
                         const QString& informative) override {
        ShowAlert(kind, message, informative);
    }
    bool confirm(AlertKind kind, const QString& message, const QString& informative,
                 const QString& agreeButton) override {
        return ShowConfirmation(kind, message, informative, agreeButton);
    }
};
