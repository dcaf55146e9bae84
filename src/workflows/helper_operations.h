#pragma once

#include <QMap>
#include <QString>
#include <QUrl>

#include <optional>

// The privileged operations the cleanings and the property-list check ask
// for. The desktop application and sorvanectl pass the helper link; tests
// pass a recording stand-in where the real helper cannot answer as needed.
class HelperOperations {
public:
    virtual ~HelperOperations() = default;

    virtual bool deleteDefaultsDomain(const QString& domain) = 0;
    virtual bool deleteFileAtUrl(const QUrl& file) = 0;
    // Each checked file's path to "OK" or the checker's message; nothing when
    // the helper failed or did not answer in time.
    virtual std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl& folder) = 0;
    virtual void cancelPlutilChecks() = 0;
    virtual void rebootComputer() = 0;
};
