#include "controls/checkbox_table_cell_view.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>

CheckboxTableCellView::CheckboxTableCellView(QWidget* parent)
    : QWidget(parent)
    , checkbox_(new QCheckBox(this))
    , imageView_(new QLabel(this))
    , textField_(new QLabel(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 0, 4, 0);
    layout->addWidget(checkbox_);
    layout->addWidget(imageView_);
    layout->addWidget(textField_, 1);
    // The box keeps its own size so that a click beside it is not a tick.
    checkbox_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    imageView_->hide();
    textField_->hide();
    checkbox_->setFocusPolicy(Qt::StrongFocus);
    // Keyboard focus on the cell lands on its tick box.
    setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(checkbox_);
}
