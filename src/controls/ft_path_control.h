#pragma once

#include <QList>
#include <QMutex>
#include <QUrl>
#include <QWidget>

#include <atomic>
#include <functional>

class FTPathControlDelegate;
class QFileDialog;
class QMimeData;

// Shows the path of the application being worked on as clickable items, one
// per path component (an item stands for the path up to its component).
//
// Until it has a value the control draws "[Click To Set]" and a click opens a
// file panel to pick the first value, which the owner may still reject. Once
// set, its clicks go to the proper action and double action its owner wired
// before awakeFromNib(). The owner's delegate is asked about drags and drops.
//
// URL() and setURL() may be called from any thread: one lock makes the read
// of the value and the switch of actions with its store atomic.
class FTPathControl : public QWidget {
    Q_OBJECT

public:
    // A click handler; it receives the control as the sender.
    using Action = std::function<void(FTPathControl* sender)>;

    explicit FTPathControl(QWidget* parent = nullptr);

    static QString placeholderText();

    // The owner's wiring, as an interface file would give it: set the action
    // and double action (or connect them to a delegate's click notices), then
    // call awakeFromNib() once, which saves them aside and leaves the control
    // unset.
    void setAction(Action action);
    void setDoubleAction(Action action);
    void connectProperActionsTo(FTPathControlDelegate* target);
    void awakeFromNib();

    // The value shown; empty while unset.
    QUrl URL() const;
    // Shows the URL and switches the control to its proper actions, for an
    // empty URL too (the placeholder is then shown but clicks go to the
    // proper action). Never asks the delegate.
    void setURL(const QUrl& url);

    // Not owned: the delegate must outlive the control.
    FTPathControlDelegate* delegate() const { return externalDelegate_; }
    void setDelegate(FTPathControlDelegate* delegate) { externalDelegate_ = delegate; }

    // The click action while unset: picks the first value in a panel.
    void actionForUnsetControl(FTPathControl* sender);

    // Whether clicks are currently handled by the control itself (unset mode).
    bool targetIsControl() const;
    // The path item of the last click (empty when the click hit no item).
    QUrl clickedPathItem() const { return clickedPathItem_; }
    // The items shown, root first; each is the path up to its component.
    QList<QUrl> pathItems() const { return pathItems_; }
    // The system font at the control's height less 4 pixels.
    QFont placeholderFont() const;

    // The answers given to drags out of and drops onto the control.
    bool shouldDragItem(const QUrl& item, QMimeData* pasteboard);
    Qt::DropAction validateDrop(const QMimeData* pasteboard);
    bool acceptDrop(const QMimeData* pasteboard);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    Action unsetAction();
    void sendAction(bool doubleClick, int item);
    void showPathItems(const QUrl& url);
    int itemAt(const QPoint& position) const;
    QList<QRectF> itemRects() const;
    void paintPlaceholder(QPainter& painter);
    void paintPathItems(QPainter& painter);
    void startDrag(int item);

    mutable QMutex urlLock_;
    QUrl urlValue_;
    // Drawing reads whether a value is set without taking the lock.
    std::atomic<bool> hasUrlValue_{false};
    FTPathControlDelegate* externalDelegate_ = nullptr;

    bool targetIsControl_ = false;
    Action action_;
    Action doubleAction_;
    bool properTargetIsControl_ = false;
    Action properAction_;
    Action properDoubleAction_;

    // What the path items show; GUI thread only. A rejected value is not
    // taken off them: the placeholder hides them.
    QList<QUrl> pathItems_;
    QStringList itemNames_;
    int currentItem_ = -1;
    QUrl clickedPathItem_;
    QPoint pressPosition_;
    int pressItem_ = -1;
    bool dragging_ = false;
    bool inDoubleClick_ = false;
};
