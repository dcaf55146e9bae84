// The keyed-archive decoder; a graph it accepts must encode and decode to the same tree.
#include "platform/keyed_archive.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QString error;
    const QVariant value = KeyedArchive::decode(bytes, &error);
    if (!value.isValid())
        return 0;
    const QVariant again = KeyedArchive::decode(KeyedArchive::encode(value, &error), &error);
    if (again != value)
        std::abort();
    return 0;
}
