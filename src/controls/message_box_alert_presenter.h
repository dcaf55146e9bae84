#pragma once

#include "workflows/alert_presenter.h"

#include <QMessageBox>

// Shows an alert as an application-modal QMessageBox over the active window,
// with only the texts that are present and the icon of its kind. An alert
// without a kind takes the one its headline has (AlertKinds).
class MessageBoxAlertPresenter : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override;
    void showAlertOfKind(AlertKind kind, const QString& message,
                         const QString& informative) override;
    // The agreeing button and Cancel, which is the default and answers Escape:
    // an unread question refuses.
    bool confirm(AlertKind kind, const QString& message, const QString& informative,
                 const QString& agreeButton) override;

    static QMessageBox::Icon iconOfKind(AlertKind kind);
};
