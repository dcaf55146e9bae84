#include "workflows/bv_updater.h"

#include "platform/bundle.h"
#include "platform/plist_value.h"
#include "platform/user_defaults.h"
#include "util/logging.h"

using namespace Qt::StringLiterals;

const QString BVUpdater::kLastCheckKey = u"BVUpdaterLastCheck"_s;

BVUpdater* BVUpdater::sharedUpdater() {
    static BVUpdater updater;
    return &updater;
}

QDateTime BVUpdater::lastCheckDate() const {
    const PlistValue date = UserDefaults::objectForKey(kLastCheckKey);
    return date.type() == PlistValue::Type::Date ? date.toDateTime() : QDateTime();
}

bool BVUpdater::recordCheck(const QDateTime& when, QString* error) const {
    return UserDefaults::setObject(kLastCheckKey, PlistValue::fromDateTime(when), error);
}

bool BVUpdater::checkForUpdatesIfTheTimeHasComeWithDelegate(BVUpdaterDelegate* delegate) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime last = lastCheckDate();
    if (last.isValid() && last.secsTo(now) < kCheckIntervalSeconds)
        return false;
    QString error;
    if (!recordCheck(now, &error)) {
        if (delegate)
            delegate->updaterFeedError(this, error);
        return false;
    }
    // The package manager brings updates; there is never one to propose here.
    if (delegate)
        delegate->updaterCanProposeUpdate(this);
    return true;
}

QString BVUpdater::installedVersion() const {
    return Bundle::mainBundle().version();
}

QString BVUpdater::updateSource() const {
    return u"Sorvane %1 is installed. Updates come from your system's package manager "
           u"(for example \"sudo apt upgrade\"); Sorvane itself downloads nothing."_s.arg(
               installedVersion());
}
