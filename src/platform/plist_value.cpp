#include "platform/plist_value.h"

#include <cmath>

PlistValue PlistValue::dictionary() {
    PlistValue value;
    value.m_type = Type::Dictionary;
    return value;
}

PlistValue PlistValue::array() {
    PlistValue value;
    value.m_type = Type::Array;
    return value;
}

PlistValue PlistValue::fromString(const QString& string) {
    PlistValue value;
    value.m_type = Type::String;
    value.m_string = string;
    return value;
}

PlistValue PlistValue::fromInteger(qint64 integer) {
    PlistValue value;
    value.m_type = Type::Integer;
    value.m_bits = quint64(integer);
    return value;
}

PlistValue PlistValue::fromUnsigned(quint64 integer) {
    PlistValue value;
    value.m_type = integer > quint64(INT64_MAX) ? Type::UnsignedInteger : Type::Integer;
    value.m_bits = integer;
    return value;
}

PlistValue PlistValue::fromReal(double real) {
    PlistValue value;
    value.m_type = Type::Real;
    value.m_real = real;
    return value;
}

PlistValue PlistValue::fromBool(bool flag) {
    PlistValue value;
    value.m_type = Type::Boolean;
    value.m_bits = flag ? 1 : 0;
    return value;
}

PlistValue PlistValue::fromDate(double secondsSince2001) {
    PlistValue value;
    value.m_type = Type::Date;
    value.m_real = secondsSince2001;
    return value;
}

PlistValue PlistValue::fromDateTime(const QDateTime& dateTime) {
    return fromDate(double(referenceDate().msecsTo(dateTime)) / 1000.0);
}

PlistValue PlistValue::fromData(const QByteArray& data) {
    PlistValue value;
    value.m_type = Type::Data;
    value.m_data = data;
    return value;
}

PlistValue PlistValue::fromUid(quint64 uid) {
    PlistValue value;
    value.m_type = Type::Uid;
    value.m_bits = uid;
    return value;
}

QDateTime PlistValue::referenceDate() {
    return QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
}

QDateTime PlistValue::toDateTime() const {
    if (!std::isfinite(m_real) || std::fabs(m_real) > 1e14)
        return {};
    return referenceDate().addMSecs(qint64(std::llround(m_real * 1000.0)));
}

const PlistValue* PlistValue::find(const QString& key) const {
    const qsizetype index = m_keys.indexOf(key);
    return index < 0 ? nullptr : &m_items.at(index);
}

void PlistValue::insert(const QString& key, const PlistValue& value) {
    const qsizetype index = m_keys.indexOf(key);
    if (index >= 0) {
        m_items[index] = value;
        return;
    }
    appendEntry(key, value);
}

void PlistValue::appendEntry(const QString& key, const PlistValue& value) {
    m_keys.append(key);
    m_items.append(value);
}

void PlistValue::insertWhileReading(const QString& key, const PlistValue& value,
                                    QHash<QString, qsizetype>& positions) {
    const auto found = positions.constFind(key);
    if (found != positions.cend()) {
        m_items[*found] = value;
        return;
    }
    positions.insert(key, m_items.size());
    appendEntry(key, value);
}

bool PlistValue::remove(const QString& key) {
    const qsizetype index = m_keys.indexOf(key);
    if (index < 0)
        return false;
    m_keys.removeAt(index);
    m_items.removeAt(index);
    return true;
}

bool PlistValue::operator==(const PlistValue& other) const {
    if (m_type != other.m_type)
        return false;
    switch (m_type) {
    case Type::Invalid:
        return true;
    case Type::Dictionary:
        return m_keys == other.m_keys && m_items == other.m_items;
    case Type::Array:
        return m_items == other.m_items;
    case Type::String:
        return m_string == other.m_string;
    case Type::Data:
        return m_data == other.m_data;
    case Type::Real:
    case Type::Date:
        // NaN counts as equal to NaN so that a round trip can be checked.
        return m_real == other.m_real || (std::isnan(m_real) && std::isnan(other.m_real));
    case Type::Integer:
    case Type::UnsignedInteger:
    case Type::Boolean:
    case Type::Uid:
        return m_bits == other.m_bits;
    }
    return false;
}
