#include "platform/file_icons.h"

#include "platform/bundle.h"
#include "util/path_utils.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QImageReader>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>

using namespace Qt::StringLiterals;

namespace {

bool isBundleFolder(const QString& path) {
    return QFileInfo(path).isDir() && QFileInfo::exists(path + u"/Contents/Info.plist"_s);
}

// CFBundleIconFile often leaves out the ".icns" it means.
QString iconFilePath(const Bundle& bundle) {
    const QString iconFile = bundle.objectForInfoDictionaryKey(u"CFBundleIconFile"_s).toString();
    if (iconFile.isEmpty())
        return {};
    const QString path = sv::stringByAppendingPathComponent(bundle.resourcesPath(), iconFile);
    if (QFileInfo(path).isFile())
        return path;
    if (sv::pathExtension(iconFile).isEmpty()) {
        for (const QString& extension : {u"icns"_s, u"png"_s}) {
            if (QFileInfo(path + u'.' + extension).isFile())
                return path + u'.' + extension;
        }
    }
    return {};
}

// An ICNS file holds one picture per size; the largest serves every use.
QImage largestImage(const QString& path) {
    QImageReader reader(path);
    QImage best;
    do {
        const QImage image = reader.read();
        if (!image.isNull() && image.width() * image.height() > best.width() * best.height())
            best = image;
    } while (reader.jumpToNextImage());
    return best;
}

QIcon themeIcon(const QMimeType& type) {
    const QIcon icon = QIcon::fromTheme(type.iconName());
    if (!icon.isNull())
        return icon;
    return QIcon::fromTheme(type.genericIconName());
}

} // namespace

QImage FileIcons::iconForFile(const QString& path) {
    if (isBundleFolder(path)) {
        if (const std::optional<Bundle> bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(path))) {
            const QImage icon = bundleIcon(*bundle);
            if (!icon.isNull())
                return icon;
        }
    }
    const QImage themed = themeIconForFile(path);
    return themed.isNull() ? genericIcon() : themed;
}

QImage FileIcons::bundleIcon(const Bundle& bundle) {
    const QString path = iconFilePath(bundle);
    return path.isEmpty() ? QImage() : largestImage(path);
}

QImage FileIcons::themeIconForFile(const QString& path) {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return {};
    const QIcon icon = themeIcon(QMimeDatabase().mimeTypeForFile(path));
    if (icon.isNull())
        return {};
    return icon.pixmap(QSize(kThemeIconSize, kThemeIconSize)).toImage();
}

QImage FileIcons::genericIcon() {
    // A sheet of paper with a folded corner, drawn rather than shipped so that
    // there is always an icon, even without resources or a theme.
    constexpr int size = kThemeIconSize;
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal left = size * 0.2, right = size * 0.8, top = size * 0.08, bottom = size * 0.92;
    const qreal fold = size * 0.18;
    QPainterPath sheet;
    sheet.moveTo(left, top);
    sheet.lineTo(right - fold, top);
    sheet.lineTo(right, top + fold);
    sheet.lineTo(right, bottom);
    sheet.lineTo(left, bottom);
    sheet.closeSubpath();
    painter.setPen(QPen(QColor(120, 120, 120), size / 64.0));
    painter.setBrush(QColor(250, 250, 250));
    painter.drawPath(sheet);
    QPainterPath corner;
    corner.moveTo(right - fold, top);
    corner.lineTo(right - fold, top + fold);
    corner.lineTo(right, top + fold);
    painter.setBrush(QColor(220, 220, 220));
    painter.drawPath(corner);
    return image;
}
