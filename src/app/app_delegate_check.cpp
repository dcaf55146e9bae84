#include "app/app_delegate.h"

#include "app/main_window.h"
#include "controls/checkbox_table_cell_view.h"
#include "controls/empty_state_label.h"
#include "workflows/property_list_check.h"
#include "workflows/result_texts.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QPointer>
#include <QTableWidget>
#include <QThreadPool>

using namespace Qt::StringLiterals;

void AppDelegate::checkUserPrefs() {
    checkPlistsAtPath(PropertyListCheck::userPreferencesFolder());
}

void AppDelegate::checkSystemPrefs() {
    checkPlistsAtPath(PropertyListCheck::systemPreferencesFolder());
}

void AppDelegate::checkPlistsAtPath(const QString& folder) {
    plutilErrors.clear();
    reloadFailuresTable();
    showProgressSheetWithMessage(u"Scanning files..."_s);
    QPointer<AppDelegate> self = this;
    HelperOperations* helper = &services_.helper;
    std::atomic<bool>* waiting = &waitingForPlutil;
    QThreadPool::globalInstance()->start([self, helper, waiting, folder] {
        PropertyListCheck check(*helper);
        PropertyListCheck::Result result = check.checkPlistsAtPath(folder, waiting);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, result] {
                if (!self)
                    return;
                self->plutilErrors = result.plutilErrors;
                self->plutilFinishedScanningFileCount(result.filesScanned);
            },
            Qt::QueuedConnection);
    });
}

void AppDelegate::plutilFinishedScanningFileCount(quint32 count) {
    closeProgressSheet();
    window->failuresEmptyState->setText(MainWindow::failuresPlaceholderAfterCheck());
    reloadFailuresTable();
    displayResultsSheetWithMessage(ResultTexts::finishedScanningHeadline(),
                                   ResultTexts::scanSummary(count, quint32(plutilErrors.size())),
                                   false);
}

void AppDelegate::reloadFailuresTable() {
    plutilFailuresTable->setRowCount(0);
    plutilFailuresTable->setRowCount(int(plutilErrors.size()));
    for (int row = 0; row < plutilErrors.size(); ++row) {
        const PlutilError& failure = plutilErrors.at(row);
        for (int column = 0; column < plutilFailuresTable->columnCount(); ++column) {
            const QString identifier = columnIdentifier(plutilFailuresTable, column);
            if (identifier == u"select"_s) {
                auto* cell = new CheckboxTableCellView;
                cell->checkbox()->setChecked(failure.selected());
                cell->checkbox()->setAccessibleName(failure.path());
                connect(cell->checkbox(), &QCheckBox::stateChanged, this, [this, row](int state) {
                    if (row < plutilErrors.size())
                        plutilErrors[row].checkboxAction(Qt::CheckState(state));
                });
                plutilFailuresTable->setCellWidget(row, column, cell);
            } else if (identifier == u"file"_s) {
                auto* item = new QTableWidgetItem(failure.path());
                item->setToolTip(failure.error());
                // The message is drawn in the row; screen readers hear it too.
                item->setData(Qt::AccessibleDescriptionRole, failure.error());
                plutilFailuresTable->setItem(row, column, item);
            }
        }
    }
}

void AppDelegate::deleteSelectedPlutilFiles() {
    if (plutilErrors.isEmpty())
        return;
    PropertyListCheck check(services_.helper);
    displayResultsSheetWithCounter(check.deleteSelectedPlutilFiles(plutilErrors), false);
}

void AppDelegate::toggleSelectedPlutilFiles() {
    PropertyListCheck::toggleSelectedPlutilFiles(plutilErrors);
    reloadFailuresTable();
}
