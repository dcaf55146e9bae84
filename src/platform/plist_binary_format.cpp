#include "platform/plist_binary_format.h"

#include <QHash>

#include <cstring>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype headerSize = 8;
constexpr qsizetype trailerSize = 32;

quint64 readBigEndian(const uchar* bytes, int size) {
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

class BinaryReader {
public:
    // Without buildValues the reader only validates: same checks, no values built.
    BinaryReader(const QByteArray& data, bool buildValues)
        : m_data(data)
        , m_bytes(reinterpret_cast<const uchar*>(data.constData()))
        , m_build(buildValues) {}

    PlistValue read(QString* error) {
        PlistValue value;
        if (readTrailer())
            value = readObject(m_topObject, 0);
        if (!m_error.isEmpty()) {
            if (error)
                *error = m_error;
            return {};
        }
        return value;
    }

private:
    bool fail(const QString& what, quint64 offset) {
        if (m_error.isEmpty())
            m_error = u"%1 at offset %2"_s.arg(what).arg(offset);
        return false;
    }

    bool readTrailer() {
        const qsizetype size = m_data.size();
        if (size < headerSize + 1 + trailerSize)
            return fail(u"Binary property list too short for its trailer"_s, quint64(size));
        if (std::memcmp(m_bytes, "bplist00", headerSize) != 0)
            return fail(u"Unknown binary property list version"_s, 6);
        const uchar* trailer = m_bytes + size - trailerSize;
        m_offsetSize = trailer[6];
        m_refSize = trailer[7];
        m_objectCount = readBigEndian(trailer + 8, 8);
        m_topObject = readBigEndian(trailer + 16, 8);
        m_offsetTable = readBigEndian(trailer + 24, 8);
        const quint64 trailerOffset = quint64(size - trailerSize);
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
            return fail(u"Corrupt trailer: bad offset or reference size"_s, trailerOffset + 6);
        if (m_objectCount == 0 || m_topObject >= m_objectCount)
            return fail(u"Corrupt trailer: bad object count or top object"_s, trailerOffset + 8);
        if (m_offsetTable < quint64(headerSize + 1) || m_offsetTable > trailerOffset)
            return fail(u"Corrupt trailer: offset table out of range"_s, trailerOffset + 24);
        if (m_objectCount > (trailerOffset - m_offsetTable) / m_offsetSize)
            return fail(u"Corrupt offset table: too short for the object count"_s, m_offsetTable);
        if (m_refSize < 8 && m_objectCount > (quint64(1) << (8 * m_refSize)))
            return fail(u"Corrupt trailer: object count exceeds the reference size"_s,
                        trailerOffset + 7);
        if (m_build)
            m_cache.resize(qsizetype(m_objectCount));
        m_state.resize(qsizetype(m_objectCount));
        return true;
    }

    std::optional<quint64> objectOffset(quint64 index) {
        const quint64 entry = m_offsetTable + index * m_offsetSize;
        const quint64 offset = readBigEndian(m_bytes + entry, m_offsetSize);
        if (offset < quint64(headerSize) || offset >= m_offsetTable) {
            fail(u"Corrupt offset table: object %1 lies outside the object area"_s.arg(index),
                 entry);
            return std::nullopt;
        }
        return offset;
    }

    // The bytes [offset, offset + length) must lie inside the object area.
    bool inObjectArea(quint64 offset, quint64 length) {
        if (length > m_offsetTable || offset > m_offsetTable - length)
            return fail(u"Object runs past the object area"_s, offset);
        return true;
    }

    // Reads the count of a marker's low nibble, or the integer object that follows 0xF.
    std::optional<quint64> readCount(quint64 offset, quint64* contentOffset) {
        const uchar low = m_bytes[offset] & 0x0F;
        if (low != 0x0F) {
            *contentOffset = offset + 1;
            return low;
        }
        if (!inObjectArea(offset + 1, 1))
            return std::nullopt;
        const uchar marker = m_bytes[offset + 1];
        if ((marker & 0xF0) != 0x10 || (marker & 0x0F) > 3) {
            fail(u"Bad length marker 0x%1"_s.arg(marker, 2, 16, QLatin1Char('0')), offset + 1);
            return std::nullopt;
        }
        const int size = 1 << (marker & 0x0F);
        if (!inObjectArea(offset + 2, quint64(size)))
            return std::nullopt;
        *contentOffset = offset + 2 + quint64(size);
        return readBigEndian(m_bytes + offset + 2, size);
    }

    std::optional<quint64> readRef(quint64 at) {
        const quint64 ref = readBigEndian(m_bytes + at, m_refSize);
        if (ref >= m_objectCount) {
            fail(u"Object reference %1 out of range"_s.arg(ref), at);
            return std::nullopt;
        }
        return ref;
    }

    PlistValue readObject(quint64 index, int depth) {
        const qsizetype slot = qsizetype(index);
        if (m_state[slot] == Done)
            return m_build ? m_cache[slot] : PlistValue();
        if (m_state[slot] == InProgress) {
            fail(u"Reference cycle through object %1"_s.arg(index), m_offsetTable);
            return {};
        }
        if (depth > PlistBinaryFormat::maxDepth) {
            fail(u"Nesting deeper than %1 levels"_s.arg(PlistBinaryFormat::maxDepth),
                 m_offsetTable);
            return {};
        }
        const std::optional<quint64> offset = objectOffset(index);
        if (!offset)
            return {};
        m_state[slot] = InProgress;
        PlistValue value = decode(*offset, depth);
        if (!m_error.isEmpty())
            return {};
        m_state[slot] = Done;
        if (m_build)
            m_cache[slot] = value;
        return value;
    }

    PlistValue decode(quint64 offset, int depth) {
        const uchar marker = m_bytes[offset];
        const uchar high = marker >> 4;
        const uchar low = marker & 0x0F;
        switch (high) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09)
                return PlistValue::fromBool(marker == 0x09);
            break;
        case 0x1:
            return decodeInteger(offset, low);
        case 0x2:
            return decodeReal(offset, low);
        case 0x3:
            if (marker == 0x33 && inObjectArea(offset + 1, 8))
                return PlistValue::fromDate(readDouble(offset + 1));
            break;
        case 0x4:
        case 0x5:
        case 0x6:
            return decodeBytes(offset, high);
        case 0x8:
            if (inObjectArea(offset + 1, low + 1u))
                return PlistValue::fromUid(readBigEndian(m_bytes + offset + 1, low + 1));
            return {};
        case 0xA:
            return decodeArray(offset, depth);
        case 0xD:
            return decodeDictionary(offset, depth);
        default:
            break;
        }
        if (m_error.isEmpty())
            fail(u"Unknown object marker 0x%1"_s.arg(marker, 2, 16, QLatin1Char('0')), offset);
        return {};
    }

    PlistValue decodeInteger(quint64 offset, uchar low) {
        if (low > 4) {
            fail(u"Bad integer size"_s, offset);
            return {};
        }
        const int size = 1 << low;
        if (!inObjectArea(offset + 1, quint64(size)))
            return {};
        const uchar* bytes = m_bytes + offset + 1;
        if (size == 16) {
            // 128-bit integers carry unsigned 64-bit values; anything wider is refused.
            const quint64 highHalf = readBigEndian(bytes, 8);
            const quint64 lowHalf = readBigEndian(bytes + 8, 8);
            if (highHalf == 0)
                return PlistValue::fromUnsigned(lowHalf);
            if (highHalf == ~quint64(0) && (lowHalf >> 63))
                return PlistValue::fromInteger(qint64(lowHalf));
            fail(u"Integer out of the 64-bit range"_s, offset);
            return {};
        }
        const quint64 bits = readBigEndian(bytes, size);
        // 1, 2 and 4-byte integers are unsigned, 8-byte ones signed.
        return PlistValue::fromInteger(qint64(bits));
    }

    double readDouble(quint64 at) const {
        const quint64 bits = readBigEndian(m_bytes + at, 8);
        double real;
        std::memcpy(&real, &bits, sizeof real);
        return real;
    }

    PlistValue decodeReal(quint64 offset, uchar low) {
        if (low != 2 && low != 3) {
            fail(u"Bad real size"_s, offset);
            return {};
        }
        if (!inObjectArea(offset + 1, low == 2 ? 4 : 8))
            return {};
        if (low == 3)
            return PlistValue::fromReal(readDouble(offset + 1));
        const quint32 bits = quint32(readBigEndian(m_bytes + offset + 1, 4));
        float real;
        std::memcpy(&real, &bits, sizeof real);
        return PlistValue::fromReal(double(real));
    }

    PlistValue decodeBytes(quint64 offset, uchar high) {
        quint64 content = 0;
        const std::optional<quint64> count = readCount(offset, &content);
        if (!count)
            return {};
        const quint64 unit = high == 0x6 ? 2 : 1;
        if (*count > m_offsetTable / unit || !inObjectArea(content, *count * unit))
            return fail(u"Object runs past the object area"_s, offset), PlistValue();
        const char* start = m_data.constData() + content;
        const qsizetype length = qsizetype(*count);
        if (high == 0x4)
            return m_build ? PlistValue::fromData(QByteArray(start, length)) : PlistValue();
        if (high == 0x5) {
            for (qsizetype i = 0; i < length; ++i) {
                if (uchar(start[i]) >= 0x80)
                    return fail(u"Non-ASCII byte in an ASCII string"_s, content + quint64(i)),
                           PlistValue();
            }
            return m_build ? PlistValue::fromString(QString::fromLatin1(start, length))
                           : PlistValue();
        }
        if (!m_build)
            return {};
        QString string(length, Qt::Uninitialized);
        const uchar* bytes = m_bytes + content;
        for (qsizetype i = 0; i < length; ++i)
            string[i] = QChar(char16_t((bytes[2 * i] << 8) | bytes[2 * i + 1]));
        return PlistValue::fromString(string);
    }

    // Reads the count and checks that count references fit in the object area.
    std::optional<quint64> containerRefs(quint64 offset, quint64 perEntry, quint64* refs) {
        const std::optional<quint64> count = readCount(offset, refs);
        if (!count)
            return std::nullopt;
        const quint64 entrySize = perEntry * m_refSize;
        if (*count > m_offsetTable / entrySize || !inObjectArea(*refs, *count * entrySize)) {
            fail(u"Container count %1 runs past the object area"_s.arg(*count), offset);
            return std::nullopt;
        }
        return count;
    }

    PlistValue decodeArray(quint64 offset, int depth) {
        quint64 refs = 0;
        const std::optional<quint64> count = containerRefs(offset, 1, &refs);
        if (!count)
            return {};
        PlistValue array = PlistValue::array();
        for (quint64 i = 0; i < *count; ++i) {
            const std::optional<quint64> ref = readRef(refs + i * m_refSize);
            if (!ref)
                return {};
            PlistValue item = readObject(*ref, depth + 1);
            if (!m_error.isEmpty())
                return {};
            if (m_build)
                array.append(item);
        }
        return array;
    }

    bool isStringObject(quint64 index) {
        const std::optional<quint64> offset = objectOffset(index);
        const uchar high = offset ? m_bytes[*offset] >> 4 : 0;
        return high == 0x5 || high == 0x6;
    }

    PlistValue decodeDictionary(quint64 offset, int depth) {
        quint64 refs = 0;
        const std::optional<quint64> count = containerRefs(offset, 2, &refs);
        if (!count)
            return {};
        PlistValue dictionary = PlistValue::dictionary();
        QHash<QString, qsizetype> seen;
        for (quint64 i = 0; i < *count; ++i) {
            const quint64 keyAt = refs + i * m_refSize;
            const std::optional<quint64> keyRef = readRef(keyAt);
            const std::optional<quint64> valueRef =
                keyRef ? readRef(refs + (*count + i) * m_refSize) : std::nullopt;
            if (!valueRef)
                return {};
            const PlistValue key = readObject(*keyRef, depth + 1);
            if (!m_error.isEmpty())
                return {};
            if (!isStringObject(*keyRef))
                return fail(u"Dictionary key is not a string"_s, keyAt), PlistValue();
            PlistValue value = readObject(*valueRef, depth + 1);
            if (!m_error.isEmpty())
                return {};
            if (!m_build)
                continue;
            dictionary.insertWhileReading(key.toString(), value, seen);
        }
        return dictionary;
    }

    enum State : quint8 { Unread, InProgress, Done };

    const QByteArray& m_data;
    const uchar* m_bytes;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_topObject = 0;
    quint64 m_offsetTable = 0;
    QList<PlistValue> m_cache;
    QList<State> m_state;
    QString m_error;
    bool m_build = true;
};

