#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QList>
#include <QPair>
#include <QString>

// Application bundles and icon files written by tests, the way build tools
// lay them out: <name>.app/Contents/Info.plist (XML) and Contents/Resources.
namespace testbundles {

// An XML property list holding one dictionary of string values.
QByteArray infoPlist(const QList<QPair<QString, QString>>& strings);
// Writes <folder>/Contents/Info.plist with the given keys; returns folder.
QString makeBundle(const QString& folder, const QList<QPair<QString, QString>>& strings);
// A square image of one colour, as PNG bytes.
QByteArray pngBytes(int size, const QColor& colour);
// An ICNS container whose entries each hold PNG bytes ("ic07" 128 px, "ic08"
// 256 px, "ic09" 512 px).
QByteArray icnsWithPngEntries(const QList<QPair<QByteArray, QByteArray>>& entries);

} // namespace testbundles
