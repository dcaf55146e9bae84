#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// One node of a property list: the value model shared by every property-list
// format Sorvane reads or writes (binary, XML, old-style text) and by the keyed
// archive coder. Dictionaries keep their keys in the order they were read, so a
// domain printed by `defaults read` lists its keys as the file stores them.
class PlistValue {
public:
    enum class Type {
        Invalid,
        Dictionary,
        Array,
        String,
        Integer,
        UnsignedInteger,
        Real,
        Boolean,
        Date,
        Data,
        Uid
    };

    PlistValue() = default;

    static PlistValue dictionary();
    static PlistValue array();
    static PlistValue fromString(const QString& value);
    static PlistValue fromInteger(qint64 value);
    // Values above the signed range only; anything smaller is an Integer.
    static PlistValue fromUnsigned(quint64 value);
    static PlistValue fromReal(double value);
    static PlistValue fromBool(bool value);
    // Dates are seconds since 2001-01-01 00:00:00 UTC, as the binary format stores them.
    static PlistValue fromDate(double secondsSince2001);
    static PlistValue fromDateTime(const QDateTime& value);
    static PlistValue fromData(const QByteArray& value);
    static PlistValue fromUid(quint64 value);

    Type type() const { return m_type; }
    bool isValid() const { return m_type != Type::Invalid; }
    bool isDictionary() const { return m_type == Type::Dictionary; }
    bool isArray() const { return m_type == Type::Array; }
    bool isString() const { return m_type == Type::String; }

    QString toString() const { return m_string; }
    qint64 toInteger() const { return qint64(m_bits); }
    quint64 toUnsigned() const { return m_bits; }
    double toReal() const { return m_real; }
    bool toBool() const { return m_bits != 0; }
    double toDate() const { return m_real; }
    QDateTime toDateTime() const;
    QByteArray toData() const { return m_data; }
    quint64 toUid() const { return m_bits; }

    // Arrays and dictionaries: the values in order (a dictionary's values
    // stand at the same index as their keys).
    qsizetype count() const { return m_items.size(); }
    const QList<PlistValue>& items() const { return m_items; }
    const PlistValue& at(qsizetype index) const { return m_items.at(index); }
    void append(const PlistValue& value) { m_items.append(value); }

    const QStringList& keys() const { return m_keys; }
    const PlistValue* find(const QString& key) const;
    // Replaces the value of an existing key in place, else appends the pair.
    void insert(const QString& key, const PlistValue& value);
    // For readers that have already ruled out duplicate keys.
    void appendEntry(const QString& key, const PlistValue& value);
    // For readers: appends the pair, or (a repeated key) replaces the earlier
    // value in place; `positions` remembers where each key stands while the
    // dictionary is being read, so that a long dictionary is not read in
    // quadratic time.
    void insertWhileReading(const QString& key, const PlistValue& value,
                            QHash<QString, qsizetype>& positions);
    bool remove(const QString& key);

    bool operator==(const PlistValue& other) const;
    bool operator!=(const PlistValue& other) const { return !(*this == other); }

    static QDateTime referenceDate();

private:
    Type m_type = Type::Invalid;
    quint64 m_bits = 0;
    double m_real = 0;
    QString m_string;
    QByteArray m_data;
    QStringList m_keys;
    QList<PlistValue> m_items;
};
