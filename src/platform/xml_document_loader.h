#pragma once

#include <QByteArray>
#include <QDomDocument>
#include <QString>

#include <optional>

// Reads Sorvane's XML catalogues into a DOM. The catalogue loaders walk every
// child node of the root, comments included, so comments are kept. Blank text
// between elements is layout and is dropped, but blank text that is an
// element's whole content is data (a domain of spaces is a domain) and is
// kept; QDomDocument's own parser would drop both.
class XmlDocumentLoader {
public:
    // The document, or nothing with a one-line reason in error.
    static std::optional<QDomDocument> loadFile(const QString& path, QString* error);
    static std::optional<QDomDocument> loadData(const QByteArray& data, QString* error);
    // The node as a catalogue entry's element named tagName, or nothing after
    // logging why ("<method> called with nil XML element", or "... with
    // incorrect XML element: <name>"; comments and text log an empty name).
    static std::optional<QDomElement> catalogueElement(const QDomNode& node, const QString& tagName,
                                                       const QString& method);
};
