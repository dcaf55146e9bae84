// The old-style text parser; whatever it reads must print and read back unchanged.
#include "platform/plist_text_format.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QString error;
    const PlistValue value = PlistTextFormat::read(bytes, &error);
    if (!value.isValid())
        return 0;
    const PlistValue again = PlistTextFormat::parse(PlistTextFormat::write(value), &error);
    if (again != value)
        std::abort();
    return 0;
}
