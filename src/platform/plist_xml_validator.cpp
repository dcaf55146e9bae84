#include "platform/plist_xml_validator.h"

#include <QDate>

#include <cctype>
#include <cstdlib>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

const char* skipBom(const char* begin, const char* end) {
    if (end - begin >= 3 && std::memcmp(begin, "\xEF\xBB\xBF", 3) == 0)
        return begin + 3;
    return begin;
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.' || c == ':';
}

bool tagFromName(std::string_view name, PlistXmlValidator::Tag* tag) {
    using Tag = PlistXmlValidator::Tag;
    static const std::pair<std::string_view, Tag> tags[] = {
        {"plist", Tag::Plist}, {"dict", Tag::Dict},     {"array", Tag::Array},
        {"key", Tag::Key},     {"string", Tag::String}, {"integer", Tag::Integer},
        {"real", Tag::Real},   {"true", Tag::True},     {"false", Tag::False},
        {"date", Tag::Date},   {"data", Tag::Data}};
    for (const auto& [tagName, value] : tags) {
        if (tagName == name) {
            *tag = value;
            return true;
        }
    }
    return false;
}

} // namespace

PlistXmlValidator::PlistXmlValidator(const char* begin, const char* end)
    : m_begin(begin)
    , m_pos(skipBom(begin, end))
    , m_end(end) {}

bool PlistXmlValidator::validate(QString* error) {
    if (skipMisc(true) && expectRoot())
        skipMisc(false);
    if (m_error.isEmpty() && m_pos != m_end)
        fail(u"Unexpected content after the property list"_s);
    if (!m_error.isEmpty() && error)
        *error = m_error;
    return m_error.isEmpty();
}

bool PlistXmlValidator::fail(const QString& what) {
    if (m_error.isEmpty()) {
        int line = 1;
        for (const char* p = m_begin; p < m_pos && p < m_end; ++p)
            line += *p == '\n' ? 1 : 0;
        m_error = u"%1 at line %2"_s.arg(what).arg(line);
    }
    return false;
}

bool PlistXmlValidator::startsWith(const char* text) const {
    // A plain loop: the prefixes are a few bytes, and this runs at every tag.
    const char* at = m_pos;
    for (; *text; ++text, ++at) {
        if (at >= m_end || *at != *text)
            return false;
    }
    return true;
}

bool PlistXmlValidator::skipPast(const char* terminator, const QString& what) {
    const size_t length = std::strlen(terminator);
    for (const char* p = m_pos; size_t(m_end - p) >= length; ++p) {
        if (std::memcmp(p, terminator, length) == 0) {
            m_pos = p + length;
            return true;
        }
    }
    return fail(what);
}

void PlistXmlValidator::skipSpace() {
    while (m_pos < m_end && isSpace(*m_pos))
        ++m_pos;
}

bool PlistXmlValidator::skipMisc(bool prolog) {
    while (true) {
        skipSpace();
        if (startsWith("<!--")) {
            // "<!-->" does not close itself: the search starts after the opener.
            m_pos += 4;
            if (!skipPast("-->", u"Unterminated comment"_s))
                return false;
        } else if (startsWith("<?")) {
            if (!skipProcessingInstruction())
                return false;
        } else if (prolog && startsWith("<!DOCTYPE")) {
            if (!skipDoctype())
                return false;
        } else {
            return true;
        }
    }
}

// Quoted values (as in the XML declaration) must close.
bool PlistXmlValidator::skipProcessingInstruction() {
    char quote = 0;
    // A target name must follow "<?", and no other '<' or '>' may stand inside.
    if (m_pos + 2 >= m_end || !isNameChar(m_pos[2]))
        return fail(u"Malformed processing instruction"_s);
    for (const char* p = m_pos + 2; p < m_end; ++p) {
        if (*p == '?' && !quote && p + 1 < m_end && p[1] == '>') {
            m_pos = p + 2;
            return true;
        }
        if (*p == '<' || *p == '>')
            break;
        if (quote)
            quote = *p == quote ? 0 : quote;
        else if (*p == '"' || *p == '\'')
            quote = *p;
    }
    return fail(u"Malformed processing instruction"_s);
}

bool PlistXmlValidator::skipDoctype() {
    // As the reader takes it: the declaration ends at the first '>', unless a
    // '[' comes first, when it ends at the first "]>"; quoted text is skipped.
    char quote = 0;
    bool subset = false;
    for (const char* p = m_pos; p < m_end; ++p) {
        if (quote) {
            quote = *p == quote ? 0 : quote;
        } else if (*p == '"' || *p == '\'') {
            quote = *p;
        } else if (*p == '[') {
            subset = true;
        } else if (*p == '>' && (!subset || p[-1] == ']')) {
            m_pos = p + 1;
            return true;
        }
    }
    return fail(u"Unterminated DOCTYPE"_s);
}

