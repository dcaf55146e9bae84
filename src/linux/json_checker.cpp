#include "linux/json_checker.h"

#include "linux/config_checker.h"

#include <cstring>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

class JsonParse {
public:
    explicit JsonParse(const QByteArray& data)
        : m_data(data)
        , m_begin(data.constData())
        , m_pos(data.constData())
        , m_end(data.constData() + data.size()) {}

    bool run(QString* error, bool* cutShort);

private:
    // What may come next.
    enum class Expect { Value, ValueOrClose, Key, KeyOrClose, Colon, CommaOrClose };

    bool fail(const QString& what, const char* at);
    bool unexpected();
    bool skipSpace();
    bool step();
    bool value();
    bool afterComma();
    bool close();
    bool string();
    bool escape();
    bool number();
    bool literal();

    const QByteArray& m_data;
    const char* m_begin;
    const char* m_pos;
    const char* m_end;
    Expect m_expect = Expect::Value;
    std::vector<char> m_open; // '[' and '{' of the containers around m_pos
    QString m_error;
    bool m_failedAtEnd = false;
};

bool JsonParse::fail(const QString& what, const char* at) {
    if (m_error.isEmpty()) {
        m_error = u"%1 at %2"_s.arg(what, ConfigChecker::textPosition(m_data, at - m_begin));
        m_failedAtEnd = at == m_end;
    }
    return false;
}

// Names the character at m_pos that does not fit.
bool JsonParse::unexpected() {
    const unsigned char c = static_cast<unsigned char>(*m_pos);
    if (c == 0)
        return fail(u"NUL byte"_s, m_pos);
    if (c > 0x20 && c < 0x7F)
        return fail(u"unexpected character '%1'"_s.arg(QLatin1Char(char(c))), m_pos);
    return fail(
        u"unexpected byte 0x%1"_s.arg(QString::number(c, 16).toUpper().rightJustified(2, u'0')),
        m_pos);
}

// Editors keep their settings as JSON with comments ("//" to the line's
// end, "/* */") and trailing commas; such files are not damaged, so both are
// taken as white space and as a closing's forerunner.
bool JsonParse::skipSpace() {
    while (m_pos < m_end) {
        const char c = *m_pos;
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            ++m_pos;
            continue;
        }
        if (c != '/')
            return true;
        if (m_pos + 1 == m_end)
            return fail(u"unterminated comment"_s, m_end);
        if (m_pos[1] == '/') {
            const void* end = std::memchr(m_pos, '\n', size_t(m_end - m_pos));
            m_pos = end ? static_cast<const char*>(end) : m_end;
        } else if (m_pos[1] == '*') {
            const char* close = nullptr;
            for (const char* p = m_pos + 2; p + 1 < m_end; ++p) {
                if (p[0] == '*' && p[1] == '/') {
                    close = p;
                    break;
                }
            }
            if (!close)
                return fail(u"unterminated comment"_s, m_end);
            m_pos = close + 2;
        } else {
            return true;
        }
    }
    return true;
}

bool JsonParse::run(QString* error, bool* cutShort) {
    if (m_end - m_pos >= 3 && std::memcmp(m_pos, "\xEF\xBB\xBF", 3) == 0)
        m_pos += 3;
    bool ok = true;
    while (ok) {
        ok = skipSpace();
        if (!ok || m_pos == m_end)
            break;
        ok = step();
    }
    if (ok && (m_expect != Expect::CommaOrClose || !m_open.empty()))
        ok = fail(u"unexpected end of data"_s, m_end);
    if (!ok && error)
        *error = m_error;
    if (cutShort)
        *cutShort = !ok && m_failedAtEnd;
    return ok;
}

bool JsonParse::step() {
    const char c = *m_pos;
    switch (m_expect) {
    case Expect::ValueOrClose:
        if (c == ']')
            return close();
        return value();
    case Expect::Value:
        return value();
    case Expect::KeyOrClose:
        if (c == '}')
            return close();
        [[fallthrough]];
    case Expect::Key:
        if (c != '"')
            return *m_pos == 0 ? unexpected() : fail(u"expected a string key"_s, m_pos);
        if (!string())
            return false;
        m_expect = Expect::Colon;
        return true;
    case Expect::Colon:
        if (c != ':')
            return *m_pos == 0 ? unexpected() : fail(u"expected ':'"_s, m_pos);
        ++m_pos;
        m_expect = Expect::Value;
        return true;
    case Expect::CommaOrClose:
        return afterComma();
    }
    return unexpected();
}

