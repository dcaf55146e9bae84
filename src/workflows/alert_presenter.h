#pragma once

#include <QString>

// What an alert is about, so that it can be drawn with the icon that fits:
// a plain piece of news, something the user should see to before going on,
// or a request that failed.
enum class AlertKind {
    Information,
    Warning,
    Error,
};

// The one way Sorvane puts a stop in front of the user: a message and an
// informative text, either of which may be absent (a null QString). The
// desktop application shows a message box; tests install a presenter that
// records and answers at once, so no workflow ever needs a person.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;

    // Returns when the user has dismissed the alert.
    virtual void showAlert(const QString& message, const QString& informative) = 0;
    // The same alert with its kind. Presenters that draw nothing of the kind
    // (a terminal, a log) show the texts alone.
    virtual void showAlertOfKind(AlertKind kind, const QString& message,
                                 const QString& informative) {
        Q_UNUSED(kind);
        showAlert(message, informative);
    }
    // A question the user answers yes or no: the alert with a button that
    // agrees (its text is agreeButton) and one that cancels. True when the
    // user agreed. Presenters with nobody to ask show the alert and refuse,
    // so that nothing irreversible happens unasked.
    virtual bool confirm(AlertKind kind, const QString& message, const QString& informative,
                         const QString& agreeButton) {
        Q_UNUSED(agreeButton);
        showAlertOfKind(kind, message, informative);
        return false;
    }
};
