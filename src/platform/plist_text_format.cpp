#include "platform/plist_text_format.h"

#include <QDate>
#include <QHash>
#include <QSet>
#include <QStringDecoder>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

bool isWordChar(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_' ||
           u == '$' || u == '+' || u == '/' || u == ':' || u == '.' || u == '-';
}

int hexValue(QChar c) {
    const char16_t u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

const qint64 julianDay2001 = QDate(2001, 1, 1).toJulianDay();

class TextParser {
public:
    explicit TextParser(const QString& text)
        : m_text(text) {}

    PlistValue parseDocument(QString* error) {
        skipSpace();
        PlistValue value;
        if (atEnd()) {
            fail(u"Empty property list text"_s);
        } else {
            value = parseValue(0);
            skipSpace();
            // A strings-file body: the braces of the top dictionary are left out.
            if (m_error.isEmpty() && value.isString() && peek() == u'=')
                value = parseEntries(value.toString(), 0);
            skipSpace();
            if (m_error.isEmpty() && !atEnd())
                fail(u"Unexpected character '%1' after the property list"_s.arg(peek()));
        }
        if (!m_error.isEmpty()) {
            if (error)
                *error = m_error;
            return {};
        }
        return value;
    }

private:
    bool atEnd() const { return m_pos >= m_text.size(); }
    QChar peek() const { return atEnd() ? QChar() : m_text.at(m_pos); }

    int lineNumber() const {
        int line = 1;
        for (qsizetype i = 0; i < m_pos && i < m_text.size(); ++i)
            line += m_text.at(i) == u'\n' ? 1 : 0;
        return line;
    }

    PlistValue fail(const QString& what) {
        if (m_error.isEmpty())
            m_error = u"%1 at line %2"_s.arg(what).arg(lineNumber());
        return {};
    }

    void skipSpace() {
        while (!atEnd()) {
            const QChar c = peek();
            if (c.isSpace()) {
                ++m_pos;
            } else if (c == u'/' && m_pos + 1 < m_text.size() && m_text.at(m_pos + 1) == u'/') {
                while (!atEnd() && peek() != u'\n')
                    ++m_pos;
            } else if (c == u'/' && m_pos + 1 < m_text.size() && m_text.at(m_pos + 1) == u'*') {
                const qsizetype end = m_text.indexOf(u"*/"_s, m_pos + 2);
                if (end < 0) {
                    fail(u"Unterminated comment"_s);
                    m_pos = m_text.size();
                    return;
                }
                m_pos = end + 2;
            } else {
                return;
            }
        }
    }

    bool expect(QChar c) {
        skipSpace();
        if (peek() != c) {
            fail(atEnd() ? u"Missing '%1' at the end of the text"_s.arg(c)
                         : u"Expected '%1' but found '%2'"_s.arg(c, peek()));
            return false;
        }
        ++m_pos;
        return true;
    }

    PlistValue parseValue(int depth) {
        if (depth > PlistTextFormat::maxDepth)
            return fail(u"Nesting deeper than %1 levels"_s.arg(PlistTextFormat::maxDepth));
        skipSpace();
        const QChar c = peek();
        if (c == u'{')
            return isDataDescription() ? parseDataDescription() : parseDictionary(depth);
        if (c == u'(')
            return parseArray(depth);
        if (c == u'"' || c == u'\'')
            return parseQuoted();
        if (c == u'<')
            return parseAngle();
        if (!atEnd() && isWordChar(c))
            return parseWord();
        if (atEnd())
            return fail(u"Unexpected end of text"_s);
        return fail(u"Unexpected character '%1'"_s.arg(c));
    }

    PlistValue parseWord() {
        const qsizetype start = m_pos;
        while (!atEnd() && isWordChar(peek()))
            ++m_pos;
        return PlistValue::fromString(m_text.mid(start, m_pos - start));
    }

    PlistValue parseQuoted() {
        const QChar quote = peek();
        ++m_pos;
        QString out;
        while (true) {
            if (atEnd())
                return fail(u"Unterminated quoted string"_s);
            const QChar c = m_text.at(m_pos++);
            if (c == quote)
                return PlistValue::fromString(out);
            if (c != u'\\') {
                out.append(c);
                continue;
            }
            if (atEnd())
                return fail(u"Unterminated quoted string"_s);
            if (!appendEscape(out))
                return {};
        }
    }

    bool appendEscape(QString& out) {
        const QChar c = m_text.at(m_pos++);
        static const QHash<char16_t, char16_t> simple = {
            {u'a', u'\a'}, {u'b', u'\b'}, {u'f', u'\f'}, {u'n', u'\n'},
            {u'r', u'\r'}, {u't', u'\t'}, {u'v', u'\v'}};
        if (simple.contains(c.unicode())) {
            out.append(QChar(simple.value(c.unicode())));
            return true;
        }
        if (c == u'U' || c == u'u') {
            int value = 0;
            int digits = 0;
            while (digits < 4 && !atEnd() && hexValue(peek()) >= 0) {
                value = value * 16 + hexValue(m_text.at(m_pos++));
                ++digits;
            }
            if (digits == 0)
                return fail(u"\\U escape without hexadecimal digits"_s), false;
            out.append(QChar(char16_t(value)));
            return true;
        }
        if (c >= u'0' && c <= u'7') {
            // Octal escapes name a byte; Sorvane reads it as a Latin-1 character (deliberate).
            int value = c.unicode() - u'0';
            for (int digits = 1; digits < 3 && !atEnd() && peek() >= u'0' && peek() <= u'7';
                 ++digits)
                value = value * 8 + (m_text.at(m_pos++).unicode() - u'0');
            out.append(QChar(char16_t(value & 0xFF)));
            return true;
        }
        out.append(c);
        return true;
    }

    PlistValue parseAngle() {
        ++m_pos;
        if (peek() == u'*')
            return parseTyped();
        QByteArray bytes;
        int pending = -1;
        while (true) {
            skipSpace();
            if (atEnd())
                return fail(u"Unterminated data"_s);
            const QChar c = m_text.at(m_pos++);
            if (c == u'>')
                break;
            const int digit = hexValue(c);
            if (digit < 0)
                return fail(u"Invalid character '%1' in data"_s.arg(c));
            if (pending < 0) {
                pending = digit;
            } else {
                bytes.append(char(pending * 16 + digit));
                pending = -1;
            }
        }
        if (pending >= 0)
            return fail(u"Odd number of hexadecimal digits in data"_s);
        return PlistValue::fromData(bytes);
    }

    PlistValue parseTyped() {
        ++m_pos;
        if (atEnd())
            return fail(u"Unterminated typed value"_s);
        const QChar kind = m_text.at(m_pos++);
        const qsizetype end = m_text.indexOf(u'>', m_pos);
        if (end < 0)
            return fail(u"Unterminated typed value"_s);
        const QString body = m_text.mid(m_pos, end - m_pos);
        m_pos = end + 1;
        bool ok = false;
        if (kind == u'I') {
            const qint64 value = body.toLongLong(&ok);
            if (ok)
                return PlistValue::fromInteger(value);
            const quint64 unsignedValue = body.toULongLong(&ok);
            if (ok && !body.startsWith(u'-'))
                return PlistValue::fromUnsigned(unsignedValue);
            return fail(u"Invalid integer '%1'"_s.arg(body));
        }
        if (kind == u'R') {
            const double value = body.toLatin1().toDouble(&ok);
            if (ok)
                return PlistValue::fromReal(value);
            return fail(u"Invalid real '%1'"_s.arg(body));
        }
        if (kind == u'B' && (body == u"Y"_s || body == u"N"_s))
            return PlistValue::fromBool(body == u"Y"_s);
        if (kind == u'D') {
            double seconds = 0;
            if (PlistTextFormat::parseDate(body, &seconds))
                return PlistValue::fromDate(seconds);
            return fail(u"Invalid date '%1'"_s.arg(body));
        }
        if (kind == u'U') {
            const quint64 value = body.toULongLong(&ok);
            if (ok)
                return PlistValue::fromUid(value);
        }
        return fail(u"Invalid typed value '<*%1%2>'"_s.arg(kind).arg(body));
    }

    // "{length = 3, bytes = 0x010203}", the way newer tools describe data.
    bool isDataDescription() const {
        static const QString prefix = u"length"_s;
        qsizetype at = m_pos + 1;
        while (at < m_text.size() && m_text.at(at).isSpace())
            ++at;
        if (QStringView(m_text).mid(at, prefix.size()) != prefix)
            return false;
        at += prefix.size();
        while (at < m_text.size() && m_text.at(at).isSpace())
            ++at;
        return at < m_text.size() && m_text.at(at) == u'=';
    }

    PlistValue parseDataDescription() {
        const qsizetype end = m_text.indexOf(u'}', m_pos);
        if (end < 0)
            return fail(u"Unterminated data description"_s);
        QString body = m_text.mid(m_pos + 1, end - m_pos - 1).simplified();
        m_pos = end + 1;
        body.remove(u' ');
        // length=N,bytes=0x....
        const qsizetype comma = body.indexOf(u',');
        bool ok = false;
        const qint64 length = comma < 0 ? -1 : body.mid(7, comma - 7).toLongLong(&ok);
        const QString bytesPart = comma < 0 ? QString() : body.mid(comma + 1);
        if (!ok || !bytesPart.startsWith(u"bytes=0x"_s))
            return fail(u"Invalid data description"_s);
        const QString hex = bytesPart.mid(8);
        if (hex.contains(u"..."_s))
            return fail(u"Data description is abridged and cannot be read back"_s);
        QByteArray bytes = QByteArray::fromHex(hex.toLatin1());
        if (hex.size() % 2 != 0 || bytes.size() * 2 != hex.size() || bytes.size() != length)
            return fail(u"Invalid data description"_s);
        return PlistValue::fromData(bytes);
    }

    PlistValue parseArray(int depth) {
        ++m_pos;
        PlistValue array = PlistValue::array();
        skipSpace();
        if (peek() == u')') {
            ++m_pos;
            return array;
        }
        while (true) {
            PlistValue item = parseValue(depth + 1);
            if (!m_error.isEmpty())
                return {};
            array.append(item);
            skipSpace();
            if (peek() == u')') {
                ++m_pos;
                return array;
            }
            if (!expect(u','))
                return {};
            skipSpace();
            if (peek() == u')') {
                ++m_pos;
                return array;
            }
        }
    }

    PlistValue parseDictionary(int depth) {
        ++m_pos;
        QHash<QString, qsizetype> seen;
        PlistValue dictionary = parseEntryList(depth, PlistValue::dictionary(), u'}', seen);
        if (!m_error.isEmpty())
            return {};
        ++m_pos;
        return dictionary;
    }

    // The rest of a brace-less top dictionary whose first key is already read.
    PlistValue parseEntries(const QString& firstKey, int depth) {
        PlistValue dictionary = PlistValue::dictionary();
        QHash<QString, qsizetype> seen;
        if (!addEntry(dictionary, seen, firstKey, depth))
            return {};
        return parseEntryList(depth, dictionary, QChar(), seen);
    }

    PlistValue parseEntryList(int depth, PlistValue dictionary, QChar close,
                              QHash<QString, qsizetype>& seen) {
        while (true) {
            skipSpace();
            if (!m_error.isEmpty())
                return {};
            if (close.isNull() ? atEnd() : peek() == close)
                return dictionary;
            if (atEnd())
                return fail(u"Missing '}' at the end of the text"_s);
            const PlistValue key = parseValue(depth + 1);
            if (!m_error.isEmpty())
                return {};
            if (!key.isString())
                return fail(u"Dictionary key is not a string"_s);
            if (!addEntry(dictionary, seen, key.toString(), depth))
                return {};
        }
    }

    bool addEntry(PlistValue& dictionary, QHash<QString, qsizetype>& seen, const QString& key,
                  int depth) {
        if (!expect(u'='))
            return false;
        PlistValue value = parseValue(depth + 1);
        if (!m_error.isEmpty() || !expect(u';'))
            return false;
        dictionary.insertWhileReading(key, value, seen);
        return true;
    }

    const QString& m_text;
    qsizetype m_pos = 0;
    QString m_error;
};

void appendIndent(QString& out, int level) {
    out.append(QString(level * 4, u' '));
}

void writeValue(QString& out, const PlistValue& value, int level);

void writeCollection(QString& out, const PlistValue& value, int level) {
    const bool isDictionary = value.isDictionary();
    out.append(isDictionary ? u"{\n"_s : u"(\n"_s);
    const qsizetype count = value.count();
    for (qsizetype i = 0; i < count; ++i) {
        appendIndent(out, level + 1);
        if (isDictionary) {
            out.append(PlistTextFormat::quotedIfNeeded(value.keys().at(i)));
            out.append(u" = "_s);
        }
        writeValue(out, value.at(i), level + 1);
        if (isDictionary)
            out.append(u";\n"_s);
        else
            out.append(i + 1 < count ? u",\n"_s : u"\n"_s);
    }
    appendIndent(out, level);
    out.append(isDictionary ? u'}' : u')');
}

void writeValue(QString& out, const PlistValue& value, int level) {
    switch (value.type()) {
    case PlistValue::Type::Dictionary:
    case PlistValue::Type::Array:
        writeCollection(out, value, level);
        return;
    case PlistValue::Type::Invalid:
    case PlistValue::Type::String:
        out.append(PlistTextFormat::quotedIfNeeded(value.toString()));
        return;
    case PlistValue::Type::Integer:
        out.append(u"<*I%1>"_s.arg(value.toInteger()));
        return;
    case PlistValue::Type::UnsignedInteger:
        out.append(u"<*I%1>"_s.arg(value.toUnsigned()));
        return;
    case PlistValue::Type::Real:
        out.append(u"<*R%1>"_s.arg(PlistTextFormat::formatReal(value.toReal())));
        return;
    case PlistValue::Type::Boolean:
        out.append(value.toBool() ? u"<*BY>"_s : u"<*BN>"_s);
        return;
    case PlistValue::Type::Date:
        out.append(u"<*D%1>"_s.arg(PlistTextFormat::formatDate(value.toDate())));
        return;
    case PlistValue::Type::Data:
        out.append(PlistTextFormat::formatData(value.toData()));
        return;
    case PlistValue::Type::Uid:
        out.append(u"<*U%1>"_s.arg(value.toUid()));
        return;
    }
}

} // namespace

