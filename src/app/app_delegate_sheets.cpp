#include "app/app_delegate.h"

#include "workflows/helper_operations.h"
#include "workflows/result_texts.h"

#include <QCoreApplication>
#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>

namespace {

bool onGuiThread() {
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

} // namespace

void AppDelegate::showProgressSheetWithMessage(const QString& message) {
    if (!onGuiThread()) {
        QMetaObject::invokeMethod(
            this, [this, message] { showProgressSheetWithMessage(message); }, Qt::QueuedConnection);
        return;
    }
    progressLabel->setText(message);
    progressBar->setRange(0, 0); // indeterminate: animates
    progressSheet->open();
}

void AppDelegate::closeProgressSheet() {
    if (!onGuiThread()) {
        QMetaObject::invokeMethod(
            this, [this] { closeProgressSheet(); }, Qt::QueuedConnection);
        return;
    }
    progressBar->setRange(0, 1);
    progressSheet->close();
}

void AppDelegate::displayResultsSheetWithCounter(const DeletionCounter& counter,
                                                 bool suggestReboot) {
    displayResultsSheetWithMessage(ResultTexts::operationCompleteHeadline(),
                                   ResultTexts::deletionSummary(counter), suggestReboot);
}

void AppDelegate::displayResultsSheetWithMessage(const QString& message, const QString& info,
                                                 bool suggestReboot) {
    opCompleteMessageLabel->setText(message);
    opCompleteInfoLabel->setText(info);
    opCompleteRebootLabel->setVisible(suggestReboot);
    opCompleteRebootButton->setVisible(suggestReboot);
    opCompleteSheet->open();
}

void AppDelegate::opComplete_closeSheet() {
    opCompleteSheet->close();
}

void AppDelegate::opComplete_Reboot() {
    opCompleteSheet->close();
    services_.helper.rebootComputer();
}

void AppDelegate::progressSheet_cancel() {
    actionCancelled = true;
    if (waitingForPlutil)
        services_.helper.cancelPlutilChecks();
}
