#pragma once

#include "controls/sv_list_item_view_delegate.h"

#include <QList>
#include <QWidget>

class EmptyStateLabel;
class QLabel;
class QVBoxLayout;
class SVListViewDelegate;

// A vertical, top-aligned list of named rows with delete buttons. The rows
// are the layout's widgets in the order they were added; the list keeps no
// other record of them. Put it inside a QScrollArea (widgetResizable) to
// scroll: its content then starts at the top without a flipped content view.
class SVListView : public QWidget, public SVListItemViewDelegate {
    Q_OBJECT

public:
    explicit SVListView(QWidget* parent = nullptr);

    // Appends a row for the name; logs and adds nothing when no row could be made.
    void addItemWithName(const QString& name, bool canBeDeleted);
    // Removes every row, first to last.
    void removeAllItems();
    // Takes the row out of the list; it is destroyed once control returns to
    // the event loop.
    void deleteItem(SVListItemView* item);

    // The rows, top to bottom.
    QList<SVListItemView*> items() const;

    // What the list says while it has no rows (what to do next); empty says nothing.
    void setPlaceholderText(const QString& text);
    QLabel* emptyStateLabel() const;

    // Asks the delegate whether the row's item may go and removes the row on yes.
    void shouldDeleteListItem(SVListItemView* item) override;

    SVListViewDelegate* delegate() const { return delegate_; }
    // Not owned: the delegate must outlive the list.
    void setDelegate(SVListViewDelegate* delegate) { delegate_ = delegate; }

private:
    void showEmptyState();

    QVBoxLayout* layout_;
    EmptyStateLabel* emptyState_;
    SVListViewDelegate* delegate_ = nullptr;
};
