#pragma once

#include "packager/sv_pp_item.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

class AlertPresenter;

// Captures the settings of ticked packager items into the content of a
// preference package and writes it as a package file. It does the work of
// the packager window's creation mode without any widget: the window runs
// background_createPackage on the thread pool and shows what the callbacks
// report. The cancel flag belongs to the caller (the window's shouldCancel);
// it is read between items and handed to every defaults run, so a cancel
// also ends a running capture.
class PackageCreator {
public:
    using Items = QList<std::shared_ptr<SVPPItem>>;
    using FilesByPath = QMap<QString, QByteArray>;

    struct Callbacks {
        std::function<void(const QString&)> setProgressLabel;
        std::function<void()> closeProgressSheet;
    };

    PackageCreator(const std::atomic<bool>* shouldCancel, AlertPresenter& alerts,
                   Callbacks callbacks = {});

    // The whole capture; the archived package bytes, or nothing when the
    // run was cancelled or failed (the user has then been told why, except
    // after a cancel).
    std::optional<QByteArray> background_createPackage(const Items& systemSettings,
                                                       const Items& applications);

    std::optional<QVariantList> packagedSystemSettings(const Items& systemSettings);
    std::optional<QVariantList> packagedApplicationPrefs(const Items& applications);
    std::optional<QVariantMap> packagedPrefsForComponent(SVPPItem& item);
    std::optional<QVariantMap> packagedPrefsForApplication(SVPPItem& item);
    // The complete standard output of "defaults read <domain>"; nothing when
    // the tool could not run or printed nothing.
    std::optional<QString> plistForDomain(const QString& domain);
    // The non-empty files at a URL (a file, or a folder's direct files)
    // keyed by their home-relative path; nothing when a folder cannot be
    // listed.
    std::optional<FilesByPath> packedFilesAtUrl(const QUrl& url);

    static Items selectedItemsInArray(const Items& items);

    // Writes the bytes atomically; false after telling the user why.
    static bool writePackageFile(const QByteArray& bytes, const QUrl& url, AlertPresenter& alerts);
    // Saves at the place the save panel gave: a package file when the
    // extension is exactly "Kolvane2", a self-deploying package for any other
    // name, in the settings system's form (an application bundle, or one
    // executable file). False after telling the user why.
    static bool saveAssembledPackaged(const QByteArray& bytes, const QUrl& url,
                                      AlertPresenter& alerts);
    // The key under which a packed file travels: the packing user's home
    // folder written as "~".
    static QString packagedPathForFile(const QString& path);

private:
    std::optional<QVariantList>
    packagedItems(const Items& items,
                  std::optional<QVariantMap> (PackageCreator::*record)(SVPPItem&));
    void capturePrefs(const QStringList& domains, QVariantMap& prefs);
    bool cancelled() const { return shouldCancel_ && shouldCancel_->load(); }
    void setLabel(const QString& text);
    void closeSheet();

    const std::atomic<bool>* shouldCancel_;
    AlertPresenter& alerts_;
    Callbacks callbacks_;
};
