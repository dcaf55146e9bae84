#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class AlertPresenter;
class PackageCreator;
struct ApplicationSearchResults;

// The package "clean --backup" writes before it deletes anything: one
// application record holding the user's own domains the search found
// (captured as the packager captures them) and every file below its
// preference files, so that "package deploy" of it undoes the cleaning.
// Root's domains, caches and empty files cannot travel in a package; they
// are named as left out.
class AppBackup {
public:
    struct LeftOut {
        QString item;
        QString why;
    };
    struct Result {
        bool written = false; // false when there was nothing to back up
        QStringList domains;
        QStringList files; // as stored, the home folder written as "~"
        QList<LeftOut> leftOut;

        QJsonObject json(const QString& path) const;
    };

    explicit AppBackup(AlertPresenter& alerts);

    // Nothing when the package could not be written (the user has been told
    // why through the alerts).
    std::optional<Result> write(const QString& path, const QString& appName,
                                const ApplicationSearchResults& results);

private:
    void packTree(PackageCreator& creator, const QString& path, Result& result,
                  QMap<QString, QByteArray>& files) const;

    AlertPresenter& alerts_;
};
