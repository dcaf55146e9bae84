#pragma once

#include "workflows/alert_presenter.h"

// Shows an alert as an application-modal QMessageBox over the active window,
// with only the texts that are present.
class MessageBoxAlertPresenter : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override;
};
