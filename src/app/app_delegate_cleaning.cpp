#include "app/app_delegate.h"

#include "controls/checkbox_table_cell_view.h"
#include "workflows/cleaning.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QTableWidget>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

CheckboxTableCellView* tickCell(const QTableWidget* table, int row, int column) {
    return qobject_cast<CheckboxTableCellView*>(table->cellWidget(row, column));
}

} // namespace

QString AppDelegate::columnIdentifier(const QTableWidget* table, int column) {
    const QTableWidgetItem* header = table->horizontalHeaderItem(column);
    return header ? header->data(Qt::UserRole).toString() : QString();
}

Cleaning AppDelegate::makeCleaning() {
    return Cleaning({services_.helper, services_.defaults, services_.matcher, services_.running,
                     alerts_, &backups_});
}

DeletionCounter AppDelegate::cleanDefaultsDomains(const QList<SVDefaultsDomain>& domains) {
    Cleaning cleaning = makeCleaning();
    return cleaning.cleanDefaultsDomains(domains);
}

void AppDelegate::cleanAppPreferences() {
    Cleaning cleaning = makeCleaning();
    if (const auto counter = cleaning.cleanAppPreferences(appUrl, results))
        displayResultsSheetWithCounter(*counter, false);
}

bool AppDelegate::rowIsInSight(int row) const {
    // Deliberately: a tick counts only while its row is on screen, as a table
    // that recycles the cells of rows scrolled away would count it.
    const QRect rowRect(0, osComponentsTable->rowViewportPosition(row), 1,
                        osComponentsTable->rowHeight(row));
    return osComponentsTable->viewport()->rect().intersects(rowRect);
}

QList<const SVOSComponent*> AppDelegate::tickedComponents() const {
    int selection = osComponentsTable->columnCount();
    for (int column = 0; column < osComponentsTable->columnCount(); ++column) {
        if (columnIdentifier(osComponentsTable, column) == u"selection"_s) {
            selection = column;
            break;
        }
    }
    QList<const SVOSComponent*> ticked;
    for (int row = 0; row < osComponents.size(); ++row) {
        const CheckboxTableCellView* cell = tickCell(osComponentsTable, row, selection);
        if (cell && rowIsInSight(row) && cell->checkbox()->checkState() == Qt::Checked)
            ticked.append(&osComponents.at(row));
    }
    return ticked;
}

void AppDelegate::cleanOSComponentPreferences() {
    Cleaning cleaning = makeCleaning();
    if (const auto counter = cleaning.cleanOSComponents(tickedComponents()))
        displayResultsSheetWithCounter(*counter, true);
}

void AppDelegate::reloadComponentsTable() {
    reloadComponentsTable({});
}

void AppDelegate::reloadComponentsTable(const QList<bool>& ticks) {
    osComponentsTable->setRowCount(0);
    osComponentsTable->setRowCount(int(osComponents.size()));
    for (int row = 0; row < osComponents.size(); ++row) {
        const SVOSComponent& component = osComponents.at(row);
        for (int column = 0; column < osComponentsTable->columnCount(); ++column) {
            const QString identifier = columnIdentifier(osComponentsTable, column);
            if (identifier == u"component"_s) {
                osComponentsTable->setItem(row, column, new QTableWidgetItem(component.name()));
            } else if (identifier == u"description"_s) {
                osComponentsTable->setItem(row, column,
                                           new QTableWidgetItem(component.description()));
            } else {
                auto* cell = new CheckboxTableCellView;
                cell->checkbox()->setChecked(ticks.value(row, false));
                cell->checkbox()->setAccessibleName(component.name());
                osComponentsTable->setCellWidget(row, column, cell);
            }
        }
    }
}

void AppDelegate::sortComponents(int column, Qt::SortOrder order) {
    const QString identifier = columnIdentifier(osComponentsTable, column);
    if (identifier != u"component"_s && identifier != u"description"_s)
        return;
    const bool byName = identifier == u"component"_s;
    QList<qsizetype> newOrder(osComponents.size());
    std::iota(newOrder.begin(), newOrder.end(), 0);
    std::stable_sort(newOrder.begin(), newOrder.end(), [&](qsizetype a, qsizetype b) {
        const SVOSComponent& first = osComponents.at(a);
        const SVOSComponent& second = osComponents.at(b);
        const int result = byName ? first.compareName(second) : first.compareDescription(second);
        return order == Qt::AscendingOrder ? result < 0 : result > 0;
    });
    // Ticks stay with their components when the rows move.
    const QList<const SVOSComponent*> ticked = tickedComponents();
    QList<SVOSComponent> sorted;
    QList<bool> ticks;
    for (qsizetype index : newOrder) {
        sorted.append(osComponents.at(index));
        ticks.append(ticked.contains(&osComponents.at(index)));
    }
    osComponents = sorted;
    reloadComponentsTable(ticks);
}
