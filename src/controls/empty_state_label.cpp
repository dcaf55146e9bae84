#include "controls/empty_state_label.h"

#include <QAbstractItemView>
#include <QEvent>

namespace {

constexpr int kMargin = 12;

} // namespace

EmptyStateLabel::EmptyStateLabel(const QString& text, QWidget* host)
    : QLabel(text, host) {
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    setMargin(kMargin);
    setForegroundRole(QPalette::PlaceholderText);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    host->installEventFilter(this);
    coverHost();
}

EmptyStateLabel* EmptyStateLabel::overView(QAbstractItemView* view, const QString& text) {
    auto* label = new EmptyStateLabel(text, view->viewport());
    QAbstractItemModel* model = view->model();
    const auto update = [label, model] { label->setVisible(model->rowCount() == 0); };
    connect(model, &QAbstractItemModel::rowsInserted, label, update);
    connect(model, &QAbstractItemModel::rowsRemoved, label, update);
    connect(model, &QAbstractItemModel::modelReset, label, update);
    update();
    return label;
}

bool EmptyStateLabel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parent() && event->type() == QEvent::Resize)
        coverHost();
    return QLabel::eventFilter(watched, event);
}

void EmptyStateLabel::coverHost() {
    if (QWidget* host = parentWidget())
        setGeometry(host->rect());
}
