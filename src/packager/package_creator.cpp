#include "packager/package_creator.h"

#include "catalogues/sv_known_app.h"
#include "packager/package_keys.h"
#include "packager/self_deploying_assembler.h"
#include "packager/self_deploying_executable.h"
#include "platform/directory_listing.h"
#include "platform/keyed_archive.h"
#include "platform/library_folders.h"
#include "platform/tool_locations.h"
#include "privileged/sv_task_master.h"
#include "util/image_conversion.h"
#include "util/logging.h"
#include "util/path_utils.h"
#include "util/string_extensions.h"
#include "workflows/alert_presenter.h"
#include "workflows/settings_system.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

using namespace Qt::StringLiterals;
using namespace package_keys;

namespace {

const QString kNotCreated = u"Package Could Not Be Created"_s;
const QString kNotSaved = u"Package Could Not Be Saved"_s;
// How an absent error reads in a log line.
const QString kAbsent = u"(null)"_s;
constexpr int kIconPoints = 44;

// The whole file, or nothing with the reason (null for an empty file).
std::optional<QByteArray> readWholeFile(const QString& path, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        *error = file.errorString();
        return std::nullopt;
    }
    QByteArray bytes = file.readAll();
    if (bytes.isEmpty())
        return std::nullopt;
    return bytes;
}

QVariantMap toVariantMap(const QMap<QString, QByteArray>& files) {
    QVariantMap map;
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        map.insert(it.key(), it.value());
    return map;
}

} // namespace

PackageCreator::PackageCreator(const std::atomic<bool>* shouldCancel, AlertPresenter& alerts,
                               Callbacks callbacks)
    : shouldCancel_(shouldCancel)
    , alerts_(alerts)
    , callbacks_(std::move(callbacks)) {}

void PackageCreator::setLabel(const QString& text) {
    if (callbacks_.setProgressLabel)
        callbacks_.setProgressLabel(text);
}

void PackageCreator::closeSheet() {
    if (callbacks_.closeProgressSheet)
        callbacks_.closeProgressSheet();
}

std::optional<QByteArray> PackageCreator::background_createPackage(const Items& systemSettings,
                                                                   const Items& applications) {
    QVariantMap root;
    setLabel(u"Packaging system settings"_s);
    if (const auto system = packagedSystemSettings(systemSettings))
        root.insert(kSystem, *system);
    if (cancelled()) {
        closeSheet();
        return std::nullopt;
    }
    setLabel(u"Packaging application settings"_s);
    if (const auto apps = packagedApplicationPrefs(applications))
        root.insert(kApplications, *apps);
    if (cancelled()) {
        closeSheet();
        return std::nullopt;
    }
    if (root.isEmpty()) {
        closeSheet();
        alerts_.showAlert(kNotCreated, u"No content could be packaged."_s);
        return std::nullopt;
    }
    setLabel(u"Preparing to save file"_s);
    QString error;
    const QByteArray bytes = KeyedArchive::encode(root, &error);
    if (bytes.isEmpty()) {
        sv::log(u"Error during archiving: %1"_s.arg(error));
        closeSheet();
        alerts_.showAlert(kNotCreated, u"An error occurred during packaging: %1"_s.arg(error));
        return std::nullopt;
    }
    closeSheet();
    return bytes;
}

std::optional<QVariantList> PackageCreator::packagedSystemSettings(const Items& systemSettings) {
    return packagedItems(systemSettings, &PackageCreator::packagedPrefsForComponent);
}

std::optional<QVariantList> PackageCreator::packagedApplicationPrefs(const Items& applications) {
    return packagedItems(applications, &PackageCreator::packagedPrefsForApplication);
}

std::optional<QVariantList>
PackageCreator::packagedItems(const Items& items,
                              std::optional<QVariantMap> (PackageCreator::*record)(SVPPItem&)) {
    const Items selected = selectedItemsInArray(items);
    if (selected.isEmpty())
        return std::nullopt;
    QVariantList records;
    for (const auto& item : selected) {
        if (const auto made = (this->*record)(*item))
            records.append(*made);
        if (cancelled()) {
            // The caller closes the sheet once more; closing twice is harmless.
            closeSheet();
            return std::nullopt;
        }
    }
    if (records.isEmpty())
        return std::nullopt;
    return records;
}

void PackageCreator::capturePrefs(const QStringList& domains, QVariantMap& prefs) {
    for (const QString& domain : domains) {
        if (const auto text = plistForDomain(domain))
            prefs.insert(domain, *text);
    }
}

std::optional<QVariantMap> PackageCreator::packagedPrefsForComponent(SVPPItem& item) {
    const QStringList domains = item.prefsDomains();
    if (domains.isEmpty())
        return std::nullopt;
    QVariantMap prefs;
    capturePrefs(domains, prefs);
    if (prefs.isEmpty())
        return std::nullopt;
    const QString description = item.description();
    return QVariantMap{{kName, item.displayName()},
                       {kDescription, description.isNull() ? u""_s : description},
                       {kPrefs, prefs}};
}

