#pragma once

#include <QByteArray>
#include <QString>

// Checks that a file is a well-formed XML document (bookmarks in XBEL,
// xfconf channels, fontconfig files, menus) with QXmlStreamReader, which
// expands no external entities and bounds internal ones. A NUL byte, which
// XML never allows, is named before the reader sees the data, except in
// documents written in UTF-16 or UTF-32; a document that ends inside a
// character, which the reader lets pass, is named after it.
class XmlChecker {
public:
    // The fault reads "<what> at line L, column C". cutShort tells whether
    // the fault is only that the data ended early.
    static bool validate(const QByteArray& data, QString* error, bool* cutShort = nullptr);
};
