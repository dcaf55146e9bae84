#pragma once

#include <QByteArray>
#include <QString>

// The settings check of the Linux desktop: it tells which kind of
// configuration file a file is, from its name and its first bytes, and checks
// it with the checker of that kind. Like the property-list check it answers
// "OK" for a good file and, for a damaged one, one message naming the first
// fault and where it lies, followed by a detail part opening with
// " (Error Domain=" that the result list cuts off.
class ConfigChecker {
public:
    enum class Format { Unknown, Dconf, KeyFile, Json, Xml, PropertyList };

    // The codes of the detail part, one for each way a file can fail.
    enum class Fault {
        DconfDamaged = 1,
        KeyFileDamaged = 2,
        JsonDamaged = 3,
        XmlDamaged = 4,
        FileTooLarge = 5,
        FileUnreadable = 6,
    };

    // How many of a file's first bytes formatOf looks at.
    static constexpr qsizetype headSize = 4096;

    // fileName may be a bare name or a path: a dconf database is also known
    // by the folders it lies in. head is the file's first bytes (headSize is
    // enough). Files of no known format are Format::Unknown.
    static Format formatOf(const QString& fileName, const QByteArray& head);
    // "OK", the message of the first fault, the empty-data message for an
    // empty file, or a null string for Format::Unknown, which is not checked.
    static QString check(Format format, const QByteArray& data);
    static QString check(const QString& fileName, const QByteArray& data);

    // "<summary> (Error Domain=SorvaneConfigErrorDomain Code=N \"<message>\")".
    static QString failure(Fault fault, const QString& summary, const QString& message);

    // Where a byte of a text lies, as "line L, column C": both count from 1,
    // and columns count characters (an invalid UTF-8 byte counts as one).
    static QString textPosition(const QByteArray& data, qsizetype offset);
    // The length of the well-formed UTF-8 sequence that starts at p (no
    // overlong forms, surrogates or code points past U+10FFFF), or 0.
    static int utf8SequenceLength(const char* p, const char* end);
    // Whether [p, end) is the start of a well-formed sequence that the end
    // of the data cut short.
    static bool isCutUtf8Sequence(const char* p, const char* end);
};
