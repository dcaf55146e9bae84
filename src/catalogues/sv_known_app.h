#pragma once

#include "search/sv_data.h"

#include <QDomNode>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <optional>

// One entry of the known-applications catalogue (AppData.xml): the extra
// defaults domains, preference files and caches of an application that keeps
// them where a search by its name and identifier cannot find them. The
// catalogue is read once into a process-wide table keyed by bundle identifier.
class SVKnownApp : public SVData {
public:
    // Reads AppData.xml from Sorvane's resources into the table.
    static void loadKnownAppData();
    // The same from any catalogue file; a file that cannot be used leaves the
    // table as it was.
    static void loadKnownAppDataFromFile(const QString& path);
    // The entry for an identifier (exact and case-sensitive), or null. Loads
    // the catalogue first while there is no table.
    static std::shared_ptr<const SVKnownApp> knownAppForId(const QString& identifier);
    // Forgets the table, as before the first load.
    static void unloadKnownAppData();

    // One entry from an `app` element, or nothing for anything else.
    static std::optional<SVKnownApp> initWithXml(const QDomNode& node);

    QString appId() const { return appId_; }
    QStringList additionalDomains() const { return additionalDomains_; }
    QList<QUrl> prefFilesToDelete() const;
    QList<QUrl> prefFilesToPack() const;
    QList<QUrl> cacheFilesToDelete() const;

private:
    SVKnownApp() = default;
    void addPath(const QString& kind, const QString& text, const QString& type,
                 const QString& pack);

    QString appId_;
    QStringList additionalDomains_;
    QStringList prefFilePaths_;
    QStringList packablePrefFilePaths_;
    QStringList cacheFilePaths_;
    QStringList prefSearches_;
    QStringList packablePrefSearches_;
    QStringList cacheSearches_;
};
