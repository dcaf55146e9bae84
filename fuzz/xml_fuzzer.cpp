// The XML check on any bytes: a refusal names a line (or, for a UTF-16 or
// UTF-32 document cut inside a character, a byte offset), and a document the
// check accepts stays accepted with white space after it.
#include "linux/xml_checker.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QString error;
    bool cutShort = false;
    if (!XmlChecker::validate(bytes, &error, &cutShort)) {
        if (!error.contains(QStringLiteral(" at line ")) &&
            !error.contains(QStringLiteral(" at byte offset ")))
            std::abort();
        return 0;
    }
    if (cutShort)
        std::abort();
    // UTF-16 and UTF-32 documents would need their own white space.
    if (size > 0 && bytes.indexOf('\0') < 0 && !XmlChecker::validate(bytes + "\n", nullptr))
        std::abort();
    return 0;
}