void appendBigEndian(QByteArray& out, quint64 value, int size) {
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8)
        out.append(char((value >> shift) & 0xFF));
}

int byteSizeFor(quint64 value) {
    if (value <= 0xFF)
        return 1;
    if (value <= 0xFFFF)
        return 2;
    if (value <= 0xFFFFFFFFu)
        return 4;
    return 8;
}

class BinaryWriter {
public:
    QByteArray write(const PlistValue& root) {
        flatten(root);
        m_refSize = byteSizeFor(quint64(m_objects.size()));
        QByteArray out("bplist00");
        QList<quint64> offsets;
        offsets.reserve(m_objects.size());
        for (const Flat& object : std::as_const(m_objects)) {
            offsets.append(quint64(out.size()));
            encode(out, object);
        }
        const quint64 tableOffset = quint64(out.size());
        const int offsetSize = byteSizeFor(tableOffset);
        for (quint64 offset : std::as_const(offsets))
            appendBigEndian(out, offset, offsetSize);
        out.append(QByteArray(6, '\0'));
        out.append(char(offsetSize));
        out.append(char(m_refSize));
        appendBigEndian(out, quint64(m_objects.size()), 8);
        appendBigEndian(out, 0, 8);
        appendBigEndian(out, tableOffset, 8);
        return out;
    }

private:
    struct Flat {
        PlistValue value;
        QList<quint64> refs;
    };