bool PlistXmlValidator::readOpenTag(Element* element) {
    if (m_pos >= m_end || *m_pos != '<')
        return fail(m_pos >= m_end ? u"Unexpected end of the document"_s : u"Expected a tag"_s);
    ++m_pos;
    const char* nameStart = m_pos;
    while (m_pos < m_end && isNameChar(*m_pos))
        ++m_pos;
    element->name = std::string_view(nameStart, size_t(m_pos - nameStart));
    if (element->name.empty())
        return fail(u"Malformed tag"_s);
    if (!tagFromName(element->name, &element->tag))
        return fail(u"Unknown tag <%1>"_s.arg(QLatin1StringView(element->name)));
    return readTagRest(element);
}

bool PlistXmlValidator::readTagRest(Element* element) {
    const auto malformed = [this, element] {
        return fail(u"Malformed tag <%1>"_s.arg(QLatin1StringView(element->name)));
    };
    while (true) {
        const char* before = m_pos;
        skipSpace();
        if (m_pos >= m_end)
            return malformed();
        if (*m_pos == '/' || *m_pos == '>')
            break;
        // Attributes are accepted (and ignored) only in proper name="value" form.
        if (m_pos == before || !isNameChar(*m_pos))
            return malformed();
        while (m_pos < m_end && isNameChar(*m_pos))
            ++m_pos;
        skipSpace();
        if (m_pos >= m_end || *m_pos != '=')
            return malformed();
        ++m_pos;
        skipSpace();
        if (m_pos >= m_end || (*m_pos != '"' && *m_pos != '\''))
            return malformed();
        const char quote = *m_pos++;
        while (m_pos < m_end && *m_pos != quote && *m_pos != '<')
            ++m_pos;
        if (m_pos >= m_end || *m_pos != quote)
            return fail(u"Unterminated attribute value"_s);
        ++m_pos;
    }
    element->empty = *m_pos == '/';
    if (element->empty)
        ++m_pos;
    if (m_pos >= m_end || *m_pos != '>')
        return malformed();
    ++m_pos;
    return true;
}

bool PlistXmlValidator::expectClose(const Element& element) {
    if (!startsWith("</"))
        return fail(u"Expected </%1>"_s.arg(QLatin1StringView(element.name)));
    m_pos += 2;
    const char* nameStart = m_pos;
    while (m_pos < m_end && isNameChar(*m_pos))
        ++m_pos;
    if (std::string_view(nameStart, size_t(m_pos - nameStart)) != element.name)
        return fail(u"Expected </%1>"_s.arg(QLatin1StringView(element.name)));
    skipSpace();
    if (m_pos >= m_end || *m_pos != '>')
        return fail(u"Malformed closing tag"_s);
    ++m_pos;
    return true;
}

bool PlistXmlValidator::expectRoot() {
    Element root;
    if (!readOpenTag(&root))
        return false;
    if (root.tag != Tag::Plist)
        return validateValue(root, 0);
    if (root.empty)
        return fail(u"Empty <plist> element"_s);
    if (!skipMisc(false))
        return false;
    Element value;
    if (startsWith("</"))
        return fail(u"Empty <plist> element"_s);
    if (!readOpenTag(&value) || !validateValue(value, 1) || !skipMisc(false))
        return false;
    return expectClose(root);
}

bool PlistXmlValidator::validateValue(const Element& element, int depth) {
    if (depth > maxDepth)
        return fail(u"Nesting deeper than %1 levels"_s.arg(maxDepth));
    switch (element.tag) {
    case Tag::Plist:
        return fail(u"Nested <plist> element"_s);
    case Tag::Key:
        return fail(u"<key> outside a dictionary"_s);
    case Tag::Dict:
        return validateDictionary(element, depth);
    case Tag::Array:
        return validateArray(element, depth);
    case Tag::True:
    case Tag::False:
        return element.empty || expectClose(element);
    default:
        return validateScalar(element);
    }
}

bool PlistXmlValidator::validateArray(const Element& element, int depth) {
    if (element.empty)
        return true;
    while (true) {
        if (!skipMisc(false))
            return false;
        if (startsWith("</"))
            return expectClose(element);
        Element item;
        if (!readOpenTag(&item) || !validateValue(item, depth + 1))
            return false;
    }
}

