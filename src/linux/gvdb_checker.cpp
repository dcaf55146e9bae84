#include "linux/gvdb_checker.h"

#include "linux/config_checker.h"

#include <QSet>

#include <cstring>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr quint64 kHeaderSize = 24;
constexpr quint64 kHashHeaderSize = 8;
constexpr quint64 kItemSize = 24;
constexpr quint32 kNoParent = 0xFFFFFFFF;
constexpr quint32 kBloomCountMask = (1u << 27) - 1;

// Where a table lies and how its parts are laid out.
struct HashTable {
    quint64 start = 0;
    quint64 bucketsAt = 0;
    quint32 bucketCount = 0;
    quint64 itemsAt = 0;
    quint32 itemCount = 0;
};

// One item's fields, as the file stores them.
struct Item {
    quint64 at = 0;
    quint32 hash = 0;
    quint32 parent = 0;
    quint32 keyStart = 0;
    quint16 keySize = 0;
    char type = 0;
    quint32 valueStart = 0;
    quint32 valueEnd = 0;
};

bool isBasicType(char c) {
    return c != 0 && std::strchr("bynqiuxthdsog", c) != nullptr;
}

// The size of a fixed-size basic type, or 0.
int fixedSize(char c) {
    switch (c) {
    case 'b':
    case 'y':
        return 1;
    case 'n':
    case 'q':
        return 2;
    case 'i':
    case 'u':
    case 'h':
        return 4;
    case 'x':
    case 't':
    case 'd':
        return 8;
    default:
        return 0;
    }
}

class GvdbWalk {
public:
    explicit GvdbWalk(const QByteArray& data)
        : m_data(reinterpret_cast<const unsigned char*>(data.constData()))
        , m_size(quint64(data.size()))
        , m_itemBudget(4 * (m_size / kItemSize) + 16) {}

    bool run(QString* error);

private:
    bool fail(const QString& what, quint64 offset);
    quint32 u32(quint64 offset) const;
    quint16 u16(quint64 offset) const;
    bool checkHeader();
    bool checkTable(quint32 start, quint32 end, quint64 pointerAt, int depth);
    bool checkBuckets(const HashTable& table);
    Item readItem(const HashTable& table, quint32 index) const;
    bool checkItem(const HashTable& table, quint32 index, int depth);
    bool checkPointer(const Item& item, quint32 alignment);
    bool checkChildList(const HashTable& table, const Item& item);
    bool checkKeyHashes(const HashTable& table);
    bool checkVariant(quint64 start, quint64 end);
    bool checkValueSize(char type, quint64 start, quint64 size);
    bool parseType(const char*& p, const char* end, int depth) const;

    const unsigned char* m_data;
    quint64 m_size;
    bool m_swapped = false;
    qint64 m_itemBudget;
    QSet<quint64> m_visitedTables;
    QString m_error;
};

bool GvdbWalk::fail(const QString& what, quint64 offset) {
    if (m_error.isEmpty())
        m_error = u"%1 at byte offset %2"_s.arg(what).arg(offset);
    return false;
}

quint32 GvdbWalk::u32(quint64 offset) const {
    const unsigned char* p = m_data + offset;
    if (m_swapped)
        return quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | p[3];
    return quint32(p[3]) << 24 | quint32(p[2]) << 16 | quint32(p[1]) << 8 | p[0];
}

quint16 GvdbWalk::u16(quint64 offset) const {
    const unsigned char* p = m_data + offset;
    return m_swapped ? quint16(p[0] << 8 | p[1]) : quint16(p[1] << 8 | p[0]);
}

bool GvdbWalk::run(QString* error) {
    const bool ok = checkHeader();
    if (!ok && error)
        *error = m_error;
    return ok;
}

bool GvdbWalk::checkHeader() {
    if (m_size < kHeaderSize)
        return fail(u"header cut short"_s, m_size);
    // The signature is two 32-bit words in the file's own byte order.
    if (std::memcmp(m_data, "raVGtnai", 8) == 0)
        m_swapped = true;
    else if (std::memcmp(m_data, "GVariant", 8) != 0)
        return fail(u"wrong signature"_s, 0);
    if (const quint32 version = u32(8); version != 0)
        return fail(u"unsupported version %1"_s.arg(version), 8);
    return checkTable(u32(16), u32(20), 16, 0);
}

