#include "controls/app_icon_image_view.h"
#include "controls/app_icon_image_view_delegate.h"
#include "log_capture.h"
#include "sandbox.h"

#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QMimeData>
#include <QTest>
#include <QUrl>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QImage filled(QColor colour, int size = 16) {
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

std::unique_ptr<QMimeData> urlData(const QList<QUrl>& urls) {
    auto data = std::make_unique<QMimeData>();
    data->setUrls(urls);
    return data;
}

// Remembers what it was told and what the view showed at that moment.
class RecordingIconDelegate : public AppIconImageViewDelegate {
public:
    void appIconViewLoadedIconFromUrl(AppIconImageView* view, const QImage& icon,
                                      const QUrl& url) override {
        calls.append({url, icon, view->image()});
    }

    struct Call {
        QUrl url;
        QImage icon;
        QImage shownAtCall;
    };
    QList<Call> calls;
};

class AppIconImageViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        view.resize(128, 128);
        view.setEditable(true);
        view.setDelegate(&delegate);
        view.setImage(oldImage);
        view.setIconProvider([this](const QString& path) {
            iconRequests.append(path);
            return filled(Qt::blue, 128);
        });
        pngPath = sandbox.makeFile(sandbox.homePath(u"Pictures/red.png"_s));
        filled(Qt::red).save(pngPath, "PNG");
        bundlePath = sandbox.makeFolder(sandbox.homePath(u"Applications/Mail Tool.app"_s));
        sandbox.makeFile(bundlePath + u"/Contents/Info.plist"_s, "<plist/>");
    }

    // Drags the data in and drops it, the way the window system would (Qt
    // delivers a drop only to the widget that took the drag in); answers
    // whether the drop was taken.
    bool drop(const QMimeData& data) {
        if (!dragEnter(data))
            return false;
        QDropEvent event(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
        return event.isAccepted();
    }

    bool dragEnter(const QMimeData& data) {
        QDragEnterEvent event(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton,
                              Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
        return event.isAccepted();
    }

    Sandbox sandbox;
    AppIconImageView view;
    RecordingIconDelegate delegate;
    QImage oldImage = filled(Qt::green);
    QStringList iconRequests;
    QString pngPath;
    QString bundlePath;
};

TEST_F(AppIconImageViewTest, DroppedPngShowsThePictureItself) {
    ASSERT_TRUE(drop(*urlData({QUrl::fromLocalFile(pngPath)})));

    EXPECT_TRUE(iconRequests.isEmpty()) << "an image file must not be shown by its icon";
    EXPECT_EQ(view.image().convertToFormat(QImage::Format_ARGB32), filled(Qt::red));
    ASSERT_EQ(delegate.calls.size(), 1);
    EXPECT_EQ(delegate.calls[0].url, QUrl::fromLocalFile(pngPath));
}

TEST_F(AppIconImageViewTest, DroppedBundleIsToldToTheDelegateBeforeTheImageChanges) {
    ASSERT_TRUE(drop(*urlData({QUrl::fromLocalFile(bundlePath), QUrl::fromLocalFile(pngPath)})));

    EXPECT_EQ(iconRequests, QStringList{bundlePath});
    ASSERT_EQ(delegate.calls.size(), 1);
    EXPECT_EQ(delegate.calls[0].url, QUrl::fromLocalFile(bundlePath));
    EXPECT_EQ(delegate.calls[0].shownAtCall, oldImage);
    EXPECT_EQ(delegate.calls[0].icon, filled(Qt::blue, 128));
    EXPECT_EQ(view.image(), filled(Qt::blue, 128));
}

TEST_F(AppIconImageViewTest, DesktopIconsServeWhenNoProviderIsSet) {
    view.setIconProvider(nullptr);
    ASSERT_TRUE(view.readFromPasteboard(urlData({QUrl::fromLocalFile(bundlePath)}).get()));
    EXPECT_FALSE(view.image().isNull());
    EXPECT_NE(view.image(), oldImage);
}

TEST_F(AppIconImageViewTest, PasteboardWithoutUrlsLogsAndChangesNothing) {
    auto textOnly = std::make_unique<QMimeData>();
    textOnly->setText(bundlePath);
    const std::unique_ptr<QMimeData> emptyList = urlData({});
    for (const QMimeData* data : {textOnly.get(), emptyList.get()}) {
        LogCapture log;
        EXPECT_FALSE(view.readFromPasteboard(data));
        EXPECT_EQ(log.lines(), QStringList{u"no URL found on pasteboard"_s});
    }

    QApplication::clipboard()->setText(bundlePath);
    LogCapture log;
    view.paste();
    EXPECT_EQ(log.lines(), QStringList{u"no URL found on pasteboard"_s});
    EXPECT_EQ(view.image(), oldImage);
    EXPECT_TRUE(delegate.calls.isEmpty());
}

TEST_F(AppIconImageViewTest, ViewWithoutDelegateHighlightsButRefusesDropsYetPastes) {
    view.setDelegate(nullptr);
    const std::unique_ptr<QMimeData> data = urlData({QUrl::fromLocalFile(pngPath)});

    EXPECT_EQ(view.draggingEntered(data.get()), Qt::CopyAction | Qt::MoveAction | Qt::LinkAction);
    EXPECT_TRUE(dragEnter(*data));
    EXPECT_FALSE(view.prepareForDragOperation());
    EXPECT_FALSE(drop(*data));
    EXPECT_EQ(view.image(), oldImage);

    QApplication::clipboard()->setMimeData(urlData({QUrl::fromLocalFile(pngPath)}).release());
    view.paste();
    EXPECT_EQ(view.image().convertToFormat(QImage::Format_ARGB32), filled(Qt::red));
}

TEST_F(AppIconImageViewTest, ViewThatIsNotEditableIgnoresDropsAndPastes) {
    view.setEditable(false);
    const std::unique_ptr<QMimeData> data = urlData({QUrl::fromLocalFile(pngPath)});
    QApplication::clipboard()->setMimeData(urlData({QUrl::fromLocalFile(pngPath)}).release());
    LogCapture log;

    EXPECT_FALSE(dragEnter(*data));
    EXPECT_FALSE(drop(*data));
    view.paste();
    EXPECT_FALSE(view.readFromPasteboard(data.get()));

    EXPECT_EQ(view.image(), oldImage);
    EXPECT_TRUE(delegate.calls.isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(AppIconImageViewTest, CopyOnEmptyViewLeavesTheClipboardAlone) {
    view.setImage(QImage());
    QApplication::clipboard()->setText(u"keep me"_s);
    view.copy();
    EXPECT_EQ(QApplication::clipboard()->text(), u"keep me"_s);

    view.setEditable(false);
    view.setImage(oldImage);
    view.copy();
    const QMimeData* copied = QApplication::clipboard()->mimeData();
    EXPECT_FALSE(copied->hasText()) << "the image must be the clipboard's only content";
    EXPECT_EQ(QApplication::clipboard()->image().convertToFormat(QImage::Format_ARGB32), oldImage);
}

TEST_F(AppIconImageViewTest, KeyboardShortcutsCopyAndPasteWhenFocused) {
    EXPECT_TRUE(view.focusPolicy() & Qt::TabFocus);
    QTest::keySequence(&view, QKeySequence::Copy);
    EXPECT_EQ(QApplication::clipboard()->image().convertToFormat(QImage::Format_ARGB32), oldImage);

    QApplication::clipboard()->setMimeData(urlData({QUrl::fromLocalFile(pngPath)}).release());
    QTest::keySequence(&view, QKeySequence::Paste);
    EXPECT_EQ(view.image().convertToFormat(QImage::Format_ARGB32), filled(Qt::red));
}

} // namespace

namespace {

// How many pixels of the view differ from its top-left corner's colour.
int markedPixels(AppIconImageView& view) {
    const QImage shot = view.grab().toImage();
    const QRgb background = shot.pixel(0, 0);
    int marked = 0;
    for (int y = 0; y < shot.height(); ++y)
        for (int x = 0; x < shot.width(); ++x)
            marked += shot.pixel(x, y) != background;
    return marked;
}

// An empty view draws a frame and its placeholder, so that the user sees
// where to drop; with an image, or nothing to say, it draws no frame.
TEST(AppIconImageViewPlaceholder, OnlyAnEmptyViewShowsWhereToDrop) {
    AppIconImageView view;
    view.resize(100, 100);
    EXPECT_EQ(markedPixels(view), 0);
    view.setPlaceholderText(u"Drop an application here"_s);
    const int empty = markedPixels(view);
    EXPECT_GT(empty, 200) << "no frame or text was drawn";

    view.setImage(filled(Qt::red, 40));
    const QImage shot = view.grab().toImage();
    EXPECT_EQ(shot.pixel(2, 50), shot.pixel(0, 0)) << "the frame is drawn over an image";
    view.setImage(QImage());
    EXPECT_EQ(markedPixels(view), empty);
}

} // namespace
