#include "packager/package_reader.h"

#include "packager/package_keys.h"
#include "platform/keyed_archive.h"
#include "util/logging.h"
#include "util/path_utils.h"
#include "workflows/alert_presenter.h"
#include "workflows/settings_system.h"

#include <QFile>

using namespace Qt::StringLiterals;
using namespace package_keys;

namespace {

const QString kReadError = u"Error Reading Package"_s;

SVPPItem::PrefsByDomain prefsFromVariant(const QVariant& value) {
    SVPPItem::PrefsByDomain prefs;
    const QVariantMap map = value.toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        prefs.insert(it.key(), it.value().toString());
    return prefs;
}

std::optional<SVPPItem::FilesByPath> filesFromVariant(const QVariant& value) {
    if (!value.isValid())
        return std::nullopt;
    SVPPItem::FilesByPath files;
    const QVariantMap map = value.toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        files.insert(it.key(), it.value().toByteArray());
    return files;
}

QImage iconFromRecord(const QVariantMap& record) {
    // Any image format Qt reads is decoded, whatever the key's name says. An
    // image that does not decode leaves no icon: the image object is then
    // deliberately not consulted.
    if (record.contains(kIconPng))
        return QImage::fromData(record.value(kIconPng).toByteArray());
    const QVariant image = record.value(kIconImage);
    if (image.metaType() == QMetaType::fromType<KeyedArchive::Image>())
        return QImage::fromData(image.value<KeyedArchive::Image>().png, "PNG");
    return {};
}

} // namespace

PackageReader::PackageReader(AlertPresenter& alerts, QString applicationVersion)
    : alerts_(alerts)
    , applicationVersion_(std::move(applicationVersion)) {}

bool PackageReader::initWithKolvaneUrl(const QUrl& url) {
    const QString path = url.toLocalFile();
    const QString extension = sv::pathExtension(path);
    if (extension != kExtension) {
        sv::log(u"Unsupported file type: \"%1\""_s.arg(extension));
        alerts_.showAlert(u"Unsupported File Type"_s,
                          u"Sorvane %1 does not support files of type \"%2\". Only Kolvane2 files "
                          u"are supported."_s.arg(applicationVersion_, extension));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        const QString error = file.errorString();
        sv::log(u"Error reading package data: %1"_s.arg(error));
        alerts_.showAlert(kReadError, error);
        return false;
    }
    QString error;
    const QVariant root = KeyedArchive::decode(file.readAll(), &error);
    if (root.metaType() != QMetaType::fromType<QVariantMap>()) {
        sv::log(u"Error reading package: %1"_s.arg(
            error.isEmpty() ? u"the root is not a dictionary"_s : error));
        alerts_.showAlert(
            kReadError,
            u"The package is either corrupt or not compatible with this version of Sorvane"_s);
        return false;
    }

    systemSettings_.clear();
    applications_.clear();
    const QVariantMap dictionary = root.toMap();
    if (dictionary.contains(kSystem) && !unpackSystemPrefs(dictionary.value(kSystem).toList()))
        sv::log(u"Error unpacking system settings"_s);
    if (dictionary.contains(kApplications) &&
        !unpackApplicationPrefs(dictionary.value(kApplications).toList()))
        sv::log(u"Error unpacking application preferences"_s);
    if (systemSettings_.isEmpty() && applications_.isEmpty()) {
        alerts_.showAlert(u"No Settings Found"_s,
                          u"No settings could be extracted from the PreferencePackage file."_s);
        return false;
    }
    return !isForeign();
}

bool PackageReader::isForeign() {
    QStringList texts;
    for (const auto& item : systemSettings_ + applications_) {
        for (const QString& domain : item->prefsDomains())
            texts.append(item->plistForDomain(domain));
    }
    const auto alert = SettingsSystem::current().foreignPackageAlert(texts);
    if (!alert)
        return false;
    sv::log(u"Refused a package of the other settings system"_s);
    alerts_.showAlert(alert->first, alert->second);
    systemSettings_.clear();
    applications_.clear();
    return true;
}

bool PackageReader::unpackSystemPrefs(const QVariantList& records) {
    bool allMade = true;
    for (const QVariant& value : records) {
        const QVariantMap record = value.toMap();
        const auto item = SVPPItem::itemWithComponent(record.value(kName).toString(),
                                                      record.value(kDescription).toString(),
                                                      prefsFromVariant(record.value(kPrefs)));
        if (!item) {
            allMade = false;
            continue;
        }
        item->setEnabled(true);
        systemSettings_.append(item);
    }
    sv::log(u"Loaded settings for %1 system components"_s.arg(systemSettings_.size()));
    return allMade;
}

bool PackageReader::unpackApplicationPrefs(const QVariantList& records) {
    bool allMade = true;
    for (const QVariant& value : records) {
        const QVariantMap record = value.toMap();
        const auto item = SVPPItem::itemWithAppName(
            record.value(kName).toString(), record.value(kAppId).toString(), iconFromRecord(record),
            prefsFromVariant(record.value(kPrefs)), filesFromVariant(record.value(kFiles)));
        if (!item) {
            allMade = false;
            continue;
        }
        item->setEnabled(true);
        applications_.append(item);
    }
    sv::log(u"Loaded settings for %1 applications"_s.arg(applications_.size()));
    return allMade;
}
