#include "platform/keyed_archive.h"

#include "platform/plist_binary_format.h"
#include "platform/plist_codec.h"
#include "platform/plist_value.h"

#include <QHash>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

const QString archiverName = u"NSKeyedArchiver"_s;
constexpr qint64 archiveVersion = 100000;
const QString imageKey = u"SVPNGData"_s;

class Encoder {
public:
    PlistValue encode(const QVariant& root, QString* error) {
        m_objects.append(PlistValue::fromString(u"$null"_s));
        const PlistValue rootRef = add(root);
        if (!m_error.isEmpty()) {
            if (error)
                *error = m_error;
            return {};
        }
        PlistValue top = PlistValue::dictionary();
        top.insert(u"root"_s, rootRef);
        PlistValue archive = PlistValue::dictionary();
        archive.insert(u"$version"_s, PlistValue::fromInteger(archiveVersion));
        archive.insert(u"$archiver"_s, PlistValue::fromString(archiverName));
        archive.insert(u"$top"_s, top);
        PlistValue objects = PlistValue::array();
        for (const PlistValue& object : std::as_const(m_objects))
            objects.append(object);
        archive.insert(u"$objects"_s, objects);
        return archive;
    }

private:
    PlistValue reserve() {
        m_objects.append(PlistValue());
        return PlistValue::fromUid(quint64(m_objects.size() - 1));
    }

    PlistValue classRef(const QString& name, const QStringList& classes) {
        const auto found = m_classes.constFind(name);
        if (found != m_classes.cend())
            return PlistValue::fromUid(*found);
        PlistValue entry = PlistValue::dictionary();
        PlistValue list = PlistValue::array();
        for (const QString& className : classes)
            list.append(PlistValue::fromString(className));
        entry.insert(u"$classes"_s, list);
        entry.insert(u"$classname"_s, PlistValue::fromString(name));
        m_objects.append(entry);
        m_classes.insert(name, quint64(m_objects.size() - 1));
        return PlistValue::fromUid(quint64(m_objects.size() - 1));
    }

    PlistValue addString(const QString& string) {
        const auto found = m_strings.constFind(string);
        if (found != m_strings.cend())
            return PlistValue::fromUid(*found);
        m_objects.append(PlistValue::fromString(string));
        m_strings.insert(string, quint64(m_objects.size() - 1));
        return PlistValue::fromUid(quint64(m_objects.size() - 1));
    }

    PlistValue add(const QVariant& value) {
        switch (value.metaType().id()) {
        case QMetaType::QString:
            return addString(value.toString());
        case QMetaType::QByteArray:
            m_objects.append(PlistValue::fromData(value.toByteArray()));
            return PlistValue::fromUid(quint64(m_objects.size() - 1));
        case QMetaType::QVariantList:
            return addArray(value.toList());
        case QMetaType::QVariantMap:
            return addDictionary(value.toMap());
        default:
            break;
        }
        if (value.metaType() == QMetaType::fromType<KeyedArchive::Image>())
            return addImage(value.value<KeyedArchive::Image>());
        if (m_error.isEmpty())
            m_error = u"Cannot archive a value of type %1"_s.arg(
                QString::fromLatin1(value.metaType().name()));
        return PlistValue::fromUid(0);
    }

    PlistValue addArray(const QVariantList& list) {
        const PlistValue ref = reserve();
        PlistValue objects = PlistValue::array();
        for (const QVariant& item : list)
            objects.append(add(item));
        PlistValue object = PlistValue::dictionary();
        object.insert(u"NS.objects"_s, objects);
        object.insert(u"$class"_s, classRef(u"NSArray"_s, {u"NSArray"_s, u"NSObject"_s}));
        m_objects[qsizetype(ref.toUid())] = object;
        return ref;
    }

    PlistValue addDictionary(const QVariantMap& map) {
        const PlistValue ref = reserve();
        PlistValue keys = PlistValue::array();
        PlistValue objects = PlistValue::array();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            keys.append(addString(it.key()));
            objects.append(add(it.value()));
        }
        PlistValue object = PlistValue::dictionary();
        object.insert(u"NS.keys"_s, keys);
        object.insert(u"NS.objects"_s, objects);
        object.insert(u"$class"_s, classRef(u"NSDictionary"_s, {u"NSDictionary"_s, u"NSObject"_s}));
        m_objects[qsizetype(ref.toUid())] = object;
        return ref;
    }

    PlistValue addImage(const KeyedArchive::Image& image) {
        const PlistValue ref = reserve();
        m_objects.append(PlistValue::fromData(image.png));
        PlistValue object = PlistValue::dictionary();
        object.insert(imageKey, PlistValue::fromUid(quint64(m_objects.size() - 1)));
        object.insert(u"$class"_s, classRef(u"NSImage"_s, {u"NSImage"_s, u"NSObject"_s}));
        m_objects[qsizetype(ref.toUid())] = object;
        return ref;
    }

    QList<PlistValue> m_objects;
    QHash<QString, quint64> m_classes;
    QHash<QString, quint64> m_strings;
    QString m_error;
};

