#include "platform/bundle.h"

#include "platform/plist_codec.h"
#include "platform/plist_value.h"

#include "util/path_utils.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

const QString kIdentifierKey = u"CFBundleIdentifier"_s;
const QString kVersionKey = u"CFBundleVersion"_s;
const QString kNameKey = u"CFBundleName"_s;

QString executableFolder() {
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    return QFileInfo(QFileInfo(u"/proc/self/exe"_s).canonicalFilePath()).absolutePath();
}

// Information dictionaries as QVariants: dictionaries, arrays and scalars.
QVariant toVariant(const PlistValue& value) {
    switch (value.type()) {
    case PlistValue::Type::Dictionary: {
        QVariantMap map;
        for (qsizetype i = 0; i < value.count(); ++i)
            map.insert(value.keys().at(i), toVariant(value.at(i)));
        return map;
    }
    case PlistValue::Type::Array: {
        QVariantList list;
        for (const PlistValue& item : value.items())
            list.append(toVariant(item));
        return list;
    }
    case PlistValue::Type::String:
        return value.toString();
    case PlistValue::Type::Integer:
        return value.toInteger();
    case PlistValue::Type::UnsignedInteger:
        return value.toUnsigned();
    case PlistValue::Type::Real:
        return value.toReal();
    case PlistValue::Type::Boolean:
        return value.toBool();
    case PlistValue::Type::Date:
        return value.toDateTime();
    case PlistValue::Type::Data:
        return value.toData();
    default:
        return {};
    }
}

} // namespace

Bundle::Bundle(QString path, QString resourcesPath, QVariantMap info)
    : path_(std::move(path))
    , resourcesPath_(std::move(resourcesPath))
    , info_(std::move(info)) {}

std::optional<Bundle> Bundle::bundleWithUrl(const QUrl& url) {
    if (!url.isLocalFile())
        return std::nullopt;
    const QString path = QDir::cleanPath(url.toLocalFile());
    if (!QFileInfo(path).isDir())
        return std::nullopt;
    const QString contents = sv::stringByAppendingPathComponent(path, u"Contents"_s);
    return Bundle(
        path, sv::stringByAppendingPathComponent(contents, u"Resources"_s),
        readInfoDictionary(sv::stringByAppendingPathComponent(contents, u"Info.plist"_s)));
}

Bundle Bundle::mainBundle() {
    const QString root = QDir::cleanPath(executableFolder() + u"/.."_s);
    QString resources = qEnvironmentVariable("SORVANE_RESOURCES_DIR");
    if (resources.isEmpty())
        resources = root + u"/share/sorvane"_s;
    QVariantMap info;
    info.insert(kIdentifierKey, u"com.brisvale.Sorvane"_s);
    info.insert(kVersionKey, QStringLiteral(SORVANE_VERSION));
    info.insert(kNameKey, u"Sorvane"_s);
    return Bundle(root, resources, info);
}

// The one place that decodes an information dictionary: binary, XML or
// old-style text, through the property-list codec.
QVariantMap Bundle::readInfoDictionary(const QString& path) {
    constexpr qint64 kLargestInfo = 8 * 1024 * 1024;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestInfo)
        return {};
    QString error;
    const PlistValue info = PlistCodec::read(file.readAll(), &error);
    if (!info.isDictionary())
        return {};
    return toVariant(info).toMap();
}

QString Bundle::bundleIdentifier() const {
    const QString identifier = info_.value(kIdentifierKey).toString();
    return identifier.isEmpty() ? QString() : identifier;
}

QString Bundle::version() const {
    const QString version = info_.value(kVersionKey).toString();
    return version.isEmpty() ? QString() : version;
}

QString Bundle::name() const {
    const QString name = info_.value(kNameKey).toString();
    if (!name.isEmpty())
        return name;
    return sv::stringByDeletingPathExtension(sv::lastPathComponent(path_));
}

QString Bundle::pathForResource(const QString& name, const QString& extension) const {
    QString file = name;
    if (!extension.isEmpty())
        file += u'.' + extension;
    const QString path = sv::stringByAppendingPathComponent(resourcesPath_, file);
    return QFileInfo(path).isFile() ? path : QString();
}
