#pragma once

#include "workflows/alert_presenter.h"

#include <QTextStream>

// Alerts on a terminal: one line on the given stream (standard error) with
// the program's name, the message and the informative text, and no answer to
// wait for.
class StreamAlertPresenter : public AlertPresenter {
public:
    explicit StreamAlertPresenter(QTextStream& stream);

    void showAlert(const QString& message, const QString& informative) override;
    // The same one-line form for the program's own complaints.
    void printLine(const QString& text);

private:
    QTextStream& stream_;
};