enum class ClassKind { Dictionary, Array, String, Data, Image };

bool classKindFromName(const QString& name, ClassKind* kind) {
    static const QHash<QString, ClassKind> allowed = {
        {u"NSDictionary"_s, ClassKind::Dictionary},
        {u"NSMutableDictionary"_s, ClassKind::Dictionary},
        {u"NSArray"_s, ClassKind::Array},
        {u"NSMutableArray"_s, ClassKind::Array},
        {u"NSString"_s, ClassKind::String},
        {u"NSMutableString"_s, ClassKind::String},
        {u"NSData"_s, ClassKind::Data},
        {u"NSMutableData"_s, ClassKind::Data},
        {u"NSImage"_s, ClassKind::Image}};
    const auto found = allowed.constFind(name);
    if (found == allowed.cend())
        return false;
    *kind = *found;
    return true;
}

class Decoder {
public:
    QVariant decode(const PlistValue& archive, QString* error) {
        QVariant root;
        if (readHeader(archive))
            root = resolve(m_rootRef, 0);
        if (!m_error.isEmpty()) {
            if (error)
                *error = m_error;
            return {};
        }
        return root;
    }

private:
    QVariant fail(const QString& what) {
        if (m_error.isEmpty())
            m_error = what;
        return {};
    }

    // A reference: a UID, or the {"CF$UID": n} dictionary that XML archives use.
    bool uidOf(const PlistValue& value, quint64* uid) {
        if (value.type() == PlistValue::Type::Uid) {
            *uid = value.toUid();
            return true;
        }
        if (value.isDictionary() && value.count() == 1 && value.keys().at(0) == u"CF$UID"_s &&
            value.at(0).type() == PlistValue::Type::Integer && value.at(0).toInteger() >= 0) {
            *uid = quint64(value.at(0).toInteger());
            return true;
        }
        return false;
    }

    bool readHeader(const PlistValue& archive) {
        if (!archive.isDictionary())
            return fail(u"The archive is not a dictionary"_s), false;
        const PlistValue* archiver = archive.find(u"$archiver"_s);
        const PlistValue* version = archive.find(u"$version"_s);
        const PlistValue* top = archive.find(u"$top"_s);
        const PlistValue* objects = archive.find(u"$objects"_s);
        if (!archiver || archiver->toString() != archiverName || !archiver->isString())
            return fail(u"Missing or unknown $archiver"_s), false;
        if (!version || version->type() != PlistValue::Type::Integer ||
            version->toInteger() != archiveVersion)
            return fail(u"Missing or unknown $version"_s), false;
        if (!top || !top->isDictionary() || !top->find(u"root"_s) ||
            !uidOf(*top->find(u"root"_s), &m_rootRef))
            return fail(u"Missing $top root reference"_s), false;
        if (!objects || !objects->isArray() || objects->count() == 0 ||
            objects->at(0) != PlistValue::fromString(u"$null"_s))
            return fail(u"Missing $objects or its $null entry"_s), false;
        m_objects = objects->items();
        m_state.fill(Unread, m_objects.size());
        m_cache.resize(m_objects.size());
        return true;
    }

    QVariant resolve(quint64 uid, int depth) {
        if (uid == 0)
            return fail(u"Reference to $null"_s);
        if (uid >= quint64(m_objects.size()))
            return fail(u"Reference %1 out of range"_s.arg(uid));
        if (depth > KeyedArchive::maxDepth)
            return fail(u"Object graph nested deeper than %1 levels"_s.arg(KeyedArchive::maxDepth));
        const qsizetype index = qsizetype(uid);
        if (m_state[index] == Done)
            return m_cache[index];
        if (m_state[index] == InProgress)
            return fail(u"Reference cycle through object %1"_s.arg(uid));
        m_state[index] = InProgress;
        const QVariant value = decodeObject(m_objects.at(index), depth);
        if (!m_error.isEmpty())
            return {};
        m_state[index] = Done;
        m_cache[index] = value;
        return value;
    }

    QVariant resolveValue(const PlistValue& reference, int depth) {
        quint64 uid = 0;
        if (!uidOf(reference, &uid))
            return fail(u"Expected an object reference"_s);
        return resolve(uid, depth);
    }

