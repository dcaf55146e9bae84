#include "test_bundles.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QtEndian>

namespace testbundles {

namespace {

QByteArray escaped(const QString& text) {
    return text.toHtmlEscaped().toUtf8();
}

void appendBigEndian(QByteArray& bytes, quint32 value) {
    char buffer[4];
    qToBigEndian(value, buffer);
    bytes.append(buffer, 4);
}

} // namespace

QByteArray infoPlist(const QList<QPair<QString, QString>>& strings) {
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                     "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                     "<plist version=\"1.0\">\n<dict>\n";
    for (const auto& [key, value] : strings)
        xml += "\t<key>" + escaped(key) + "</key>\n\t<string>" + escaped(value) + "</string>\n";
    xml += "</dict>\n</plist>\n";
    return xml;
}

QString makeBundle(const QString& folder, const QList<QPair<QString, QString>>& strings) {
    QDir().mkpath(folder + QStringLiteral("/Contents/Resources"));
    QFile file(folder + QStringLiteral("/Contents/Info.plist"));
    if (file.open(QIODevice::WriteOnly))
        file.write(infoPlist(strings));
    return folder;
}

QByteArray pngBytes(int size, const QColor& colour) {
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

QByteArray icnsWithPngEntries(const QList<QPair<QByteArray, QByteArray>>& entries) {
    QByteArray body;
    for (const auto& [type, png] : entries) {
        body += type;
        appendBigEndian(body, quint32(png.size() + 8));
        body += png;
    }
    QByteArray icns = "icns";
    appendBigEndian(icns, quint32(body.size() + 8));
    return icns + body;
}

} // namespace testbundles