bool GvdbWalk::checkTable(quint32 start, quint32 end, quint64 pointerAt, int depth) {
    if (start > end || end > m_size)
        return fail(u"hash table outside the file"_s, pointerAt);
    if (start % 4 != 0)
        return fail(u"misaligned hash table"_s, pointerAt);
    if (end - start < kHashHeaderSize)
        return fail(u"hash table header cut short"_s, start);
    if (m_visitedTables.contains(start))
        return true;
    m_visitedTables.insert(start);

    HashTable table;
    table.start = start;
    const quint64 bloomBytes = quint64(u32(start) & kBloomCountMask) * 4;
    table.bucketCount = u32(start + 4);
    const quint64 bucketBytes = quint64(table.bucketCount) * 4;
    const quint64 length = end - start;
    if (kHashHeaderSize + bloomBytes > length)
        return fail(u"bloom filter overruns its table"_s, start);
    if (kHashHeaderSize + bloomBytes + bucketBytes > length)
        return fail(u"hash buckets overrun their table"_s, start + 4);
    table.bucketsAt = start + kHashHeaderSize + bloomBytes;
    table.itemsAt = table.bucketsAt + bucketBytes;
    const quint64 itemBytes = end - table.itemsAt;
    if (itemBytes % kItemSize != 0)
        return fail(u"hash items not a whole number"_s, table.itemsAt);
    table.itemCount = quint32(itemBytes / kItemSize);
    if (table.itemCount > 0 && table.bucketCount == 0)
        return fail(u"hash items without buckets"_s, start + 4);
    // Tables may overlap; what one file can make the walk read stays bounded.
    m_itemBudget -= qint64(table.itemCount);
    if (m_itemBudget < 0)
        return fail(u"too many nested tables"_s, start);
    if (!checkBuckets(table))
        return false;
    for (quint32 index = 0; index < table.itemCount; ++index) {
        if (!checkItem(table, index, depth))
            return false;
    }
    return checkKeyHashes(table);
}

bool GvdbWalk::checkBuckets(const HashTable& table) {
    quint32 previous = 0;
    for (quint32 bucket = 0; bucket < table.bucketCount; ++bucket) {
        const quint64 at = table.bucketsAt + quint64(bucket) * 4;
        const quint32 first = u32(at);
        if (first > table.itemCount)
            return fail(u"hash bucket beyond the items"_s, at);
        if (first < previous)
            return fail(u"hash buckets out of order"_s, at);
        previous = first;
    }
    return true;
}

Item GvdbWalk::readItem(const HashTable& table, quint32 index) const {
    Item item;
    item.at = table.itemsAt + quint64(index) * kItemSize;
    item.hash = u32(item.at);
    item.parent = u32(item.at + 4);
    item.keyStart = u32(item.at + 8);
    item.keySize = u16(item.at + 12);
    item.type = char(m_data[item.at + 14]);
    item.valueStart = u32(item.at + 16);
    item.valueEnd = u32(item.at + 20);
    return item;
}

bool GvdbWalk::checkItem(const HashTable& table, quint32 index, int depth) {
    const Item item = readItem(table, index);
    // A reader looks for a key only in its hash's bucket: an item elsewhere is lost.
    const quint32 bucket = item.hash % table.bucketCount;
    const quint32 first = u32(table.bucketsAt + quint64(bucket) * 4);
    const quint32 last = bucket + 1 < table.bucketCount
                             ? u32(table.bucketsAt + quint64(bucket + 1) * 4)
                             : table.itemCount;
    if (index < first || index >= last)
        return fail(u"hash item outside its bucket"_s, item.at);
    if (item.parent != kNoParent && item.parent >= table.itemCount)
        return fail(u"parent index out of range"_s, item.at + 4);
    if (quint64(item.keyStart) + item.keySize > m_size)
        return fail(u"key outside the file"_s, item.at + 8);
    switch (item.type) {
    case 'v':
        return checkPointer(item, 8) && checkVariant(item.valueStart, item.valueEnd);
    case 'L':
        return checkPointer(item, 4) && checkChildList(table, item);
    case 'H':
        if (depth + 1 > GvdbChecker::maxTableDepth)
            return fail(u"hash tables nested too deep"_s, item.at + 16);
        return checkTable(item.valueStart, item.valueEnd, item.at + 16, depth + 1);
    default:
        // A key with neither value nor children, as the root of an empty
        // database: dconf leaves its type and value pointer as they were in
        // memory, and readers take any other type for "no value".
        return true;
    }
}

bool GvdbWalk::checkPointer(const Item& item, quint32 alignment) {
    if (item.valueStart > item.valueEnd || item.valueEnd > m_size)
        return fail(u"value outside the file"_s, item.at + 16);
    if (item.valueStart % alignment != 0)
        return fail(u"misaligned value"_s, item.at + 16);
    return true;
}

