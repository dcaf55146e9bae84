#pragma once

#include <QString>
#include <QUrl>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// A bundle: a folder with its information dictionary in Contents/Info.plist
// and its resources in Contents/Resources. Sorvane's own bundle is its install
// tree (and the build tree, which mirrors it): the programs in bin/, the
// resources in share/sorvane/.
class Bundle {
public:
    // The bundle at a folder URL, or nothing when the URL is not a local
    // folder. A folder without an information dictionary is still a bundle,
    // just one without an identifier.
    static std::optional<Bundle> bundleWithUrl(const QUrl& url);
    // Sorvane itself. SORVANE_RESOURCES_DIR, when set, names another resource
    // folder (tests use it to load catalogues of their own).
    static Bundle mainBundle();
    // The information dictionary of a property-list file; empty when the file
    // cannot be read or is not an XML property list holding a dictionary.
    static QVariantMap readInfoDictionary(const QString& path);

    QString bundlePath() const { return path_; }
    QUrl bundleUrl() const { return QUrl::fromLocalFile(path_); }
    // CFBundleIdentifier; null when there is none.
    QString bundleIdentifier() const;
    // CFBundleVersion; null when there is none.
    QString version() const;
    // CFBundleName, else the folder's name without its extension.
    QString name() const;
    QString resourcesPath() const { return resourcesPath_; }
    // The path of a resource file that exists, or null.
    QString pathForResource(const QString& name, const QString& extension) const;
    QVariant objectForInfoDictionaryKey(const QString& key) const { return info_.value(key); }
    const QVariantMap& infoDictionary() const { return info_; }

private:
    Bundle(QString path, QString resourcesPath, QVariantMap info);

    QString path_;
    QString resourcesPath_;
    QVariantMap info_;
};
