#include "linux/xml_checker.h"

#include "linux/config_checker.h"

#include <QStringConverter>
#include <QXmlStreamReader>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

// The size of a character unit of the text's encoding: 1 for UTF-8 and the
// other byte encodings, 2 for UTF-16, 4 for UTF-32.
int unitSize(const QByteArray& data) {
    const std::optional<QStringConverter::Encoding> encoding =
        QStringConverter::encodingForData(data, u'<');
    if (!encoding)
        return 1;
    switch (*encoding) {
    case QStringConverter::Utf16:
    case QStringConverter::Utf16LE:
    case QStringConverter::Utf16BE:
        return 2;
    case QStringConverter::Utf32:
    case QStringConverter::Utf32LE:
    case QStringConverter::Utf32BE:
        return 4;
    default:
        return 1;
    }
}

// Whether UTF-8 text ends with its last character whole: after the last
// lead byte come exactly the continuation bytes it announces.
bool endsWithWholeUtf8Character(const QByteArray& data) {
    const char* begin = data.constData();
    const char* end = begin + data.size();
    const char* lead = end;
    while (lead > begin && end - lead < 4 && (static_cast<unsigned char>(lead[-1]) & 0xC0) == 0x80)
        --lead;
    if (lead == begin)
        return lead == end;
    --lead;
    return ConfigChecker::utf8SequenceLength(lead, end) == end - lead;
}

// The reader holds back bytes that might begin a character until more come,
// and does not complain when the data ends first: a document ending inside a
// character, or in a stray byte, would read as good. In UTF-16 and UTF-32 the
// size tells; in a byte encoding, a line end after the document would be
// white space, and fails only when it completes a broken character.
bool endsInsideACharacter(const QByteArray& data, QStringView declaredEncoding) {
    if (const int unit = unitSize(data); unit > 1)
        return data.size() % unit != 0;
    // UTF-8 tells by its last character alone, without a second reading.
    if (declaredEncoding.isEmpty() || declaredEncoding.compare(u"UTF-8", Qt::CaseInsensitive) == 0)
        return !endsWithWholeUtf8Character(data);
    QXmlStreamReader reader(data + '\n');
    while (!reader.atEnd())
        reader.readNext();
    return reader.hasError();
}

// The reader quotes the character it stumbled on; a control character is
// written as its code so that the message stays one clean line.
QString readable(const QString& text) {
    QString result;
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            result += u"\\x%1"_s.arg(uint(c.unicode()), 2, 16, QChar(u'0'));
        else
            result += c;
    }
    while (result.endsWith(u'.'))
        result.chop(1);
    return result;
}

} // namespace

bool XmlChecker::validate(const QByteArray& data, QString* error, bool* cutShort) {
    if (cutShort)
        *cutShort = false;
    // UTF-16 and UTF-32 text holds NUL bytes in every ASCII character.
    if (unitSize(data) == 1) {
        const void* nul = std::memchr(data.constData(), 0, size_t(data.size()));
        if (nul) {
            if (error) {
                *error = u"NUL byte at %1"_s.arg(ConfigChecker::textPosition(
                    data, static_cast<const char*>(nul) - data.constData()));
            }
            return false;
        }
    }
    QXmlStreamReader reader(data);
    while (!reader.atEnd())
        reader.readNext();
    if (!reader.hasError()) {
        if (!endsInsideACharacter(data, reader.documentEncoding()))
            return true;
        if (error && unitSize(data) > 1)
            *error = u"document ends inside a character at byte offset %1"_s.arg(data.size());
        else if (error)
            *error = u"document ends inside a character at %1"_s.arg(
                ConfigChecker::textPosition(data, data.size()));
        return false;
    }
    if (cutShort)
        *cutShort = reader.error() == QXmlStreamReader::PrematureEndOfDocumentError;
    if (error) {
        *error = u"%1 at line %2, column %3"_s.arg(readable(reader.errorString()))
                     .arg(reader.lineNumber())
                     .arg(reader.columnNumber());
    }
    return false;
}