    // Strings are shared (dictionary keys repeat a lot); everything else is written once per use.
    quint64 flatten(const PlistValue& value) {
        if (value.isString()) {
            const auto found = m_strings.constFind(value.toString());
            if (found != m_strings.cend())
                return *found;
        }
        const quint64 index = quint64(m_objects.size());
        m_objects.append({value, {}});
        if (value.isString()) {
            m_strings.insert(value.toString(), index);
            return index;
        }
        QList<quint64> refs;
        if (value.isDictionary()) {
            for (const QString& key : value.keys())
                refs.append(flatten(PlistValue::fromString(key)));
        }
        for (const PlistValue& item : value.items())
            refs.append(flatten(item));
        m_objects[qsizetype(index)].refs = refs;
        return index;
    }

    static void appendMarker(QByteArray& out, uchar high, quint64 count) {
        if (count < 15) {
            out.append(char((high << 4) | count));
            return;
        }
        out.append(char((high << 4) | 0x0F));
        const int size = byteSizeFor(count);
        out.append(char(0x10 | (size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : 3)));
        appendBigEndian(out, count, size);
    }

    static void appendDouble(QByteArray& out, uchar marker, double real) {
        quint64 bits;
        std::memcpy(&bits, &real, sizeof bits);
        out.append(char(marker));
        appendBigEndian(out, bits, 8);
    }