PlistValue PlistTextFormat::read(const QByteArray& data, QString* error) {
    QString text;
    if (data.startsWith("\xFE\xFF") || data.startsWith("\xFF\xFE")) {
        auto decoder = QStringDecoder(data.startsWith("\xFE\xFF") ? QStringDecoder::Utf16BE
                                                                  : QStringDecoder::Utf16LE);
        text = decoder(data.mid(2));
    } else {
        auto decoder = QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        text = decoder(data.startsWith("\xEF\xBB\xBF") ? data.mid(3) : data);
        if (decoder.hasError()) {
            if (error)
                *error = u"Bytes that are not UTF-8 text"_s;
            return {};
        }
    }
    return parse(text, error);
}

PlistValue PlistTextFormat::parse(const QString& text, QString* error) {
    return TextParser(text).parseDocument(error);
}

QString PlistTextFormat::write(const PlistValue& value) {
    QString out;
    writeValue(out, value, 0);
    out.append(u'\n');
    return out;
}

QString PlistTextFormat::quotedIfNeeded(const QString& string) {
    // A bare word holding "//" or "/*" would read back as the start of a comment.
    bool plain = !string.isEmpty() && !string.contains(u"//"_s) && !string.contains(u"/*"_s);
    for (QChar c : string)
        plain = plain && isWordChar(c);
    if (plain)
        return string;
    QString out;
    out.reserve(string.size() + 2);
    out.append(u'"');
    for (QChar c : string) {
        const char16_t u = c.unicode();
        if (u == u'"' || u == u'\\') {
            out.append(u'\\');
            out.append(c);
        } else if (u == u'\n') {
            out.append(u"\\n"_s);
        } else if (u == u'\t') {
            out.append(u"\\t"_s);
        } else if (u < 0x20 || u >= 0x7F) {
            out.append(u"\\U%1"_s.arg(int(u), 4, 16, QLatin1Char('0')));
        } else {
            out.append(c);
        }
    }
    out.append(u'"');
    return out;
}

