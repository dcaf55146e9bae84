#include "platform/plist_codec.h"

#include "platform/plist_binary_format.h"
#include "platform/plist_text_format.h"
#include "platform/plist_xml_format.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace {

// XML written in UTF-16 is turned into UTF-8, the only encoding the XML reader takes.
QByteArray utf8FromUtf16(const QByteArray& data) {
    if (!data.startsWith("\xFE\xFF") && !data.startsWith("\xFF\xFE"))
        return data;
    auto decoder = QStringDecoder(data.startsWith("\xFE\xFF") ? QStringDecoder::Utf16BE
                                                              : QStringDecoder::Utf16LE);
    const QString text = decoder(data.mid(2));
    return text.toUtf8();
}

} // namespace

PlistCodec::Format PlistCodec::detectFormat(const QByteArray& data) {
    if (PlistBinaryFormat::isBinary(data))
        return Format::Binary;
    if (PlistXmlFormat::looksLikeXml(utf8FromUtf16(data)))
        return Format::Xml;
    return Format::Text;
}

PlistValue PlistCodec::read(const QByteArray& data, QString* error, Format* format) {
    if (data.isEmpty()) {
        if (error)
            *error = u"Cannot parse a NULL or zero-length data"_s;
        return {};
    }
    const Format detected = detectFormat(data);
    if (format)
        *format = detected;
    switch (detected) {
    case Format::Binary:
        return PlistBinaryFormat::read(data, error);
    case Format::Xml:
        return PlistXmlFormat::read(utf8FromUtf16(data), error);
    case Format::Text:
        break;
    }
    return PlistTextFormat::read(data, error);
}

QByteArray PlistCodec::write(const PlistValue& value, Format format) {
    if (format == Format::Text)
        return PlistTextFormat::write(value).toUtf8();
    return PlistBinaryFormat::write(value);
}
