#pragma once

#include <QByteArray>
#include <QString>

// A strict JSON check after RFC 8259, in one pass without building values:
// any value at the top, numbers and literals exactly as the grammar writes
// them, escapes, no raw control characters in strings, UTF-8 throughout (a
// leading byte-order mark is ignored, as the RFC allows). QJsonDocument is
// not used because it accepts more (raw control characters and unknown
// escapes in strings, "1." and ".5") and refuses valid documents (scalars at
// the top, nesting past 1024 levels). Nesting is limited only by memory:
// containers are tracked on a heap stack, not by recursion.
class JsonChecker {
public:
    // The fault reads "<what> at line L, column C". cutShort tells whether
    // the fault is only that the data ended early.
    static bool validate(const QByteArray& data, QString* error, bool* cutShort = nullptr);
};
