#include "controls/sv_list_item_view.h"

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
    QFont small = ui_->detailField->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    ui_->detailField->setFont(small);
    ui_->detailField->setForegroundRole(QPalette::PlaceholderText);
    connect(ui_->deleteButton, &QToolButton::clicked, this, &SVListItemView::deleteItemAction);
}

bool SVListItemView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui_->labelField && event->type() == QEvent::Resize)
        showName();
    return QWidget::eventFilter(watched, event);
}

namespace {

// Long paths differ at their ends: the folders are cut in the middle, so that
// each row still shows its file's name whole where it fits.
QString fittedName(const QFontMetrics& metrics, const QString& name, int width) {
    if (metrics.horizontalAdvance(name) <= width)
        return name;
    const qsizetype slash = name.lastIndexOf(u'/');
    if (slash > 0) {
        const QString file = name.mid(slash);
        const int folderWidth = width - metrics.horizontalAdvance(file);
        if (folderWidth >= 4 * metrics.averageCharWidth())
            return metrics.elidedText(name.left(slash), Qt::ElideMiddle, folderWidth) + file;
    }
    return metrics.elidedText(name, Qt::ElideMiddle, width);
}

} // namespace

void SVListItemView::showName() {
    QLabel* field = ui_->labelField;
    field->setText(fittedName(field->fontMetrics(), name_, std::max(field->width(), 1)));
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
