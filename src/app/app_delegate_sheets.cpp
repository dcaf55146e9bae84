#include "app/app_delegate.h"

#include "controls/progress_sheet.h"
#include "workflows/helper_operations.h"
#include "workflows/result_texts.h"

#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

void AppDelegate::showProgressSheetWithMessage(const QString& message) {
    progressSheet->showWithMessage(message);
}

void AppDelegate::closeProgressSheet() {
    progressSheet->closeSheet();
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
        services_.system.cancelCheck(services_.helper);
}
