#include "controls/ft_path_control.h"

#include "controls/ft_path_control_delegate.h"
#include "controls/panel_runner.h"
#include "util/path_utils.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QStyleOptionFocusRect>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

constexpr qreal kItemMargin = 4.0;
const QString kSeparator = u" \u25B8 "_s;

} // namespace

FTPathControl::FTPathControl(QWidget* parent)
    : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QString FTPathControl::placeholderText() {
    return u"[Click To Set]"_s;
}

void FTPathControl::setAction(Action action) {
    QMutexLocker locker(&urlLock_);
    action_ = std::move(action);
}

void FTPathControl::setDoubleAction(Action action) {
    QMutexLocker locker(&urlLock_);
    doubleAction_ = std::move(action);
}

void FTPathControl::connectProperActionsTo(FTPathControlDelegate* target) {
    setAction([target](FTPathControl* sender) { target->pathControlClicked(sender); });
    setDoubleAction([target](FTPathControl* sender) { target->pathControlDoubleClicked(sender); });
}

void FTPathControl::awakeFromNib() {
    QMutexLocker locker(&urlLock_);
    properTargetIsControl_ = targetIsControl_;
    properAction_ = action_;
    properDoubleAction_ = doubleAction_;
    targetIsControl_ = true;
    action_ = unsetAction();
    // Deliberately none: only a rejected value gives the unset control a
    // double action as well.
    doubleAction_ = nullptr;
}

QUrl FTPathControl::URL() const {
    QMutexLocker locker(&urlLock_);
    return urlValue_;
}

void FTPathControl::setURL(const QUrl& url) {
    {
        QMutexLocker locker(&urlLock_);
        if (targetIsControl_) {
            targetIsControl_ = properTargetIsControl_;
            action_ = properAction_;
            doubleAction_ = properDoubleAction_;
        }
        urlValue_ = url;
        hasUrlValue_ = !url.isEmpty();
    }
    if (QThread::currentThread() == thread())
        showPathItems(url);
    else
        QMetaObject::invokeMethod(
            this, [this, url] { showPathItems(url); }, Qt::QueuedConnection);
}

bool FTPathControl::targetIsControl() const {
    QMutexLocker locker(&urlLock_);
    return targetIsControl_;
}

void FTPathControl::actionForUnsetControl(FTPathControl*) {
    QFileDialog panel(window());
    panel.setWindowModality(Qt::WindowModal);
    void (FTPathControlDelegate::*notice)(FTPathControl*, QFileDialog*) = nullptr;
    if (externalDelegate_ &&
        externalDelegate_->pathControlShouldUseSavePanelToGetInitalValue(this)) {
        panel.setAcceptMode(QFileDialog::AcceptSave);
        panel.setFileMode(QFileDialog::AnyFile);
        notice = &FTPathControlDelegate::pathControlWillDisplaySavePanel;
    } else {
        panel.setAcceptMode(QFileDialog::AcceptOpen);
        panel.setFileMode(QFileDialog::ExistingFile);
        notice = &FTPathControlDelegate::pathControlWillDisplayOpenPanel;
    }
    if (externalDelegate_)
        (externalDelegate_->*notice)(this, &panel);
    if (PanelRunner::run(panel) != QDialog::Accepted)
        return;
    setURL(panel.selectedUrls().value(0));
    if (!externalDelegate_ || externalDelegate_->pathControlInitialValueWasSet(this, URL()))
        return;
    {
        QMutexLocker locker(&urlLock_);
        targetIsControl_ = true;
        action_ = unsetAction();
        doubleAction_ = unsetAction();
        urlValue_ = QUrl();
        hasUrlValue_ = false;
    }
    update();
}

QFont FTPathControl::placeholderFont() const {
    QFont font = QApplication::font();
    font.setPixelSize(qMax(1, height() - 4));
    return font;
}

bool FTPathControl::shouldDragItem(const QUrl& item, QMimeData* pasteboard) {
    // Nothing can be dragged out of an unset control; the owner is not asked.
    if (URL().isEmpty())
        return false;
    return externalDelegate_ &&
           externalDelegate_->pathControlShouldDragItem(this, item, pasteboard);
}

Qt::DropAction FTPathControl::validateDrop(const QMimeData* pasteboard) {
    return externalDelegate_ ? externalDelegate_->pathControlValidateDrop(this, pasteboard)
                             : Qt::IgnoreAction;
}

bool FTPathControl::acceptDrop(const QMimeData* pasteboard) {
    return externalDelegate_ && externalDelegate_->pathControlAcceptDrop(this, pasteboard);
}

QSize FTPathControl::sizeHint() const {
    return {300, fontMetrics().height() + 8};
}

FTPathControl::Action FTPathControl::unsetAction() {
    return [this](FTPathControl* sender) { actionForUnsetControl(sender); };
}

void FTPathControl::sendAction(bool doubleClick, int item) {
    Action action;
    {
        QMutexLocker locker(&urlLock_);
        action = doubleClick ? doubleAction_ : action_;
    }
    clickedPathItem_ = pathItems_.value(item);
    if (action)
        action(this);
}

void FTPathControl::showPathItems(const QUrl& url) {
    pathItems_.clear();
    itemNames_.clear();
    const QStringList components = sv::pathComponents(url.toLocalFile());
    QString path;
    for (const QString& component : components) {
        path = path.isEmpty() ? component : sv::stringByAppendingPathComponent(path, component);
        pathItems_.append(QUrl::fromLocalFile(path));
        itemNames_.append(component);
    }
    currentItem_ = int(pathItems_.size()) - 1;
    update();
}

