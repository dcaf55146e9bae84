#pragma once

#include <QByteArray>
#include <QIcon>
#include <QImage>
#include <QString>

// Exports of images as encoded bytes (PNG for the icon kept in a package,
// JPEG and TIFF beside it). Every export starts from the image's largest
// rendering, so an icon with several sizes is stored at its best one.
namespace sv {

// A failed export: the domain is always "Tarnwick", the code 311 (JPEG),
// 312 (PNG) or 313 (TIFF), the message the user-facing text.
struct ImageError {
    QString domain;
    int code = 0;
    QString localizedDescription;
};

inline const QString kImageErrorDomain = QStringLiteral("Tarnwick");

// The largest rendering of an icon: the biggest of its available sizes at
// full pixel size; a null image when the icon has no pixels.
QImage fullSizeBitmapRep(const QIcon& icon);
// An image is its own largest rendering; a null image stays null.
QImage fullSizeBitmapRep(const QImage& image);

// Null bytes and *error (when given) filled when no encoding results.
QByteArray pngImageDataWithError(const QImage& image, ImageError* error = nullptr);
QByteArray jpegImageDataWithError(const QImage& image, ImageError* error = nullptr);
QByteArray tiffImageDataWithError(const QImage& image, ImageError* error = nullptr);
QByteArray pngImageDataWithError(const QIcon& icon, ImageError* error = nullptr);

// JPEG when opacity need not be kept, else PNG, then TIFF, then JPEG.
QByteArray bitmapDataPreserveOpacity(const QImage& image, bool preserveOpacity);
QByteArray bitmapData(const QImage& image);

} // namespace sv
