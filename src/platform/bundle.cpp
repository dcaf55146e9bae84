#include "platform/bundle.h"

#include "util/path_utils.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

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

// Reads one XML property-list value; the reader stands on its start element.
QVariant readValue(QXmlStreamReader& reader);

QVariantMap readDictionary(QXmlStreamReader& reader) {
    QVariantMap dictionary;
    QString key;
    while (reader.readNextStartElement()) {
        if (reader.name() == u"key") {
            key = reader.readElementText();
            continue;
        }
        const QVariant value = readValue(reader);
        if (!key.isNull())
            dictionary.insert(key, value);
        key = QString();
    }
    return dictionary;
}

QVariantList readArray(QXmlStreamReader& reader) {
    QVariantList array;
    while (reader.readNextStartElement())
        array.append(readValue(reader));
    return array;
}

QVariant readValue(QXmlStreamReader& reader) {
    const QStringView name = reader.name();
    if (name == u"dict")
        return readDictionary(reader);
    if (name == u"array")
        return readArray(reader);
    if (name == u"true" || name == u"false") {
        reader.skipCurrentElement();
        return name == u"true";
    }
    const QString text = reader.readElementText(QXmlStreamReader::IncludeChildElements);
    if (name == u"string")
        return text;
    if (name == u"integer")
        return text.trimmed().toLongLong();
    if (name == u"real")
        return text.trimmed().toDouble();
    if (name == u"date")
        return QDateTime::fromString(text.trimmed(), Qt::ISODate);
    if (name == u"data")
        return QByteArray::fromBase64(text.toLatin1());
    return QVariant();
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

// The one place that decodes an information dictionary; it reads XML property
// lists, which is what bundles made by hand and by most build tools carry.
QVariantMap Bundle::readInfoDictionary(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QXmlStreamReader reader(&file);
    if (!reader.readNextStartElement() || reader.name() != u"plist")
        return {};
    if (!reader.readNextStartElement() || reader.name() != u"dict")
        return {};
    QVariantMap dictionary = readDictionary(reader);
    if (reader.hasError())
        return {};
    return dictionary;
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