QString PlistTextFormat::formatDate(double secondsSince2001) {
    const double whole = std::isfinite(secondsSince2001) ? std::floor(secondsSince2001) : 0.0;
    // Keep the arithmetic inside QDate's range; such dates are nonsense anyway.
    const qint64 seconds = qint64(qBound(-1e15, whole, 1e15));
    qint64 days = seconds / 86400;
    qint64 rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    const QDate date = QDate::fromJulianDay(julianDay2001 + days);
    return u"%1-%2-%3 %4:%5:%6 +0000"_s.arg(date.year(), 4, 10, QLatin1Char('0'))
        .arg(date.month(), 2, 10, QLatin1Char('0'))
        .arg(date.day(), 2, 10, QLatin1Char('0'))
        .arg(rest / 3600, 2, 10, QLatin1Char('0'))
        .arg(rest / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(rest % 60, 2, 10, QLatin1Char('0'));
}

bool PlistTextFormat::parseDate(const QString& text, double* secondsSince2001) {
    // "2024-01-31 10:00:00 +0000"
    if (text.size() != 25 || text.at(4) != u'-' || text.at(7) != u'-' || text.at(10) != u' ' ||
        text.at(13) != u':' || text.at(16) != u':' || text.at(19) != u' ' ||
        (text.at(20) != u'+' && text.at(20) != u'-'))
        return false;
    const auto number = [&text](int from, int length, int* value) {
        bool ok = false;
        *value = text.mid(from, length).toInt(&ok);
        for (int i = from; i < from + length; ++i)
            ok = ok && text.at(i).isDigit();
        return ok;
    };
    int year, month, day, hour, minute, second, offsetHours, offsetMinutes;
    if (!number(0, 4, &year) || !number(5, 2, &month) || !number(8, 2, &day) ||
        !number(11, 2, &hour) || !number(14, 2, &minute) || !number(17, 2, &second) ||
        !number(21, 2, &offsetHours) || !number(23, 2, &offsetMinutes))
        return false;
    const QDate date(year, month, day);
    if (!date.isValid() || hour > 23 || minute > 59 || second > 60 || offsetMinutes > 59)
        return false;
    const qint64 offset =
        (offsetHours * 3600 + offsetMinutes * 60) * (text.at(20) == u'-' ? -1 : 1);
    *secondsSince2001 = double((date.toJulianDay() - julianDay2001) * 86400 + hour * 3600 +
                               minute * 60 + second - offset);
    return true;
}

QString PlistTextFormat::formatReal(double real) {
    if (std::isnan(real))
        return u"nan"_s;
    if (std::isinf(real))
        return real < 0 ? u"-inf"_s : u"inf"_s;
    return QString::number(real, 'g', QLocale::FloatingPointShortest);
}

QString PlistTextFormat::formatData(const QByteArray& data) {
    QString out(u"<"_s);
    const QByteArray hex = data.toHex();
    for (qsizetype i = 0; i < hex.size(); i += 8) {
        if (i > 0)
            out.append(u' ');
        out.append(QString::fromLatin1(hex.mid(i, 8)));
    }
    out.append(u'>');
    return out;
}