    static void appendInteger(QByteArray& out, const PlistValue& value) {
        if (value.type() == PlistValue::Type::UnsignedInteger) {
            out.append(char(0x14));
            appendBigEndian(out, 0, 8);
            appendBigEndian(out, value.toUnsigned(), 8);
            return;
        }
        const qint64 integer = value.toInteger();
        const int size = integer < 0 ? 8 : byteSizeFor(quint64(integer));
        out.append(char(0x10 | (size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : 3)));
        appendBigEndian(out, quint64(integer), size);
    }

    static void appendString(QByteArray& out, const QString& string) {
        bool ascii = true;
        for (QChar c : string)
            ascii = ascii && c.unicode() < 0x80;
        appendMarker(out, ascii ? 0x5 : 0x6, quint64(string.size()));
        if (ascii) {
            out.append(string.toLatin1());
            return;
        }
        for (QChar c : string)
            appendBigEndian(out, c.unicode(), 2);
    }

    void encode(QByteArray& out, const Flat& object) const {
        const PlistValue& value = object.value;
        switch (value.type()) {
        case PlistValue::Type::Invalid:
        case PlistValue::Type::String:
            appendString(out, value.toString());
            return;
        case PlistValue::Type::Boolean:
            out.append(char(value.toBool() ? 0x09 : 0x08));
            return;
        case PlistValue::Type::Integer:
        case PlistValue::Type::UnsignedInteger:
            appendInteger(out, value);
            return;
        case PlistValue::Type::Real:
            appendDouble(out, 0x23, value.toReal());
            return;
        case PlistValue::Type::Date:
            appendDouble(out, 0x33, value.toDate());
            return;
        case PlistValue::Type::Data:
            appendMarker(out, 0x4, quint64(value.toData().size()));
            out.append(value.toData());
            return;
        case PlistValue::Type::Uid: {
            const int size = byteSizeFor(value.toUid());
            out.append(char(0x80 | (size - 1)));
            appendBigEndian(out, value.toUid(), size);
            return;
        }
        case PlistValue::Type::Array:
        case PlistValue::Type::Dictionary:
            appendMarker(out, value.isArray() ? 0xA : 0xD, quint64(value.count()));
            for (quint64 ref : object.refs)
                appendBigEndian(out, ref, m_refSize);
            return;
        }
    }

    QList<Flat> m_objects;
    QHash<QString, quint64> m_strings;
    int m_refSize = 1;
};

} // namespace

bool PlistBinaryFormat::isBinary(const QByteArray& data) {
    return data.startsWith("bplist");
}

PlistValue PlistBinaryFormat::read(const QByteArray& data, QString* error) {
    return BinaryReader(data, true).read(error);
}

bool PlistBinaryFormat::validate(const QByteArray& data, QString* error) {
    QString message;
    BinaryReader(data, false).read(&message);
    if (error)
        *error = message;
    return message.isEmpty();
}

QByteArray PlistBinaryFormat::write(const PlistValue& value) {
    return BinaryWriter().write(value);
}
