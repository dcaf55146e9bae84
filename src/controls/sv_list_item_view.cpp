#include "controls/sv_list_item_view.h"

#include "controls/path_elision.h"
#include "controls/sv_list_item_view_delegate.h"
#include "ui_list_item_view.h"

#include <QEvent>
#include <QTimer>

#include <algorithm>

SVListItemView::SVListItemView(QWidget* parent)
    : QWidget(parent)
    , ui_(std::make_unique<Ui::ListItemView>()) {
    ui_->setupUi(this);
    ui_->labelField->installEventFilter(this);
    ui_->detailField->installEventFilter(this);
    QFont small = ui_->detailField->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    ui_->detailField->setFont(small);
    ui_->detailField->setForegroundRole(QPalette::PlaceholderText);
    connect(ui_->deleteButton, &QToolButton::clicked, this, &SVListItemView::deleteItemAction);
}

bool SVListItemView::eventFilter(QObject* watched, QEvent* event) {
    if ((watched == ui_->labelField || watched == ui_->detailField) &&
        event->type() == QEvent::Resize)
        showName();
    return QWidget::eventFilter(watched, event);
}

void SVListItemView::showName() {
    QLabel* field = ui_->labelField;
    field->setText(PathElision::fitted(field->fontMetrics(), name_, std::max(field->width(), 1)));
    QLabel* detail = ui_->detailField;
    detail->setText(
        detail->fontMetrics().elidedText(detail_, Qt::ElideRight, std::max(detail->width(), 1)));
}

SVListItemView::~SVListItemView() = default;

SVListItemView* SVListItemView::listViewForItemWithName(const QString& name, bool canBeDeleted,
                                                        SVListItemViewDelegate* delegate) {
    auto* item = new SVListItemView;
    item->name_ = name;
    item->ui_->labelField->setText(name);
    // The row may show a long name cut; the tool tip still shows all of it.
    item->ui_->labelField->setToolTip(name);
    item->ui_->deleteButton->setEnabled(canBeDeleted);
    item->setDelegate(delegate);
    return item;
}

QString SVListItemView::label() const {
    return name_;
}

QLabel* SVListItemView::labelField() const {
    return ui_->labelField;
}

void SVListItemView::setDetail(const QString& detail) {
    detail_ = detail;
    QLabel* field = ui_->detailField;
    field->setText(detail);
    field->setToolTip(detail);
    field->setVisible(!detail.isEmpty());
}

QLabel* SVListItemView::detailField() const {
    return ui_->detailField;
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