bool PlistXmlValidator::validateDictionary(const Element& element, int depth) {
    if (element.empty)
        return true;
    while (true) {
        if (!skipMisc(false))
            return false;
        if (startsWith("</"))
            return expectClose(element);
        Element key;
        if (!readOpenTag(&key))
            return false;
        if (key.tag != Tag::Key)
            return fail(u"Dictionary value <%1> without a key"_s.arg(QLatin1StringView(key.name)));
        if (!validateScalar(key) || !skipMisc(false))
            return false;
        if (startsWith("</"))
            return fail(u"Dictionary key without a value"_s);
        Element value;
        if (!readOpenTag(&value))
            return false;
        if (value.tag == Tag::Key)
            return fail(u"Dictionary key without a value"_s);
        if (!validateValue(value, depth + 1))
            return false;
    }
}

bool PlistXmlValidator::readText(const Element& element, std::string* text) {
    while (true) {
        if (m_pos >= m_end)
            return fail(u"Unterminated <%1>"_s.arg(QLatin1StringView(element.name)));
        const char c = *m_pos;
        if (c == '&') {
            if (!readEntity(text))
                return false;
        } else if (c != '<') {
            const char* start = m_pos;
            while (m_pos < m_end && *m_pos != '<' && *m_pos != '&')
                ++m_pos;
            if (text)
                text->append(start, size_t(m_pos - start));
        } else if (startsWith("<![CDATA[")) {
            m_pos += 9;
            const char* start = m_pos;
            if (!skipPast("]]>", u"Unterminated CDATA section"_s))
                return false;
            if (text)
                text->append(start, size_t(m_pos - 3 - start));
        } else if (startsWith("<!--")) {
            m_pos += 4;
            if (!skipPast("-->", u"Unterminated comment"_s))
                return false;
        } else if (startsWith("</")) {
            return expectClose(element);
        } else {
            return fail(u"Unexpected tag inside <%1>"_s.arg(QLatin1StringView(element.name)));
        }
    }
}

bool PlistXmlValidator::readEntity(std::string* text) {
    const char* semicolon = m_pos;
    while (semicolon < m_end && semicolon - m_pos < 12 && *semicolon != ';')
        ++semicolon;
    if (semicolon >= m_end || *semicolon != ';')
        return fail(u"Malformed entity reference"_s);
    const std::string_view name(m_pos + 1, size_t(semicolon - m_pos - 1));
    static const std::pair<std::string_view, char> named[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [entity, character] : named) {
        if (name == entity) {
            if (text)
                text->push_back(character);
            m_pos = semicolon + 1;
            return true;
        }
    }
    if (name.size() >= 2 && name[0] == '#') {
        const bool hex = name[1] == 'x';
        const std::string digits(name.substr(hex ? 2 : 1));
        char* stop = nullptr;
        const unsigned long code = std::strtoul(digits.c_str(), &stop, hex ? 16 : 10);
        // The whole name must be the number: a NUL inside it would end strtoul early.
        if (!digits.empty() && stop == digits.c_str() + digits.size() && code > 0 &&
            code <= 0x10FFFF && std::isxdigit(uchar(digits[0]))) {
            const char32_t ucs4 = char32_t(code);
            if (text)
                text->append(QString::fromUcs4(&ucs4, 1).toStdString());
            m_pos = semicolon + 1;
            return true;
        }
    }
    return fail(u"Unknown entity reference"_s);
}

bool PlistXmlValidator::validateScalar(const Element& element) {
    if (element.empty) {
        // "<key/>" is refused: libplist cannot read it, and "<key></key>" says the same.
        if (element.tag == Tag::String || element.tag == Tag::Data)
            return true;
        return fail(u"Empty <%1> element"_s.arg(QLatin1StringView(element.name)));
    }
    // Strings and keys are checked, not kept: only numbers, dates and data are read.
    const bool keep = element.tag != Tag::String && element.tag != Tag::Key;
    std::string text;
    if (!readText(element, keep ? &text : nullptr))
        return false;
    switch (element.tag) {
    case Tag::Integer:
        return checkInteger(text);
    case Tag::Real:
        return checkReal(text) || fail(u"<real> value \"%1\" is not a number"_s.arg(
                                      QString::fromStdString(text).left(40)));
    case Tag::Date:
        return readDate(text) || fail(u"<date> value \"%1\" is not a date"_s.arg(
                                     QString::fromStdString(text).left(40)));
    case Tag::Data:
        return checkBase64(text) || fail(u"<data> holds characters outside base64"_s);
    default:
        return true;
    }
}

std::string_view PlistXmlValidator::trimmed(const std::string& text) {
    size_t from = 0;
    size_t to = text.size();
    while (from < to && isSpace(text[from]))
        ++from;
    while (to > from && isSpace(text[to - 1]))
        --to;
    return std::string_view(text).substr(from, to - from);
}

