#pragma once

#include <QWidget>

#include <memory>

class QLabel;
class QToolButton;
class SVListItemViewDelegate;
namespace Ui {
class ListItemView;
}

// One row of a deletable list: a name and a delete button, laid out by the
// "ListItemView" interface file. The row deletes nothing itself; its button
// only asks the row's delegate (its list) whether the item may go. The
// button keeps the name "delete button" of the list's contract, but it says
// what pressing it means to the user: the item is kept, left out of the
// cleaning; nothing is deleted.
class SVListItemView : public QWidget {
    Q_OBJECT

public:
    // Milliseconds between the button's click and the question to the
    // delegate, so that the click has finished before the row may vanish.
    static constexpr int kDeleteDelayMs = 10;

    // A new row without parent showing the name, its button enabled only when
    // the item can be deleted; nullptr when no row could be made.
    static SVListItemView* listViewForItemWithName(const QString& name, bool canBeDeleted,
                                                   SVListItemViewDelegate* delegate);

    ~SVListItemView() override;

    // The name the row stands for, whole (the row shows it cut in the middle
    // when it is too long).
    QString label() const;

    QLabel* labelField() const;
    // Why the item is listed, shown smaller under its name (cut at its end
    // when it is too long; its tool tip stays whole); empty hides it.
    void setDetail(const QString& detail);
    QString detail() const { return detail_; }
    QLabel* detailField() const;
    QToolButton* deleteButton() const;
    SVListItemViewDelegate* delegate() const { return delegate_; }
    // The delegate is not owned; it must outlive the row (the list does, as
    // the row's parent).
    void setDelegate(SVListItemViewDelegate* delegate) { delegate_ = delegate; }

public Q_SLOTS:
    // The delete button's action: asks the delegate after kDeleteDelayMs.
    void deleteItemAction();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit SVListItemView(QWidget* parent = nullptr);
    void showName();

    std::unique_ptr<Ui::ListItemView> ui_;
    QString name_;
    QString detail_;
    SVListItemViewDelegate* delegate_ = nullptr;
};
