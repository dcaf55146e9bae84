#include "controls/sv_list_item_view.h"

#include "controls/sv_list_item_view_delegate.h"
#include "ui_list_item_view.h"

#include <QTimer>

SVListItemView::SVListItemView(QWidget* parent)
    : QWidget(parent)
    , ui_(std::make_unique<Ui::ListItemView>()) {
    ui_->setupUi(this);
    connect(ui_->deleteButton, &QToolButton::clicked, this, &SVListItemView::deleteItemAction);
}

SVListItemView::~SVListItemView() = default;

SVListItemView* SVListItemView::listViewForItemWithName(const QString& name, bool canBeDeleted,
                                                        SVListItemViewDelegate* delegate) {
    auto* item = new SVListItemView;
    item->ui_->labelField->setText(name);
    // The column may cut a long name off; the tool tip still shows all of it.
    item->ui_->labelField->setToolTip(name);
    item->ui_->deleteButton->setEnabled(canBeDeleted);
    item->setDelegate(delegate);
    return item;
}

QString SVListItemView::label() const {
    return ui_->labelField->text();
}

QLabel* SVListItemView::labelField() const {
    return ui_->labelField;
}

QToolButton* SVListItemView::deleteButton() const {
    return ui_->deleteButton;
}

void SVListItemView::deleteItemAction() {
    QTimer::singleShot(kDeleteDelayMs, this, [this] {
        if (delegate_)
            delegate_->shouldDeleteListItem(this);
    });
}
