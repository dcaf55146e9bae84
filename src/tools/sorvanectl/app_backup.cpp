#include "app_backup.h"

#include "packager/package_creator.h"
#include "packager/package_keys.h"
#include "platform/directory_listing.h"
#include "platform/keyed_archive.h"
#include "util/path_utils.h"
#include "workflows/alert_presenter.h"
#include "workflows/application_search.h"

#include <QFileInfo>
#include <QJsonArray>

using namespace Qt::StringLiterals;
using namespace package_keys;

namespace {

QVariantMap variantMapOf(const QMap<QString, QByteArray>& files) {
    QVariantMap map;
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        map.insert(it.key(), it.value());
    return map;
}

} // namespace

QJsonObject AppBackup::Result::json(const QString& path) const {
    QJsonArray left;
    for (const LeftOut& entry : leftOut)
        left.append(QJsonObject{{u"item"_s, entry.item}, {u"why"_s, entry.why}});
    return {{u"path"_s, path},
            {u"written"_s, written},
            {u"domains"_s, QJsonArray::fromStringList(domains)},
            {u"files"_s, QJsonArray::fromStringList(files)},
            {u"leftOut"_s, left}};
}

AppBackup::AppBackup(AlertPresenter& alerts)
    : alerts_(alerts) {}

void AppBackup::packTree(PackageCreator& creator, const QString& path, Result& result,
                         QMap<QString, QByteArray>& files) const {
    const QFileInfo info(path);
    if (info.isDir() && info.isSymLink()) {
        result.leftOut.append({path, u"link to a folder"_s});
        return;
    }
    const bool folder = info.isDir();
    // The packager's own reading: a file, or a folder's direct files.
    const auto packed = creator.packedFilesAtUrl(QUrl::fromLocalFile(path));
    if (packed)
        files.insert(*packed);
    if (!folder) {
        if (!packed || !packed->contains(PackageCreator::packagedPathForFile(path)))
            result.leftOut.append({path, u"empty or unreadable file"_s});
        return;
    }
    for (const QString& name : DirectoryListing::list(path).names) {
        const QString entry = sv::stringByAppendingPathComponent(path, name);
        const QFileInfo entryInfo(entry);
        if (entryInfo.isDir() && entryInfo.isSymLink())
            result.leftOut.append({entry, u"link to a folder"_s});
        else if (entryInfo.isDir())
            packTree(creator, entry, result, files);
        else if (!packed || !packed->contains(PackageCreator::packagedPathForFile(entry)))
            result.leftOut.append({entry, u"empty or unreadable file"_s});
    }
}

std::optional<AppBackup::Result> AppBackup::write(const QString& path, const QString& appName,
                                                  const ApplicationSearchResults& results) {
    Result result;
    PackageCreator creator(nullptr, alerts_);
    QVariantMap prefs;
    for (const SVDefaultsDomain& domain : results.appDomainResults) {
        if (domain.authLevel() != 0) {
            result.leftOut.append({domain.domain(), u"root's domain (a package holds only the "
                                                    u"user's own domains)"_s});
        } else if (!prefs.contains(domain.domain())) {
            if (const auto text = creator.plistForDomain(domain.domain()))
                prefs.insert(domain.domain(), *text);
            else
                result.leftOut.append({domain.domain(), u"empty or unreadable domain"_s});
        }
    }
    QMap<QString, QByteArray> files;
    for (const QUrl& file : results.appAdditionalPreferenceFiles)
        packTree(creator, file.toLocalFile(), result, files);
    if (prefs.isEmpty() && files.isEmpty())
        return result;

    const QVariantMap record{{kName, appName},
                             {kAppId, results.appBundleIdentifier},
                             {kPrefs, prefs},
                             {kFiles, variantMapOf(files)}};
    QString error;
    const QByteArray bytes =
        KeyedArchive::encode(QVariantMap{{kApplications, QVariantList{record}}}, &error);
    if (bytes.isEmpty()) {
        alerts_.showAlert(u"Package Could Not Be Created"_s,
                          u"An error occurred during packaging: %1"_s.arg(error));
        return std::nullopt;
    }
    if (!PackageCreator::writePackageFile(bytes, QUrl::fromLocalFile(path), alerts_))
        return std::nullopt;
    result.written = true;
    result.domains = prefs.keys();
    result.files = files.keys();
    return result;
}
