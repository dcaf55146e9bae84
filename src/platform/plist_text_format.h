#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QString>

// The old-style text property-list notation, as `defaults read` prints a domain
// and `defaults write` takes one: `{ key = value; }`, `( a, b )`, strings quoted
// only where needed, `<0fbd7777 1c2735ae>` for data.
//
// So that a captured domain keeps its types when it is written back, the writer
// prints every scalar that is not a string in a typed form: `<*I42>`, `<*R3.5>`,
// `<*BY>`/`<*BN>`, `<*D2024-01-31 10:00:00 +0000>`, and `<*U7>` for a UID (that one
// is Sorvane's own). The reader takes all of that plus what other tools print:
// unquoted words, quoted strings with C-like, octal and `\Uxxxx` escapes, `/* */`
// and `//` comments, `{length = N, bytes = 0x...}` for data, and a dictionary
// whose outer braces are left out (`a = 1; b = 2;`).
class PlistTextFormat {
public:
    static constexpr int maxDepth = 512;

    // Decodes UTF-8 (with or without a byte-order mark) or UTF-16 with a mark.
    static PlistValue read(const QByteArray& data, QString* error);
    static PlistValue parse(const QString& text, QString* error);
    static QString write(const PlistValue& value);

    // Typed-form and quoting helpers, also used by `defaults read` for single values.
    static QString quotedIfNeeded(const QString& string);
    static QString formatDate(double secondsSince2001);
    static bool parseDate(const QString& text, double* secondsSince2001);
    static QString formatReal(double real);
    static QString formatData(const QByteArray& data);
};
