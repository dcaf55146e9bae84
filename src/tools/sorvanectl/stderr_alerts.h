#pragma once

#include "workflows/alert_presenter.h"

class CtlOutput;

// The workflows' alerts on the command line: each one is a single line on
// standard error ("Title: text"), answered at once.
class StderrAlerts : public AlertPresenter {
public:
    explicit StderrAlerts(CtlOutput& out);
    void showAlert(const QString& message, const QString& informative) override;

    int shown() const { return shown_; }

private:
    CtlOutput& out_;
    int shown_ = 0;
};