std::optional<QVariantMap> PackageCreator::packagedPrefsForApplication(SVPPItem& item) {
    const QStringList domains = item.prefsDomains();
    if (domains.isEmpty())
        return std::nullopt;
    QVariantMap prefs;
    capturePrefs(domains, prefs);
    // Files and an icon alone never make a record.
    if (prefs.isEmpty())
        return std::nullopt;

    std::optional<FilesByPath> files;
    if (const auto known = SVKnownApp::knownAppForId(item.appId())) {
        capturePrefs(known->additionalDomains(), prefs);
        const QList<QUrl> toPack = known->prefFilesToPack();
        if (!toPack.isEmpty()) {
            files.emplace();
            for (const QUrl& url : toPack) {
                if (const auto packed = packedFilesAtUrl(url))
                    files->insert(*packed);
            }
        }
    }

    // Deliberately cut off at the first absent value: a record without an
    // identifier holds only its name, whatever else was captured.
    QVariantMap record;
    const QList<std::pair<QString, std::optional<QVariant>>> pairs = {
        {kName,
         item.displayName().isEmpty() ? std::nullopt : std::optional<QVariant>(item.displayName())},
        {kAppId, item.appId().isEmpty() ? std::nullopt : std::optional<QVariant>(item.appId())},
        {kPrefs, QVariant(prefs)},
        {kFiles, files ? std::optional<QVariant>(QVariant::fromValue(toVariantMap(*files)))
                       : std::nullopt}};
    for (const auto& [key, value] : pairs) {
        if (!value)
            break;
        record.insert(key, *value);
    }

    QImage icon = item.icon();
    if (!icon.isNull()) {
        const QSize points(kIconPoints, kIconPoints);
        if (icon.deviceIndependentSize().toSize() != points) {
            icon = icon.scaled(points, Qt::KeepAspectRatio, Qt::SmoothTransformation);
            item.setIcon(icon);
        }
        sv::ImageError error;
        const QByteArray png = sv::pngImageDataWithError(icon, &error);
        if (!png.isEmpty()) {
            record.insert(kIconPng, png);
        } else {
            sv::log(u"Error converting icon to PNG: %1"_s.arg(error.localizedDescription));
            record.insert(kIconImage, QVariant::fromValue(KeyedArchive::Image{}));
        }
    }
    return record;
}

std::optional<QString> PackageCreator::plistForDomain(const QString& domain) {
    SVTaskMaster task;
    if (!task.runTaskWithProgram(ToolLocations::defaultsTool(), {u"read"_s, domain},
                                 shouldCancel_)) {
        sv::log(u"Error running defaults read command: %1"_s.arg(
            task.errorMessage().value_or(kAbsent)));
        return std::nullopt;
    }
    return task.output();
}

QString PackageCreator::packagedPathForFile(const QString& path) {
    // Linux homes do not live under /Users, so the packing user's own home
    // folder is abbreviated first; other users' homes keep the general rule.
    const QString home = LibraryFolders::homeFolder();
    if (!home.isEmpty() && (path == home || path.startsWith(home + u'/')))
        return u'~' + path.mid(home.size());
    return sv::stringByInsertingTildeInPath(path);
}

std::optional<PackageCreator::FilesByPath> PackageCreator::packedFilesAtUrl(const QUrl& url) {
    sv::log(u"PackageCreator::packedFilesAtUrl"_s);
    const QString path = url.toLocalFile();
    const QFileInfo info(path);
    FilesByPath files;
    if (!info.exists())
        return files;

    const auto packFile = [&files](const QString& filePath) {
        QString error;
        if (const auto bytes = readWholeFile(filePath, &error))
            files.insert(packagedPathForFile(filePath), *bytes);
        else
            sv::log(u"Error reading file: %1"_s.arg(error.isNull() ? kAbsent : error));
    };

    if (!info.isDir()) {
        packFile(path);
        return files;
    }
    const DirectoryListing listing = DirectoryListing::list(path);
    if (!listing.ok)
        return std::nullopt;
    for (const QString& name : listing.names) {
        const QString entry = sv::stringByAppendingPathComponent(path, name);
        const QFileInfo entryInfo(entry);
        // Sub-folders are never packed, and an entry whose kind cannot be
        // read is passed over.
        if (!entryInfo.exists() || entryInfo.isDir())
            continue;
        packFile(entry);
    }
    return files;
}

PackageCreator::Items PackageCreator::selectedItemsInArray(const Items& items) {
    Items selected;
    for (const auto& item : items) {
        if (item && item->enabled())
            selected.append(item);
    }
    return selected;
}

bool PackageCreator::writePackageFile(const QByteArray& bytes, const QUrl& url,
                                      AlertPresenter& alerts) {
    QSaveFile file(url.toLocalFile());
    QString error;
    if (!file.open(QIODevice::WriteOnly))
        error = file.errorString();
    else if (file.write(bytes) != bytes.size() || !file.commit())
        error = file.errorString();
    if (error.isNull())
        return true;
    sv::log(u"Archive write error: %1"_s.arg(error));
    alerts.showAlert(kNotSaved,
                     u"An error occurred while writing the package to disk: %1"_s.arg(error));
    return false;
}

bool PackageCreator::saveAssembledPackaged(const QByteArray& bytes, const QUrl& url,
                                           AlertPresenter& alerts) {
    if (sv::pathExtension(url.toLocalFile()) == kExtension)
        return writePackageFile(bytes, url, alerts);
    if (SettingsSystem::current().selfDeployingForm() ==
        SettingsSystem::SelfDeployingForm::ExecutableFile)
        return SelfDeployingExecutable::forRunningApplication(alerts).assemble(bytes, url);
    return SelfDeployingAssembler::forRunningApplication(alerts).assemble(bytes, url);
}
