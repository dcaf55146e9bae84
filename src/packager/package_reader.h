#pragma once

#include "packager/sv_pp_item.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantList>

#include <memory>
#include <optional>

class AlertPresenter;

// Opens a preference package for deployment: refuses the wrong file type,
// unarchives the file allowing only the package's own classes, and rebuilds
// its component and application items, every one ticked; a package made on
// the other settings system is refused. What goes wrong is
// told to the user through the alert presenter; the packager window then
// simply has no package to show.
class PackageReader {
public:
    using Items = QList<std::shared_ptr<SVPPItem>>;

    // Sorvane's version, named in the refusal of a foreign file type.
    PackageReader(AlertPresenter& alerts, QString applicationVersion);

    // True when the package gave at least one item; the items are then in
    // systemSettings() and applications().
    bool initWithKolvaneUrl(const QUrl& url);
    // True when every record gave an item (also for an empty list).
    bool unpackSystemPrefs(const QVariantList& records);
    bool unpackApplicationPrefs(const QVariantList& records);

    const Items& systemSettings() const { return systemSettings_; }
    const Items& applications() const { return applications_; }

private:
    // A package of the other settings system is refused with one alert.
    bool isForeign();

    AlertPresenter& alerts_;
    QString applicationVersion_;
    Items systemSettings_;
    Items applications_;
};
