#pragma once

#include <QImage>
#include <QLabel>

#include <functional>

class AppIconImageViewDelegate;
class QMimeData;
class QUrl;

// Shows the target application's icon and takes a new target: a file dropped
// or pasted onto an editable view shows its image (an image file shows the
// picture itself, anything else its icon) after the delegate has been told
// which file it was. Copy puts the shown image on the clipboard.
class AppIconImageView : public QLabel {
    Q_OBJECT

public:
    // Gives the icon of the file at a path; empty image when there is none.
    using IconProvider = std::function<QImage(const QString& path)>;

    explicit AppIconImageView(QWidget* parent = nullptr);

    bool isEditable() const { return editable_; }
    void setEditable(bool editable) { editable_ = editable; }

    // The image shown; null when the view is empty.
    QImage image() const { return image_; }
    // Shows the image scaled into the view; a null image empties the view.
    void setImage(const QImage& image);

    // What an empty view says inside a dashed frame (where to drop); empty
    // draws nothing.
    QString placeholderText() const { return placeholderText_; }
    void setPlaceholderText(const QString& text);

    AppIconImageViewDelegate* delegate() const { return delegate_; }
    // Not owned: the delegate must outlive the view.
    void setDelegate(AppIconImageViewDelegate* delegate) { delegate_ = delegate; }

    // Where non-image files get their icons; an empty provider puts back the
    // desktop's file icons at 128 pixels.
    void setIconProvider(IconProvider provider);

    // The drag-and-drop answers, also used by the event handlers.
    Qt::DropActions draggingEntered(const QMimeData* pasteboard);
    bool prepareForDragOperation() const;
    bool performDragOperation(const QMimeData* pasteboard);

    // Takes the first URL of the data as the view's new file; see the class comment.
    bool readFromPasteboard(const QMimeData* pasteboard);

public Q_SLOTS:
    void paste();
    void copy();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QImage imageForFile(const QString& path) const;
    void showScaledImage();

    bool editable_ = false;
    QImage image_;
    QString placeholderText_;
    AppIconImageViewDelegate* delegate_ = nullptr;
    IconProvider iconProvider_;
};
