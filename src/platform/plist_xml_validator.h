#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <string>
#include <string_view>

// The strict pass over an XML property list that runs before libplist sees
// it: one scan that accepts exactly the well-formed documents (known tags in
// their places, numbers, dates and base64 that read in full, entities,
// comments, CDATA, nesting up to maxDepth) and names the first fault with its
// line. It also keeps what libplist 2.2 gets wrong or cannot report: every
// integer (libplist reads a leading 0 as octal and cannot tell values above
// the signed 64-bit range from negative ones) and every date at full range.
class PlistXmlValidator {
public:
    static constexpr int maxDepth = 512;

    enum class Tag { Plist, Dict, Array, Key, String, Integer, Real, True, False, Date, Data };

    PlistXmlValidator(const char* begin, const char* end);
    bool validate(QString* error);
    // Each <integer> in document order, read as decimal (or 0x hexadecimal).
    const QList<PlistValue>& integers() const { return m_integers; }
    // Each <date> in document order, in seconds since 2001: libplist 2.2 keeps
    // only 32-bit seconds, which cannot reach dates before 1933.
    const QList<double>& dates() const { return m_dates; }

    // After an optional UTF-8 byte-order mark and white space, an XML
    // declaration, comment, DOCTYPE or property-list tag opens the data.
    static bool opensLikeXml(const QByteArray& data);
    static const char* skipByteOrderMark(const char* begin, const char* end);

private:
    struct Element {
        Tag tag;
        bool empty; // written as <tag/>
        std::string_view name;
    };
    bool fail(const QString& what);
    bool startsWith(const char* text) const;
    bool skipPast(const char* terminator, const QString& what);
    void skipSpace();
    // White space, comments and, in the prolog, processing instructions and a DOCTYPE.
    bool skipMisc(bool prolog);
    bool skipProcessingInstruction();
    bool skipDoctype();
    bool readOpenTag(Element* element);
    // Attributes (accepted, not interpreted) and the end of the tag.
    bool readTagRest(Element* element);
    bool expectClose(const Element& element);
    bool expectRoot();
    bool validateValue(const Element& element, int depth);
    bool validateArray(const Element& element, int depth);
    bool validateDictionary(const Element& element, int depth);
    // Character data up to the closing tag: entities and CDATA decoded, comments skipped.
    bool readText(const Element& element, std::string* text);
    bool readEntity(std::string* text);
    bool validateScalar(const Element& element);
    static std::string_view trimmed(const std::string& text);
    bool checkInteger(const std::string& raw);
    static bool checkReal(const std::string& raw);
    bool readDate(const std::string& raw);
    // 2024-01-31T10:00:00Z; like other readers, trailing fields may be left out.
    static bool checkDate(const std::string& raw);
    static bool checkBase64(const std::string& text);

    const char* m_begin;
    const char* m_pos;
    const char* m_end;
    QString m_error;
    QList<PlistValue> m_integers;
    QList<double> m_dates;
};
