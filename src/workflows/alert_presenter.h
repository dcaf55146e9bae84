#pragma once

#include <QString>

// The one way Sorvane puts a stop in front of the user: a message and an
// informative text, either of which may be absent (a null QString). The
// desktop application shows a message box; tests install a presenter that
// records and answers at once, so no workflow ever needs a person.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;

    // Returns when the user has dismissed the alert.
    virtual void showAlert(const QString& message, const QString& informative) = 0;
};
