#pragma once

#include <QLabel>

class QAbstractItemView;

// Says what to do next where a list or a table has nothing to show: a
// centred, wrapped text laid over its host (a list, or a table's viewport)
// that always covers the host. It lets clicks and drops through, so the host
// works under it as before; its owner shows it while the host is empty.
class EmptyStateLabel : public QLabel {
    Q_OBJECT

public:
    EmptyStateLabel(const QString& text, QWidget* host);

    // Over the view's viewport, shown exactly while the view's model has no rows.
    static EmptyStateLabel* overView(QAbstractItemView* view, const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void coverHost();
};
