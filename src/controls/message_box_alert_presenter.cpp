#include "controls/message_box_alert_presenter.h"

#include <QApplication>
#include <QMessageBox>

void MessageBoxAlertPresenter::showAlert(const QString& message, const QString& informative) {
    QMessageBox box(QApplication::activeWindow());
    box.setIcon(QMessageBox::Warning);
    if (!message.isNull())
        box.setText(message);
    if (!informative.isNull())
        box.setInformativeText(informative);
    box.exec();
}
