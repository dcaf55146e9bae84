#include "controls/message_box_alert_presenter.h"

#include "controls/alert_kinds.h"

#include <QApplication>
#include <QPushButton>

void MessageBoxAlertPresenter::showAlert(const QString& message, const QString& informative) {
    showAlertOfKind(AlertKinds::ofHeadline(message), message, informative);
}

void MessageBoxAlertPresenter::showAlertOfKind(AlertKind kind, const QString& message,
                                               const QString& informative) {
    QMessageBox box(QApplication::activeWindow());
    box.setIcon(iconOfKind(kind));
    if (!message.isNull())
        box.setText(message);
    if (!informative.isNull())
        box.setInformativeText(informative);
    box.exec();
}

bool MessageBoxAlertPresenter::confirm(AlertKind kind, const QString& message,
                                       const QString& informative, const QString& agreeButton) {
    QMessageBox box(QApplication::activeWindow());
    box.setIcon(iconOfKind(kind));
    if (!message.isNull())
        box.setText(message);
    if (!informative.isNull())
        box.setInformativeText(informative);
    QPushButton* agree = box.addButton(agreeButton, QMessageBox::AcceptRole);
    QPushButton* cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == agree;
}

QMessageBox::Icon MessageBoxAlertPresenter::iconOfKind(AlertKind kind) {
    switch (kind) {
    case AlertKind::Information:
        return QMessageBox::Information;
    case AlertKind::Warning:
        return QMessageBox::Warning;
    case AlertKind::Error:
        return QMessageBox::Critical;
    }
    return QMessageBox::Warning;
}
