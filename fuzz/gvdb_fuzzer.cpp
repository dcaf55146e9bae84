// The dconf database check on any bytes: it must never read outside the data,
// loop or take more than linear work, and a refusal names a byte offset
// inside the data (or its end).
#include "linux/gvdb_checker.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QString error;
    if (GvdbChecker::validate(bytes, &error))
        return 0;
    const qsizetype at = error.lastIndexOf(QStringLiteral(" at byte offset "));
    if (at < 0)
        std::abort();
    bool number = false;
    const qint64 offset = error.mid(at + 16).toLongLong(&number);
    if (!number || offset < 0 || offset > qint64(size))
        std::abort();
    return 0;
}
