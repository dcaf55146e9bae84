#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QVariant>

// Sorvane's keyed-archive coder for preference packages: a binary property
// list in the standard keyed-archive layout (`$archiver` "NSKeyedArchiver",
// `$version` 100000, `$top` {root}, `$objects` opening with "$null", UIDs for
// references, class entries with `$classname` and `$classes`), readable and
// writable by any other implementation of that layout.
//
// A package holds exactly seven classes, and the decoder refuses every other:
// NSDictionary and NSMutableDictionary (`NS.keys` / `NS.objects`), NSArray and
// NSMutableArray (`NS.objects`), strings and data (stored directly in
// `$objects`; NSString/NSMutableString with `NS.string` and NSData/
// NSMutableData with `NS.data` objects are read too), and NSImage.
//
// Image layout (Sorvane's own; no other coder's image layout is read): an
// object of class NSImage ($classes NSImage, NSObject) whose key "SVPNGData"
// references a data object holding the image's PNG bytes.
//
// Values on the C++ side are QVariants: QVariantMap, QVariantList, QString,
// QByteArray and KeyedArchive::Image.
class KeyedArchive {
public:
    struct Image {
        QByteArray png;
        bool operator==(const Image& other) const { return png == other.png; }
    };

    static constexpr int maxDepth = 64;

    // Empty bytes and *error when the tree holds a value of another type.
    static QByteArray encode(const QVariant& root, QString* error = nullptr);
    // An invalid QVariant and *error for anything but a well-formed package graph.
    static QVariant decode(const QByteArray& data, QString* error = nullptr);
};

Q_DECLARE_METATYPE(KeyedArchive::Image)
