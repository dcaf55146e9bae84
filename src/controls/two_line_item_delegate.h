#pragma once

#include <QStyledItemDelegate>

// Draws a cell as two lines: the item's text (a path, cut in the middle when
// it is too wide) and under it, dimmer, the text the item holds in another
// role. The failures table shows each file's checker message this way, so
// that the message, which is also the cell's tool tip, is read without
// hovering and by keyboard users.
class TwoLineItemDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit TwoLineItemDelegate(int detailRole, QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // The height of a row of two lines in the font.
    static int rowHeight(const QFont& font);

private:
    int detailRole_;
};
