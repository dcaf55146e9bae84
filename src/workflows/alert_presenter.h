#pragma once

#include <QString>

// Shows a user-facing stop: a message text and an informative text, either
// of which may be null. The desktop application shows a modal alert;
// sorvanectl prints; tests record.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;
    virtual void showAlert(const QString& message, const QString& informative) = 0;
};