bool PlistXmlValidator::checkInteger(const std::string& raw) {
    std::string_view text = trimmed(raw);
    const QString shown = QString::fromStdString(raw).left(40);
    bool negative = false;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hex)
        text.remove_prefix(2);
    if (text.empty())
        return fail(u"<integer> value \"%1\" is not a number"_s.arg(shown));
    const quint64 base = hex ? 16 : 10;
    quint64 value = 0;
    for (char c : text) {
        const int digit = (c >= '0' && c <= '9')        ? c - '0'
                          : hex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : hex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                        : -1;
        if (digit < 0)
            return fail(u"<integer> value \"%1\" is not a number"_s.arg(shown));
        if (value > (UINT64_MAX - quint64(digit)) / base)
            return fail(u"<integer> value \"%1\" is out of range"_s.arg(shown));
        value = value * base + quint64(digit);
    }
    if (negative && value > quint64(INT64_MAX) + 1)
        return fail(u"<integer> value \"%1\" is out of range"_s.arg(shown));
    m_integers.append(negative ? PlistValue::fromInteger(qint64(0 - value))
                               : PlistValue::fromUnsigned(value));
    return true;
}

bool PlistXmlValidator::checkReal(const std::string& raw) {
    std::string_view text = trimmed(raw);
    if (!text.empty() && (text[0] == '-' || text[0] == '+'))
        text.remove_prefix(1);
    std::string lower(text);
    for (char& c : lower)
        c = char(std::tolower(uchar(c)));
    if (lower == "nan" || lower == "inf" || lower == "infinity")
        return true;
    size_t at = 0;
    size_t digits = 0;
    while (at < text.size() && std::isdigit(uchar(text[at])))
        ++at, ++digits;
    if (at < text.size() && text[at] == '.') {
        ++at;
        while (at < text.size() && std::isdigit(uchar(text[at])))
            ++at, ++digits;
    }
    if (digits == 0)
        return false;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        ++at;
        if (at < text.size() && (text[at] == '-' || text[at] == '+'))
            ++at;
        size_t exponentDigits = 0;
        while (at < text.size() && std::isdigit(uchar(text[at])))
            ++at, ++exponentDigits;
        if (exponentDigits == 0)
            return false;
    }
    return at == text.size();
}

bool PlistXmlValidator::readDate(const std::string& raw) {
    if (!checkDate(raw))
        return false;
    const std::string_view text = trimmed(raw);
    const auto field = [&text](size_t at, size_t length, int fallback) {
        if (at + length > text.size() - 1)
            return fallback;
        int value = 0;
        for (size_t i = at; i < at + length; ++i)
            value = value * 10 + (text[i] - '0');
        return value;
    };
    const QDate date(field(0, 4, 1), field(5, 2, 1), field(8, 2, 1));
    if (!date.isValid())
        return false;
    const qint64 days = date.toJulianDay() - QDate(2001, 1, 1).toJulianDay();
    m_dates.append(
        double(days * 86400 + field(11, 2, 0) * 3600 + field(14, 2, 0) * 60 + field(17, 2, 0)));
    return true;
}

bool PlistXmlValidator::checkDate(const std::string& raw) {
    const std::string_view text = trimmed(raw);
    static const char pattern[] = "dddd-dd-ddTdd:dd:dd";
    if (text.empty() || text.back() != 'Z')
        return false;
    const std::string_view body = text.substr(0, text.size() - 1);
    static const size_t lengths[] = {4, 7, 10, 13, 16, 19};
    bool lengthOk = false;
    for (size_t length : lengths)
        lengthOk = lengthOk || body.size() == length;
    if (!lengthOk)
        return false;
    for (size_t i = 0; i < body.size(); ++i) {
        if (pattern[i] == 'd' ? !std::isdigit(uchar(body[i])) : body[i] != pattern[i])
            return false;
    }
    return true;
}

bool PlistXmlValidator::checkBase64(const std::string& text) {
    for (char c : text) {
        if (!(std::isalnum(uchar(c)) || c == '+' || c == '/' || c == '=' || isSpace(c)))
            return false;
    }
    return true;
}

bool PlistXmlValidator::opensLikeXml(const QByteArray& data) {
    const char* end = data.constData() + data.size();
    const char* at = skipBom(data.constData(), end);
    while (at < end && isSpace(*at))
        ++at;
    if (end - at < 2 || *at != '<')
        return false;
    if (at[1] == '?' || at[1] == '!')
        return true;
    const char* nameEnd = at + 1;
    while (nameEnd < end && isNameChar(*nameEnd))
        ++nameEnd;
    Tag tag;
    return tagFromName(std::string_view(at + 1, size_t(nameEnd - at - 1)), &tag);
}

const char* PlistXmlValidator::skipByteOrderMark(const char* begin, const char* end) {
    return skipBom(begin, end);
}
