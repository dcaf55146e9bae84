#include "app/cleaning_history_dialog.h"

#include "controls/empty_state_label.h"
#include "workflows/cleaning_backup_store.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

enum Column { DateColumn, CleaningColumn, HoldsColumn, RestoredColumn };

QString shownDate(const QDateTime& date) {
    return date.isValid() ? date.toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s) : QString();
}

QString cleaningText(const CleaningBackup& backup) {
    return backup.kind == CleaningBackup::Kind::Components ? u"Components: "_s + backup.title
                                                           : backup.title;
}

QString detailsOf(const CleaningBackup& backup) {
    QString first = u"%1, %2: %3."_s.arg(backup.description(), shownDate(backup.created),
                                         backup.contentsSummary());
    // The description is written to stand inside a sentence ("the cleaning of …").
    first[0] = first[0].toUpper();
    QStringList lines{first};
    if (backup.isRestored())
        lines.append(u"Restored %1."_s.arg(shownDate(backup.restored)));
    QStringList missing;
    for (const CleaningBackup::Domain& domain : backup.domains) {
        if (!domain.kept())
            missing.append(u"  domain %1 — %2"_s.arg(domain.domain, domain.problem));
    }
    for (const CleaningBackup::Item& item : backup.items) {
        if (!item.kept())
            missing.append(u"  %1 — %2"_s.arg(item.path, item.problem));
    }
    if (!missing.isEmpty())
        lines.append(u"Not in the backup:"_s);
    return (lines + missing).join(u'\n');
}

} // namespace

CleaningHistoryDialog::CleaningHistoryDialog(CleaningBackupStore& store, QWidget* parent)
    : QDialog(parent)
    , store_(store) {
    setWindowTitle(u"Cleaning History"_s);
    setWindowModality(Qt::WindowModal);
    resize(760, 460);
    auto* layout = new QVBoxLayout(this);
    auto* intro =
        new QLabel(u"Before each cleaning, Sorvane keeps what it deletes in %1. "
                   u"Restore puts back what the chosen cleaning deleted."_s.arg(store_.folder()));
    intro->setWordWrap(true);
    intro->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(intro);

    list_ = new QTreeWidget;
    list_->setRootIsDecorated(false);
    list_->setHeaderLabels({u"Date"_s, u"Cleaning"_s, u"Holds"_s, u"Restored"_s});
    list_->header()->setSectionResizeMode(DateColumn, QHeaderView::ResizeToContents);
    list_->header()->setSectionResizeMode(CleaningColumn, QHeaderView::Stretch);
    // What a backup holds is read whole; the name of what was cleaned gives way.
    list_->header()->setSectionResizeMode(HoldsColumn, QHeaderView::ResizeToContents);
    list_->header()->setSectionResizeMode(RestoredColumn, QHeaderView::ResizeToContents);
    list_->header()->setStretchLastSection(false);
    EmptyStateLabel::overView(list_, u"No cleaning has been backed up yet: Sorvane keeps what a "
                                     u"cleaning deletes the next time you clean."_s);
    layout->addWidget(list_, 2);

    details_ = new QPlainTextEdit;
    details_->setReadOnly(true);
    layout->addWidget(details_, 1);
    status_ = new QLabel;
    status_->setWordWrap(true);
    layout->addWidget(status_);

    auto* row = new QHBoxLayout;
    restoreButton_ = new QPushButton(u"&Restore"_s);
    discardButton_ = new QPushButton(u"&Discard"_s);
    auto* closeButton = new QPushButton(u"&Close"_s);
    closeButton->setDefault(true);
    row->addWidget(restoreButton_);
    row->addWidget(discardButton_);
    row->addStretch();
    row->addWidget(closeButton);
    layout->addLayout(row);

    connect(list_, &QTreeWidget::itemSelectionChanged, this, &CleaningHistoryDialog::showDetails);
    connect(restoreButton_, &QPushButton::clicked, this,
            [this] { Q_EMIT restoreRequested(selectedId()); });
    connect(discardButton_, &QPushButton::clicked, this,
            [this] { Q_EMIT discardRequested(selectedId()); });
    connect(closeButton, &QPushButton::clicked, this, &QDialog::accept);
    reload();
}

void CleaningHistoryDialog::reload() {
    const QString chosen = selectedId();
    list_->clear();
    shown_ = store_.backups();
    for (const CleaningBackup& backup : shown_) {
        auto* item =
            new QTreeWidgetItem(list_, {shownDate(backup.created), cleaningText(backup),
                                        backup.contentsSummary(), shownDate(backup.restored)});
        item->setData(DateColumn, Qt::UserRole, backup.id);
        item->setToolTip(HoldsColumn, backup.contentsSummary());
    }
    if (!chosen.isEmpty())
        selectId(chosen);
    if (!list_->currentItem() && list_->topLevelItemCount() > 0)
        list_->setCurrentItem(list_->topLevelItem(0));
    showDetails();
}

QString CleaningHistoryDialog::selectedId() const {
    const QList<QTreeWidgetItem*> selected = list_->selectedItems();
    return selected.isEmpty() ? QString()
                              : selected.constFirst()->data(DateColumn, Qt::UserRole).toString();
}

void CleaningHistoryDialog::selectId(const QString& id) {
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list_->topLevelItem(i);
        if (item->data(DateColumn, Qt::UserRole).toString() == id) {
            list_->setCurrentItem(item);
            return;
        }
    }
}

void CleaningHistoryDialog::setStatus(const QString& text) {
    status_->setText(text);
}

void CleaningHistoryDialog::showDetails() {
    const QString id = selectedId();
    restoreButton_->setEnabled(!id.isEmpty());
    discardButton_->setEnabled(!id.isEmpty());
    const auto shown =
        std::find_if(shown_.cbegin(), shown_.cend(),
                     [&id](const CleaningBackup& backup) { return backup.id == id; });
    details_->setPlainText(shown != shown_.cend() ? detailsOf(*shown) : QString());
}
