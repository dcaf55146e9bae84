#include "controls/app_icon_image_view.h"

#include "controls/app_icon_image_view_delegate.h"
#include "util/logging.h"

#include <QApplication>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QImageReader>
#include <QKeyEvent>
#include <QMimeData>
#include <QMimeDatabase>
#include <QPainter>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr int kIconSize = 128;

QImage desktopIcon(const QString& path) {
    const QIcon icon = QFileIconProvider().icon(QFileInfo(path));
    return icon.pixmap(kIconSize, kIconSize).toImage();
}

bool isReadableImageType(const QString& path) {
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path);
    return type.isValid() && QImageReader::supportedMimeTypes().contains(type.name().toUtf8());
}

constexpr Qt::DropActions kEveryDropAction = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;

} // namespace

AppIconImageView::AppIconImageView(QWidget* parent)
    : QLabel(parent)
    , iconProvider_(desktopIcon) {
    setAlignment(Qt::AlignCenter);
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(32, 32);
}

void AppIconImageView::setImage(const QImage& image) {
    image_ = image;
    showScaledImage();
}

void AppIconImageView::setPlaceholderText(const QString& text) {
    placeholderText_ = text;
    update();
}

void AppIconImageView::setIconProvider(IconProvider provider) {
    iconProvider_ = provider ? std::move(provider) : IconProvider(desktopIcon);
}

Qt::DropActions AppIconImageView::draggingEntered(const QMimeData* pasteboard) {
    // The view only ever hears of drags that carry URLs.
    if (!pasteboard || !pasteboard->hasUrls() || !editable_)
        return Qt::IgnoreAction;
    return kEveryDropAction;
}

bool AppIconImageView::prepareForDragOperation() const {
    return delegate_ && editable_;
}

bool AppIconImageView::performDragOperation(const QMimeData* pasteboard) {
    if (!delegate_ || !editable_)
        return false;
    return readFromPasteboard(pasteboard);
}

bool AppIconImageView::readFromPasteboard(const QMimeData* pasteboard) {
    if (!editable_)
        return false;
    const QList<QUrl> urls = pasteboard ? pasteboard->urls() : QList<QUrl>();
    if (urls.isEmpty()) {
        sv::log(u"no URL found on pasteboard"_s);
        return false;
    }
    const QUrl url = urls.first();
    const QImage image = imageForFile(url.toLocalFile());
    if (image.isNull())
        return false;
    // The delegate sees the file while the old image is still shown.
    if (delegate_)
        delegate_->appIconViewLoadedIconFromUrl(this, image, url);
    setImage(image);
    return true;
}

void AppIconImageView::paste() {
    if (editable_)
        readFromPasteboard(QApplication::clipboard()->mimeData());
}

void AppIconImageView::copy() {
    if (image_.isNull())
        return;
    QClipboard* clipboard = QApplication::clipboard();
    clipboard->clear();
    clipboard->setImage(image_);
}

void AppIconImageView::dragEnterEvent(QDragEnterEvent* event) {
    const Qt::DropActions answer = draggingEntered(event->mimeData());
    if (answer == Qt::IgnoreAction) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
}

void AppIconImageView::dragMoveEvent(QDragMoveEvent* event) {
    if (draggingEntered(event->mimeData()) == Qt::IgnoreAction)
        event->ignore();
    else
        event->acceptProposedAction();
}

void AppIconImageView::dropEvent(QDropEvent* event) {
    if (prepareForDragOperation() && performDragOperation(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void AppIconImageView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        copy();
        event->accept();
    } else if (event->matches(QKeySequence::Paste)) {
        paste();
        event->accept();
    } else {
        QLabel::keyPressEvent(event);
    }
}

void AppIconImageView::paintEvent(QPaintEvent* event) {
    QLabel::paintEvent(event);
    if (!image_.isNull() || placeholderText_.isEmpty())
        return;
    // Without a frame an empty view is invisible, and nobody drops on what
    // they cannot see.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor colour = palette().color(QPalette::PlaceholderText);
    painter.setPen(QPen(colour, 1.5, Qt::DashLine));
    const QRectF frame = QRectF(rect()).adjusted(2, 2, -2, -2);
    painter.drawRoundedRect(frame, 8, 8);
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    painter.setFont(small);
    painter.setPen(colour);
    painter.drawText(frame.adjusted(6, 6, -6, -6), Qt::AlignCenter | Qt::TextWordWrap,
                     placeholderText_);
}

void AppIconImageView::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    showScaledImage();
}

QImage AppIconImageView::imageForFile(const QString& path) const {
    if (path.isEmpty())
        return {};
    if (isReadableImageType(path))
        return QImage(path);
    return iconProvider_ ? iconProvider_(path) : QImage();
}

void AppIconImageView::showScaledImage() {
    if (image_.isNull()) {
        clear();
        return;
    }
    const QSize room = contentsRect().size();
    QPixmap pixmap = QPixmap::fromImage(image_);
    if (pixmap.width() > room.width() || pixmap.height() > room.height())
        pixmap = pixmap.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    setPixmap(pixmap);
}
