#include "controls/sv_list_view.h"

#include "controls/empty_state_label.h"
#include "controls/sv_list_item_view.h"
#include "controls/sv_list_view_delegate.h"
#include "util/logging.h"

#include <QVBoxLayout>

using namespace Qt::StringLiterals;

SVListView::SVListView(QWidget* parent)
    : QWidget(parent)
    , layout_(new QVBoxLayout(this))
    , emptyState_(new EmptyStateLabel(QString(), this)) {
    layout_->setAlignment(Qt::AlignTop);
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(2);
    showEmptyState();
}

void SVListView::addItemWithName(const QString& name, bool canBeDeleted) {
    SVListItemView* item = SVListItemView::listViewForItemWithName(name, canBeDeleted, this);
    if (!item) {
        sv::log(u"SVListView failed to create item"_s);
        return;
    }
    layout_->addWidget(item);
    showEmptyState();
}

void SVListView::removeAllItems() {
    const QList<SVListItemView*> rows = items();
    for (SVListItemView* item : rows)
        deleteItem(item);
}

void SVListView::deleteItem(SVListItemView* item) {
    if (!item || item->parentWidget() != this)
        return;
    layout_->removeWidget(item);
    item->hide();
    item->setParent(nullptr);
    // The row may be the one whose timer is asking right now.
    item->deleteLater();
    showEmptyState();
}

QList<SVListItemView*> SVListView::items() const {
    QList<SVListItemView*> rows;
    for (int i = 0; i < layout_->count(); ++i) {
        if (auto* item = qobject_cast<SVListItemView*>(layout_->itemAt(i)->widget()))
            rows.append(item);
    }
    return rows;
}

void SVListView::setPlaceholderText(const QString& text) {
    emptyState_->setText(text);
    showEmptyState();
}

QLabel* SVListView::emptyStateLabel() const {
    return emptyState_;
}

void SVListView::showEmptyState() {
    emptyState_->setVisible(!emptyState_->text().isEmpty() && items().isEmpty());
    emptyState_->raise();
}

void SVListView::shouldDeleteListItem(SVListItemView* item) {
    sv::log(u"SVListView::shouldDeleteListItem"_s);
    if (delegate_ && delegate_->shouldListViewDeleteListItem(this, item))
        deleteItem(item);
}
