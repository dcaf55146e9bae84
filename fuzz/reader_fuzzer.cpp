// Any bytes through format detection, the three readers and the checker. The
// checker (which validates without building values) must agree with the
// reader, and a value that reads must survive a binary round trip unchanged.
#include "platform/plist_binary_format.h"
#include "platform/plist_checker.h"
#include "platform/plist_codec.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const QString verdict = PlistChecker::check(bytes);
    QString error;
    const PlistValue value = PlistCodec::read(bytes, &error);
    if ((verdict == QStringLiteral("OK")) != value.isValid())
        std::abort();
    if (!value.isValid())
        return 0;
    const PlistValue again = PlistBinaryFormat::read(PlistBinaryFormat::write(value), &error);
    if (again != value)
        std::abort();
    return 0;
}