bool GvdbWalk::checkChildList(const HashTable& table, const Item& item) {
    if ((item.valueEnd - item.valueStart) % 4 != 0)
        return fail(u"list of children not a whole number"_s, item.valueStart);
    for (quint64 at = item.valueStart; at < item.valueEnd; at += 4) {
        if (u32(at) >= table.itemCount)
            return fail(u"child index out of range"_s, at);
    }
    return true;
}

// Each item's key continues its parent's, and the stored hash is that of the
// whole key (djb2 over signed chars, continued from the parent's hash). The
// parent chains are followed once each, so loops are found in linear time.
bool GvdbWalk::checkKeyHashes(const HashTable& table) {
    enum : unsigned char { Unseen, Pending, Done };
    std::vector<unsigned char> state(table.itemCount, Unseen);
    std::vector<quint32> hashes(table.itemCount, 0);
    std::vector<quint32> chain;
    for (quint32 index = 0; index < table.itemCount; ++index) {
        for (quint32 at = index; at != kNoParent && state[at] != Done;) {
            if (state[at] == Pending)
                return fail(u"parent chain loops"_s, readItem(table, at).at + 4);
            state[at] = Pending;
            chain.push_back(at);
            at = readItem(table, at).parent;
        }
        while (!chain.empty()) {
            const Item item = readItem(table, chain.back());
            quint32 hash = item.parent == kNoParent ? 5381 : hashes[item.parent];
            for (quint64 k = item.keyStart; k < quint64(item.keyStart) + item.keySize; ++k)
                hash = hash * 33 + quint32(qint32(static_cast<signed char>(m_data[k])));
            if (hash != item.hash)
                return fail(u"hash value does not match the key"_s, item.at);
            hashes[chain.back()] = hash;
            state[chain.back()] = Done;
            chain.pop_back();
        }
    }
    return true;
}

// A stored value is a serialised GVariant of type "v": the value, a zero byte
// and the value's type string.
bool GvdbWalk::checkVariant(quint64 start, quint64 end) {
    if (start == end)
        return fail(u"empty value"_s, start);
    quint64 separator = end;
    while (separator > start && m_data[separator - 1] != 0)
        --separator;
    if (separator == start || separator == end)
        return fail(u"value without a type"_s, start);
    const char* type = reinterpret_cast<const char*>(m_data + separator);
    const char* typeEnd = reinterpret_cast<const char*>(m_data + end);
    const char* p = type;
    if (!parseType(p, typeEnd, 0) || p != typeEnd)
        return fail(u"invalid value type"_s, separator);
    return checkValueSize(*type, start, separator - 1 - start);
}

bool GvdbWalk::checkValueSize(char type, quint64 start, quint64 size) {
    if (const int fixed = fixedSize(type); fixed > 0) {
        if (size != quint64(fixed))
            return fail(u"value size does not fit its type"_s, start);
        if (type == 'b' && m_data[start] > 1)
            return fail(u"invalid boolean value"_s, start);
        return true;
    }
    if (type != 's' && type != 'o' && type != 'g')
        return true;
    // A string ends with its only zero byte and is UTF-8.
    const char* p = reinterpret_cast<const char*>(m_data + start);
    const char* end = p + size;
    if (size == 0 || end[-1] != 0)
        return fail(u"unterminated string value"_s, start);
    while (p < end - 1) {
        const int length = ConfigChecker::utf8SequenceLength(p, end - 1);
        if (length == 0 || *p == 0)
            return fail(u"invalid string value"_s,
                        quint64(p - reinterpret_cast<const char*>(m_data)));
        p += length;
    }
    return true;
}

bool GvdbWalk::parseType(const char*& p, const char* end, int depth) const {
    if (p == end || depth > GvdbChecker::maxTypeDepth)
        return false;
    const char c = *p++;
    if (isBasicType(c) || c == 'v')
        return true;
    switch (c) {
    case 'a':
    case 'm':
        return parseType(p, end, depth + 1);
    case '(':
        while (p != end && *p != ')') {
            if (!parseType(p, end, depth + 1))
                return false;
        }
        if (p == end)
            return false;
        ++p;
        return true;
    case '{':
        if (p == end || !isBasicType(*p))
            return false;
        ++p;
        if (!parseType(p, end, depth + 1) || p == end || *p != '}')
            return false;
        ++p;
        return true;
    default:
        return false;
    }
}

} // namespace

bool GvdbChecker::validate(const QByteArray& data, QString* error) {
    return GvdbWalk(data).run(error);
}
