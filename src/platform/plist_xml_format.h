#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QString>

// Reads XML property lists through libplist, after the strict validation
// pass of PlistXmlValidator. libplist 2.2 is more lenient than a property-list
// reader should be: it reads `<integer>12x</integer>` as 12 and
// `<real>1.5.3</real>` as 1.5, skips unknown tags and recurses without a
// limit; the validator refuses all of that before libplist sees the text, and
// supplies the integer signs and dates that the libplist 2.2 API cannot.
class PlistXmlFormat {
public:
    // True when the text (after an optional byte-order mark and white space)
    // opens with an XML declaration, comment, DOCTYPE or a property-list tag.
    static bool looksLikeXml(const QByteArray& data);
    static PlistValue read(const QByteArray& data, QString* error);
    // The validation pass alone: the checker's fast path. It accepts exactly
    // what read() accepts (the reader fuzzer holds the two to that), at a
    // fraction of the cost of a libplist parse.
    static bool check(const QByteArray& data, QString* error);
};
