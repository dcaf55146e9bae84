#include "util/image_conversion.h"

#include <QBuffer>
#include <QImageWriter>

using namespace Qt::StringLiterals;

namespace sv {

namespace {

constexpr int kJpegQuality = 70; // the compression factor 0.7
// TIFF's LZW method (the value 5 of the TIFF tag) in Qt's writer.
constexpr int kTiffLzwCompression = 1;

QByteArray encode(const QImage& image, const char* format, int quality, int compression) {
    const QImage bitmap = fullSizeBitmapRep(image);
    if (bitmap.isNull())
        return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (quality >= 0)
        writer.setQuality(quality);
    if (compression >= 0)
        writer.setCompression(compression);
    if (!writer.write(bitmap))
        return {};
    return bytes;
}

QByteArray withError(const QByteArray& bytes, ImageError* error, int code, const QString& message) {
    if (bytes.isEmpty() && error)
        *error = ImageError{kImageErrorDomain, code, message};
    return bytes.isEmpty() ? QByteArray() : bytes;
}

} // namespace

QImage fullSizeBitmapRep(const QIcon& icon) {
    QSize largest;
    for (const QSize& size : icon.availableSizes()) {
        if (size.width() * size.height() > largest.width() * largest.height())
            largest = size;
    }
    if (!largest.isValid() || largest.isEmpty())
        return {};
    return icon.pixmap(largest).toImage();
}

QImage fullSizeBitmapRep(const QImage& image) {
    if (image.isNull())
        return {};
    // Pixels at full size, whatever device pixel ratio the image was drawn for.
    QImage copy = image;
    copy.setDevicePixelRatio(1.0);
    return copy;
}

QByteArray pngImageDataWithError(const QImage& image, ImageError* error) {
    return withError(encode(image, "png", -1, -1), error, 312,
                     u"Unable to obtain PNG representation of image"_s);
}

QByteArray jpegImageDataWithError(const QImage& image, ImageError* error) {
    return withError(encode(image, "jpeg", kJpegQuality, -1), error, 311,
                     u"Unable to obtain JPEG representation of image"_s);
}

QByteArray tiffImageDataWithError(const QImage& image, ImageError* error) {
    return withError(encode(image, "tiff", -1, kTiffLzwCompression), error, 313,
                     u"Unable to obtain TIFF representation of image"_s);
}

QByteArray pngImageDataWithError(const QIcon& icon, ImageError* error) {
    return pngImageDataWithError(fullSizeBitmapRep(icon), error);
}

QByteArray bitmapDataPreserveOpacity(const QImage& image, bool preserveOpacity) {
    if (!preserveOpacity) {
        const QByteArray jpeg = jpegImageDataWithError(image);
        if (!jpeg.isEmpty())
            return jpeg;
    }
    const QByteArray png = pngImageDataWithError(image);
    if (!png.isEmpty())
        return png;
    const QByteArray tiff = tiffImageDataWithError(image);
    if (!tiff.isEmpty())
        return tiff;
    return jpegImageDataWithError(image);
}

QByteArray bitmapData(const QImage& image) {
    return bitmapDataPreserveOpacity(image, true);
}

} // namespace sv
