#include "platform/plist_checker.h"

#include "platform/plist_binary_format.h"
#include "platform/plist_codec.h"
#include "platform/plist_text_format.h"
#include "platform/plist_xml_format.h"

using namespace Qt::StringLiterals;

namespace {

QString failure(const QString& formatName, int code, const QString& fault) {
    const QString message = u"%1 property list is damaged: %2"_s.arg(formatName, fault);
    return u"%1 (Error Domain=SorvanePropertyListErrorDomain Code=%2 \"%3\")"_s.arg(message)
        .arg(code)
        .arg(message);
}

} // namespace

QString PlistChecker::check(const QByteArray& data) {
    // The empty-file message is matched word for word by the results list.
    if (data.isEmpty())
        return u"Cannot parse a NULL or zero-length data"_s;
    QString error;
    switch (PlistCodec::detectFormat(data)) {
    case PlistCodec::Format::Binary:
        if (PlistBinaryFormat::validate(data, &error))
            return u"OK"_s;
        return failure(u"Binary"_s, 1, error);
    case PlistCodec::Format::Xml:
        // UTF-16 XML goes through the codec, which converts it first.
        if (data.startsWith("\xFE\xFF") || data.startsWith("\xFF\xFE")
                ? PlistCodec::read(data, &error).isValid()
                : PlistXmlFormat::check(data, &error))
            return u"OK"_s;
        return failure(u"XML"_s, 2, error);
    case PlistCodec::Format::Text:
        break;
    }
    if (PlistTextFormat::read(data, &error).isValid())
        return u"OK"_s;
    return failure(u"Text"_s, 3, error);
}
