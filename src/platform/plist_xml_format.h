#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QString>

// Reads XML property lists through libplist, after a strict validation pass of
// Sorvane's own. libplist 2.2 is more lenient than a property-list reader should be: it
// reads `<integer>12x</integer>` as 12, `<real>1.5.3</real>` as 1.5 and skips
// unknown tags; it also recurses without a limit. The validation pass refuses
// all of that (and nesting deeper than maxDepth) before libplist sees the text,
// and it notes which integers lie above the signed 64-bit range, a fact the
// libplist 2.2 API does not report.
class PlistXmlFormat {
public:
    static constexpr int maxDepth = 512;

    // True when the text (after an optional byte-order mark and white space)
    // opens with an XML declaration, comment, DOCTYPE or a property-list tag.
    static bool looksLikeXml(const QByteArray& data);
    static PlistValue read(const QByteArray& data, QString* error);
    // The validation pass alone: the checker's fast path. It accepts exactly
    // what read() accepts (the reader fuzzer holds the two to that), at a
    // fraction of the cost of a libplist parse.
    static bool check(const QByteArray& data, QString* error);
};
