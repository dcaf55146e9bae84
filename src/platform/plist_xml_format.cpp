#include "platform/plist_xml_format.h"

#include "platform/plist_xml_validator.h"

#include <QList>
#include <QSet>

#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct PlistDeleter {
    void operator()(void* node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

class NodeConverter {
public:
    NodeConverter(const QList<PlistValue>& integers, const QList<double>& dates)
        : m_integers(integers)
        , m_dates(dates) {}

    PlistValue convert(plist_t node) {
        switch (plist_get_node_type(node)) {
        case PLIST_DICT:
            return convertDictionary(node);
        case PLIST_ARRAY: {
            PlistValue array = PlistValue::array();
            const uint32_t count = plist_array_get_size(node);
            for (uint32_t i = 0; i < count; ++i)
                array.append(convert(plist_array_get_item(node, i)));
            return array;
        }
        case PLIST_STRING:
        case PLIST_KEY: {
            uint64_t length = 0;
            const char* text = plist_get_string_ptr(node, &length);
            return PlistValue::fromString(QString::fromUtf8(text, qsizetype(length)));
        }
        case PLIST_BOOLEAN: {
            uint8_t flag = 0;
            plist_get_bool_val(node, &flag);
            return PlistValue::fromBool(flag != 0);
        }
        case PLIST_UINT:
            return convertInteger(node);
        case PLIST_REAL: {
            double real = 0;
            plist_get_real_val(node, &real);
            return PlistValue::fromReal(real);
        }
        case PLIST_DATE: {
            int32_t seconds = 0;
            int32_t micros = 0;
            plist_get_date_val(node, &seconds, &micros);
            if (m_nextDate < m_dates.size())
                return PlistValue::fromDate(m_dates.at(m_nextDate++));
            return PlistValue::fromDate(double(seconds) + double(micros) / 1e6);
        }
        case PLIST_DATA: {
            uint64_t length = 0;
            const char* bytes = plist_get_data_ptr(node, &length);
            return PlistValue::fromData(QByteArray(bytes, qsizetype(length)));
        }
        case PLIST_UID: {
            uint64_t uid = 0;
            plist_get_uid_val(node, &uid);
            return PlistValue::fromUid(uid);
        }
        default:
            return PlistValue::fromString(QString());
        }
    }

private:
    PlistValue convertInteger(plist_t node) {
        uint64_t bits = 0;
        plist_get_uint_val(node, &bits);
        // The validator's own reading of each integer, in document order.
        if (m_next < m_integers.size())
            return m_integers.at(m_next++);
        return PlistValue::fromInteger(qint64(bits));
    }

    PlistValue convertDictionary(plist_t node) {
        PlistValue dictionary = PlistValue::dictionary();
        QHash<QString, qsizetype> seen;
        plist_dict_iter iterator = nullptr;
        plist_dict_new_iter(node, &iterator);
        while (iterator) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, iterator, &key, &item);
            if (!item) {
                std::free(key);
                break;
            }
            const QString name = QString::fromUtf8(key);
            std::free(key);
            const PlistValue value = convert(item);
            dictionary.insertWhileReading(name, value, seen);
        }
        std::free(iterator);
        return dictionary;
    }

    const QList<PlistValue>& m_integers;
    const QList<double>& m_dates;
    qsizetype m_next = 0;
    qsizetype m_nextDate = 0;
};

PlistPtr parseWithLibplist(const QByteArray& data, QString* error) {
    plist_t root = nullptr;
    // libplist wants no byte-order mark.
    const char* begin =
        PlistXmlValidator::skipByteOrderMark(data.constData(), data.constData() + data.size());
    plist_from_xml(begin, uint32_t(data.constData() + data.size() - begin), &root);
    if (!root && error)
        *error = u"The XML parser refused the document"_s;
    return PlistPtr(root);
}

} // namespace

bool PlistXmlFormat::looksLikeXml(const QByteArray& data) {
    return PlistXmlValidator::opensLikeXml(data);
}

bool PlistXmlFormat::check(const QByteArray& data, QString* error) {
    PlistXmlValidator validator(data.constData(), data.constData() + data.size());
    return validator.validate(error);
}

PlistValue PlistXmlFormat::read(const QByteArray& data, QString* error) {
    PlistXmlValidator validator(data.constData(), data.constData() + data.size());
    if (!validator.validate(error))
        return {};
    const PlistPtr root = parseWithLibplist(data, error);
    if (!root)
        return {};
    return NodeConverter(validator.integers(), validator.dates()).convert(root.get());
}