    QVariant decodeObject(const PlistValue& object, int depth) {
        if (object.isString())
            return object.toString();
        if (object.type() == PlistValue::Type::Data)
            return object.toData();
        if (!object.isDictionary() || !object.find(u"$class"_s))
            return fail(u"An object of a class that packages never hold"_s);
        ClassKind kind;
        if (!classOf(*object.find(u"$class"_s), &kind))
            return {};
        switch (kind) {
        case ClassKind::Dictionary:
            return decodeDictionary(object, depth);
        case ClassKind::Array:
            return decodeArray(object, depth);
        case ClassKind::String:
            return wrapped(object, u"NS.string"_s, PlistValue::Type::String, depth);
        case ClassKind::Data:
            return wrapped(object, u"NS.data"_s, PlistValue::Type::Data, depth);
        case ClassKind::Image: {
            const QVariant png = wrapped(object, imageKey, PlistValue::Type::Data, depth);
            if (!m_error.isEmpty())
                return {};
            return QVariant::fromValue(KeyedArchive::Image{png.toByteArray()});
        }
        }
        return {};
    }

    bool classOf(const PlistValue& reference, ClassKind* kind) {
        quint64 uid = 0;
        if (!uidOf(reference, &uid) || uid == 0 || uid >= quint64(m_objects.size()))
            return fail(u"Bad $class reference"_s), false;
        const PlistValue& entry = m_objects.at(qsizetype(uid));
        const PlistValue* name = entry.isDictionary() ? entry.find(u"$classname"_s) : nullptr;
        const PlistValue* classes = entry.isDictionary() ? entry.find(u"$classes"_s) : nullptr;
        if (!name || !name->isString() || !classes || !classes->isArray())
            return fail(u"Malformed class entry %1"_s.arg(uid)), false;
        if (!classKindFromName(name->toString(), kind))
            return fail(u"Class %1 is not allowed in a package"_s.arg(name->toString())), false;
        return true;
    }

    // NS.string, NS.data, SVPNGData: the value itself or a reference to it.
    QVariant wrapped(const PlistValue& object, const QString& key, PlistValue::Type type,
                     int depth) {
        const PlistValue* inner = object.find(key);
        if (!inner)
            return fail(u"Object lacks %1"_s.arg(key));
        if (inner->type() == type)
            return type == PlistValue::Type::String ? QVariant(inner->toString())
                                                    : QVariant(inner->toData());
        const QVariant value = resolveValue(*inner, depth + 1);
        const QMetaType expected = type == PlistValue::Type::String
                                       ? QMetaType::fromType<QString>()
                                       : QMetaType::fromType<QByteArray>();
        if (m_error.isEmpty() && value.metaType() != expected)
            return fail(u"%1 has the wrong type"_s.arg(key));
        return value;
    }

    const PlistValue* referenceList(const PlistValue& object, const QString& key) {
        const PlistValue* list = object.find(key);
        if (!list || !list->isArray()) {
            fail(u"Collection lacks %1"_s.arg(key));
            return nullptr;
        }
        return list;
    }

    QVariant decodeArray(const PlistValue& object, int depth) {
        const PlistValue* objects = referenceList(object, u"NS.objects"_s);
        if (!objects)
            return {};
        QVariantList list;
        list.reserve(objects->count());
        for (const PlistValue& reference : objects->items()) {
            const QVariant item = resolveValue(reference, depth + 1);
            if (!m_error.isEmpty())
                return {};
            list.append(item);
        }
        return list;
    }

    QVariant decodeDictionary(const PlistValue& object, int depth) {
        const PlistValue* keys = referenceList(object, u"NS.keys"_s);
        const PlistValue* objects = keys ? referenceList(object, u"NS.objects"_s) : nullptr;
        if (!objects)
            return {};
        if (keys->count() != objects->count())
            return fail(u"NS.keys and NS.objects differ in length"_s);
        QVariantMap map;
        for (qsizetype i = 0; i < keys->count(); ++i) {
            const QVariant key = resolveValue(keys->at(i), depth + 1);
            if (m_error.isEmpty() && key.metaType() != QMetaType::fromType<QString>())
                return fail(u"Dictionary key is not a string"_s);
            const QVariant value = resolveValue(objects->at(i), depth + 1);
            if (!m_error.isEmpty())
                return {};
            map.insert(key.toString(), value);
        }
        return map;
    }

    enum State : quint8 { Unread, InProgress, Done };

    quint64 m_rootRef = 0;
    QList<PlistValue> m_objects;
    QList<State> m_state;
    QList<QVariant> m_cache;
    QString m_error;
};

} // namespace

QByteArray KeyedArchive::encode(const QVariant& root, QString* error) {
    const PlistValue archive = Encoder().encode(root, error);
    if (!archive.isValid())
        return {};
    return PlistBinaryFormat::write(archive);
}

QVariant KeyedArchive::decode(const QByteArray& data, QString* error) {
    QString parseError;
    const PlistValue archive = PlistCodec::read(data, &parseError);
    if (!archive.isValid()) {
        if (error)
            *error = parseError;
        return {};
    }
    return Decoder().decode(archive, error);
}
