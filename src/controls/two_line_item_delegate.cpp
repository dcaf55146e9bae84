#include "controls/two_line_item_delegate.h"

#include "controls/path_elision.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int kPadding = 4;
// How much of the text colour the second line keeps.
constexpr qreal kDetailOpacity = 0.7;

} // namespace

TwoLineItemDelegate::TwoLineItemDelegate(int detailRole, QObject* parent)
    : QStyledItemDelegate(parent)
    , detailRole_(detailRole) {}

int TwoLineItemDelegate::rowHeight(const QFont& font) {
    return 2 * QFontMetrics(font).lineSpacing() + 2 * kPadding;
}

QSize TwoLineItemDelegate::sizeHint(const QStyleOptionViewItem& option,
                                    const QModelIndex& index) const {
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(std::max(size.height(), rowHeight(option.font)));
    return size;
}

void TwoLineItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QString text = item.text;
    // The style draws background, selection and focus; the lines are drawn here.
    item.text.clear();
    QStyle* style = item.widget ? item.widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);

    const QFontMetrics metrics(item.font);
    const QRect area = item.rect.adjusted(kPadding, kPadding, -kPadding, -kPadding);
    const int line = metrics.lineSpacing();
    const QRect first(area.left(), area.top() + (area.height() - 2 * line) / 2, area.width(), line);
    const QRect second = first.translated(0, line);
    const bool selected = item.state.testFlag(QStyle::State_Selected);
    QColor colour = item.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const Qt::Alignment align = Qt::AlignVCenter | Qt::AlignLeading;

    painter->save();
    painter->setFont(item.font);
    painter->setPen(colour);
    painter->drawText(first, align, PathElision::fitted(metrics, text, area.width()));
    colour.setAlphaF(kDetailOpacity);
    painter->setPen(colour);
    // A message of several lines is read as one.
    const QString detail = index.data(detailRole_).toString().simplified();
    painter->drawText(second, align, metrics.elidedText(detail, Qt::ElideRight, area.width()));
    painter->restore();
}