int FTPathControl::itemAt(const QPoint& position) const {
    const QList<QRectF> rects = itemRects();
    for (int i = 0; i < rects.size(); ++i) {
        if (rects[i].contains(position))
            return i;
    }
    return -1;
}

QList<QRectF> FTPathControl::itemRects() const {
    QList<QRectF> rects;
    const QFontMetricsF metrics(font());
    const qreal separator = metrics.horizontalAdvance(kSeparator);
    qreal x = kItemMargin;
    for (const QString& name : itemNames_) {
        const qreal width = metrics.horizontalAdvance(name);
        rects.append(QRectF(x, 0, width, height()));
        x += width + separator;
    }
    return rects;
}

void FTPathControl::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    if (hasUrlValue_)
        paintPathItems(painter);
    else
        paintPlaceholder(painter);
}

void FTPathControl::paintPlaceholder(QPainter& painter) {
    const QString text = placeholderText();
    const QFont font = placeholderFont();
    const qreal textWidth = QFontMetricsF(font).horizontalAdvance(text);
    // Centred across the width; vertically it starts at the top, where text
    // drawing places it.
    const QRectF box((width() - textWidth) * 0.5, 0, textWidth, height());
    painter.setFont(font);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(box, Qt::AlignLeft | Qt::AlignTop | Qt::TextDontClip, text);
}

void FTPathControl::paintPathItems(QPainter& painter) {
    const QList<QRectF> rects = itemRects();
    const QFontMetricsF metrics(font());
    for (int i = 0; i < rects.size(); ++i) {
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(rects[i], Qt::AlignLeft | Qt::AlignVCenter, itemNames_[i]);
        if (i + 1 < rects.size()) {
            painter.setPen(palette().color(QPalette::PlaceholderText));
            const QRectF gap(rects[i].right(), 0, metrics.horizontalAdvance(kSeparator), height());
            painter.drawText(gap, Qt::AlignLeft | Qt::AlignVCenter, kSeparator);
        }
        if (i == currentItem_ && hasFocus()) {
            QStyleOptionFocusRect option;
            option.initFrom(this);
            option.rect = rects[i].toAlignedRect().adjusted(-2, 2, 2, -2);
            style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
        }
    }
}

void FTPathControl::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    pressPosition_ = event->position().toPoint();
    pressItem_ = itemAt(pressPosition_);
    dragging_ = false;
}

void FTPathControl::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton) || dragging_)
        return;
    const QPoint moved = event->position().toPoint() - pressPosition_;
    if (moved.manhattanLength() < QApplication::startDragDistance())
        return;
    dragging_ = true;
    startDrag(pressItem_);
}

void FTPathControl::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QWidget::mouseReleaseEvent(event);
    const bool wasDrag = dragging_;
    const bool endsDoubleClick = inDoubleClick_;
    dragging_ = false;
    inDoubleClick_ = false;
    // The release that ends a double click is not a click of its own.
    if (!wasDrag && !endsDoubleClick && rect().contains(event->position().toPoint()))
        sendAction(false, itemAt(event->position().toPoint()));
}

void FTPathControl::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QWidget::mouseDoubleClickEvent(event);
    // The first click of the pair has already been sent as a click.
    pressPosition_ = event->position().toPoint();
    pressItem_ = itemAt(pressPosition_);
    dragging_ = false;
    inDoubleClick_ = true;
    sendAction(true, pressItem_);
}

void FTPathControl::keyPressEvent(QKeyEvent* event) {
    const int count = int(pathItems_.size());
    switch (event->key()) {
    case Qt::Key_Left:
        if (count > 0)
            currentItem_ = qMax(0, currentItem_ - 1);
        update();
        break;
    case Qt::Key_Right:
        if (count > 0)
            currentItem_ = qMin(count - 1, currentItem_ + 1);
        update();
        break;
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Shift stands for the double click from the keyboard.
        sendAction(event->modifiers().testFlag(Qt::ShiftModifier), currentItem_);
        break;
    default:
        return QWidget::keyPressEvent(event);
    }
    event->accept();
}

void FTPathControl::contextMenuEvent(QContextMenuEvent* event) {
    if (!hasUrlValue_ || pathItems_.isEmpty())
        return;
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (int i = int(pathItems_.size()) - 1; i >= 0; --i) {
        QAction* choice = menu->addAction(itemNames_[i]);
        connect(choice, &QAction::triggered, this, [this, i] { sendAction(false, i); });
    }
    if (externalDelegate_)
        externalDelegate_->pathControlWillPopUpMenu(this, menu);
    menu->popup(event->globalPos());
}

void FTPathControl::dragEnterEvent(QDragEnterEvent* event) {
    const Qt::DropAction answer =
        event->mimeData()->hasUrls() ? validateDrop(event->mimeData()) : Qt::IgnoreAction;
    if (answer == Qt::IgnoreAction)
        return event->ignore();
    event->setDropAction(answer);
    event->accept();
}

void FTPathControl::dragMoveEvent(QDragMoveEvent* event) {
    dragEnterEvent(static_cast<QDragEnterEvent*>(event));
}

void FTPathControl::dropEvent(QDropEvent* event) {
    if (event->mimeData()->hasUrls() && acceptDrop(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void FTPathControl::startDrag(int item) {
    const QUrl url = pathItems_.value(item);
    if (url.isEmpty() && hasUrlValue_)
        return;
    auto* pasteboard = new QMimeData;
    pasteboard->setUrls({url});
    if (!shouldDragItem(url, pasteboard)) {
        delete pasteboard;
        return;
    }
    auto* drag = new QDrag(this);
    drag->setMimeData(pasteboard);
    drag->exec(Qt::CopyAction | Qt::LinkAction);
}
