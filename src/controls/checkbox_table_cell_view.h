#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;

// A table cell holding one tick box, for the ticked rows of the components,
// property-list failures and packager tables. It also carries an image and a
// text beside the box for tables that show a name in the same cell; both are
// hidden until such a table shows them.
class CheckboxTableCellView : public QWidget {
    Q_OBJECT

public:
    explicit CheckboxTableCellView(QWidget* parent = nullptr);

    QCheckBox* checkbox() const { return checkbox_; }
    QLabel* imageView() const { return imageView_; }
    QLabel* textField() const { return textField_; }

private:
    QCheckBox* checkbox_;
    QLabel* imageView_;
    QLabel* textField_;
};
