#pragma once

#include "workflows/alert_presenter.h"

class CtlOutput;

// The workflows' alerts on the command line: each one is a single line on
// standard error ("Title: text"), answered at once. sorvanectl asks no
// questions: a question is shown like an alert and refused, so that a script
// never gets what nobody agreed to; commands offer an option instead.
class StderrAlerts : public AlertPresenter {
public:
    explicit StderrAlerts(CtlOutput& out);
    void showAlert(const QString& message, const QString& informative) override;
    bool confirm(AlertKind kind, const QString& message, const QString& informative,
                 const QString& agreeButton) override;

    int shown() const { return shown_; }
    int refused() const { return refused_; }

private:
    CtlOutput& out_;
    int shown_ = 0;
    int refused_ = 0;
};
