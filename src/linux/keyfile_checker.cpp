#include "linux/keyfile_checker.h"

#include "linux/config_checker.h"

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

// GLib strips these around lines, keys and values.
bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

// GLib skips these before a line, but not a vertical tab: "\v=v" is an
// entry whose key is blank.
bool isLeadingSpace(char c) {
    return c != '\v' && isSpace(c);
}

// GLib refuses control characters in group names.
bool isControl(char c) {
    return (static_cast<unsigned char>(c) < 0x20) || c == 0x7F;
}

class KeyFileParse {
public:
    explicit KeyFileParse(const QByteArray& data)
        : m_data(data)
        , m_begin(data.constData())
        , m_end(data.constData() + data.size()) {}

    bool run(QString* error);

private:
    bool fail(const QString& what, const char* at);
    bool checkEncoding(const char* begin, const char* end);
    bool checkLine(const char* begin, const char* end);
    bool checkGroupHeader(const char* begin, const char* end);
    bool checkEntry(const char* begin, const char* end);
    bool checkKey(const char* begin, const char* end);
    bool checkBracketContent(const char* begin, const char* end) const;

    const QByteArray& m_data;
    const char* m_begin;
    const char* m_end;
    QString m_error;
};

bool KeyFileParse::fail(const QString& what, const char* at) {
    if (m_error.isEmpty())
        m_error = u"%1 at %2"_s.arg(what, ConfigChecker::textPosition(m_data, at - m_begin));
    return false;
}

bool KeyFileParse::run(QString* error) {
    const char* p = m_begin;
    // KDE's reader skips a byte-order mark; GLib's does not, but one at the
    // very start is harmless.
    if (m_end - p >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0)
        p += 3;
    bool ok = true;
    while (ok && p < m_end) {
        const char* newline = static_cast<const char*>(std::memchr(p, '\n', size_t(m_end - p)));
        const char* lineEnd = newline ? newline : m_end;
        ok = checkEncoding(p, lineEnd) && checkLine(p, lineEnd);
        p = lineEnd + 1;
    }
    if (!ok && error)
        *error = m_error;
    return ok;
}

bool KeyFileParse::checkEncoding(const char* begin, const char* end) {
    for (const char* p = begin; p < end;) {
        if (*p == 0)
            return fail(u"NUL byte"_s, p);
        const int length = ConfigChecker::utf8SequenceLength(p, end);
        if (length == 0)
            return fail(u"invalid UTF-8"_s, p);
        p += length;
    }
    return true;
}

bool KeyFileParse::checkLine(const char* begin, const char* end) {
    while (begin < end && isLeadingSpace(*begin))
        ++begin;
    while (end > begin && isSpace(end[-1]))
        --end;
    if (begin == end || *begin == '#' || *begin == ';')
        return true;
    if (*begin == '[')
        return checkGroupHeader(begin, end);
    return checkEntry(begin, end);
}

// "[Group]", KDE's "[Group][Sub][$i]", and "[$i]" alone for the whole file.
bool KeyFileParse::checkGroupHeader(const char* begin, const char* end) {
    if (end[-1] != ']' || end - begin < 2)
        return fail(u"unterminated group header"_s, begin);
    for (const char* p = begin; p < end;) {
        if (*p != '[')
            return fail(u"text after a group header"_s, p);
        const char* close = static_cast<const char*>(std::memchr(p, ']', size_t(end - p)));
        const char* name = p + 1;
        if (close == name)
            return fail(u"empty group name"_s, p);
        for (const char* c = name; c < close; ++c) {
            if (*c == '[' || isControl(*c))
                return fail(u"invalid group name"_s, c);
        }
        p = close + 1;
    }
    return true;
}

bool KeyFileParse::checkEntry(const char* begin, const char* end) {
    const char* equals = static_cast<const char*>(std::memchr(begin, '=', size_t(end - begin)));
    if (!equals)
        return fail(u"line is not a group, an entry or a comment"_s, begin);
    if (equals == begin)
        return fail(u"entry without a key"_s, begin);
    // Deliberately as GLib: a key that white space alone makes up passes.
    const char* keyEnd = equals;
    while (keyEnd > begin && isSpace(keyEnd[-1]))
        --keyEnd;
    // The value is free text: escapes are read when a value is used, and
    // KDE writes some ("\x5d") that GLib would not read.
    return checkKey(begin, keyEnd);
}

// A key may end in bracketed parts: a locale ("Name[sr@latin]") or KDE flags
// ("[$e]", "[$i]"), in either order. Brackets elsewhere in a key are left
// alone, as KDE leaves them.
bool KeyFileParse::checkKey(const char* begin, const char* end) {
    while (end > begin && end[-1] == ']') {
        const char* open = end - 1;
        while (open > begin && *open != '[')
            --open;
        if (*open != '[' || open == begin)
            return fail(u"invalid key name"_s, begin);
        if (!checkBracketContent(open + 1, end - 1))
            return fail(u"invalid key locale or flags"_s, open);
        end = open;
    }
    return true;
}

// GLib takes "Key[]" for a key with an empty locale.
bool KeyFileParse::checkBracketContent(const char* begin, const char* end) const {
    if (begin == end)
        return true;
    for (const char* c = begin; c < end; ++c) {
        if (*c == ']' || isControl(*c))
            return false;
    }
    if (*begin != '$')
        return true;
    if (end - begin < 2)
        return false;
    for (const char* c = begin + 1; c < end; ++c) {
        if (!((*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z')))
            return false;
    }
    return true;
}

} // namespace

bool KeyFileChecker::validate(const QByteArray& data, QString* error) {
    return KeyFileParse(data).run(error);
}