bool JsonParse::afterComma() {
    const char c = *m_pos;
    if (m_open.empty())
        return *m_pos == 0 ? unexpected() : fail(u"extra data after the value"_s, m_pos);
    const bool inArray = m_open.back() == '[';
    if (c == ',') {
        ++m_pos;
        m_expect = inArray ? Expect::ValueOrClose : Expect::KeyOrClose;
        return true;
    }
    if (c == (inArray ? ']' : '}'))
        return close();
    if (c == 0)
        return unexpected();
    return fail(inArray ? u"expected ',' or ']'"_s : u"expected ',' or '}'"_s, m_pos);
}

bool JsonParse::close() {
    m_open.pop_back();
    ++m_pos;
    m_expect = Expect::CommaOrClose;
    return true;
}

bool JsonParse::value() {
    const char c = *m_pos;
    if (c == '{' || c == '[') {
        m_open.push_back(c);
        ++m_pos;
        m_expect = c == '{' ? Expect::KeyOrClose : Expect::ValueOrClose;
        return true;
    }
    m_expect = Expect::CommaOrClose;
    if (c == '"')
        return string();
    if (c == '-' || isDigit(c))
        return number();
    if (c == 't' || c == 'f' || c == 'n')
        return literal();
    return unexpected();
}

bool JsonParse::string() {
    ++m_pos; // the opening quote
    while (m_pos < m_end) {
        const char c = *m_pos;
        if (c == '"') {
            ++m_pos;
            return true;
        }
        if (c == '\\') {
            if (!escape())
                return false;
            continue;
        }
        if (c == 0)
            return fail(u"NUL byte"_s, m_pos);
        if (static_cast<unsigned char>(c) < 0x20)
            return fail(u"control character in a string"_s, m_pos);
        const int length = ConfigChecker::utf8SequenceLength(m_pos, m_end);
        if (length == 0 && ConfigChecker::isCutUtf8Sequence(m_pos, m_end))
            return fail(u"unexpected end of data"_s, m_end);
        if (length == 0)
            return fail(u"invalid UTF-8"_s, m_pos);
        m_pos += length;
    }
    return fail(u"unexpected end of data"_s, m_end);
}

bool JsonParse::escape() {
    const char* start = m_pos;
    ++m_pos;
    if (m_pos == m_end)
        return fail(u"unexpected end of data"_s, m_end);
    if (std::strchr("\"\\/bfnrt", *m_pos) && *m_pos != 0) {
        ++m_pos;
        return true;
    }
    if (*m_pos != 'u')
        return fail(u"invalid escape sequence"_s, start);
    for (int i = 1; i <= 4; ++i) {
        if (m_pos + i == m_end)
            return fail(u"unexpected end of data"_s, m_end);
        if (!isHexDigit(m_pos[i]))
            return fail(u"invalid escape sequence"_s, start);
    }
    m_pos += 5;
    return true;
}

// -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
bool JsonParse::number() {
    const char* start = m_pos;
    // Digits must follow; none because the data ends is a cut, not a bad number.
    const auto digits = [this, start] {
        const char* from = m_pos;
        while (m_pos < m_end && isDigit(*m_pos))
            ++m_pos;
        if (m_pos > from)
            return true;
        return m_pos == m_end ? fail(u"unexpected end of data"_s, m_end)
                              : fail(u"invalid number"_s, start);
    };
    if (*m_pos == '-')
        ++m_pos;
    if (m_pos < m_end && *m_pos == '0')
        ++m_pos;
    else if (!digits())
        return false;
    if (m_pos < m_end && *m_pos == '.') {
        ++m_pos;
        if (!digits())
            return false;
    }
    if (m_pos < m_end && (*m_pos == 'e' || *m_pos == 'E')) {
        ++m_pos;
        if (m_pos < m_end && (*m_pos == '+' || *m_pos == '-'))
            ++m_pos;
        if (!digits())
            return false;
    }
    // "01", "1.2.3" and "1e5e5" are one bad number, not a number and junk.
    if (m_pos < m_end && (isDigit(*m_pos) || *m_pos == '.' || *m_pos == 'e' || *m_pos == 'E'))
        return fail(u"invalid number"_s, start);
    return true;
}

bool JsonParse::literal() {
    for (const char* word : {"true", "false", "null"}) {
        const size_t length = std::strlen(word);
        if (size_t(m_end - m_pos) >= length && std::memcmp(m_pos, word, length) == 0) {
            m_pos += length;
            return true;
        }
        // A file cut inside "true" ends early; it holds no wrong letter.
        if (size_t(m_end - m_pos) < length && std::memcmp(m_pos, word, size_t(m_end - m_pos)) == 0)
            return fail(u"unexpected end of data"_s, m_end);
    }
    return fail(u"invalid literal"_s, m_pos);
}

} // namespace

bool JsonChecker::validate(const QByteArray& data, QString* error, bool* cutShort) {
    return JsonParse(data).run(error, cutShort);
}
