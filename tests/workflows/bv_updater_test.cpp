#include "workflows/bv_updater.h"

#include "platform/defaults_store.h"
#include "platform/plist_value.h"
#include "platform/user_defaults.h"
#include "sandbox.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class CountingDelegate : public BVUpdaterDelegate {
public:
    int asked = 0;
    QStringList errors;
    bool updaterCanProposeUpdate(BVUpdater*) override { return ++asked > 0; }
    void updaterFeedError(BVUpdater*, const QString& error) override { errors.append(error); }
};

TEST(BVUpdater, ChecksOncePerIntervalAndRecordsTheDateInSorvanesDomain) {
    Sandbox sandbox;
    BVUpdater* updater = BVUpdater::sharedUpdater();
    CountingDelegate delegate;
    EXPECT_FALSE(updater->lastCheckDate().isValid());
    EXPECT_TRUE(updater->checkForUpdatesIfTheTimeHasComeWithDelegate(&delegate));
    const QDateTime recorded = updater->lastCheckDate();
    EXPECT_LE(recorded.secsTo(QDateTime::currentDateTimeUtc()), 5);
    EXPECT_TRUE(
        QFile::exists(sandbox.homePath(u"Library/Preferences/com.brisvale.Sorvane.plist"_s)));
    EXPECT_FALSE(updater->checkForUpdatesIfTheTimeHasComeWithDelegate(&delegate));
    EXPECT_EQ(delegate.asked, 1);

    // A check older than the interval is due again; other keys survive.
    const DefaultsStore store(sandbox.home());
    PlistValue domain = PlistValue::dictionary();
    domain.insert(u"SaveKolvaneFileType"_s, PlistValue::fromInteger(1));
    domain.insert(BVUpdater::kLastCheckKey,
                  PlistValue::fromDateTime(QDateTime::currentDateTimeUtc().addDays(-8)));
    QString error;
    ASSERT_TRUE(store.writeDomain(UserDefaults::kDomain, domain, &error)) << error.toStdString();
    EXPECT_TRUE(updater->checkForUpdatesIfTheTimeHasComeWithDelegate(&delegate));
    EXPECT_EQ(delegate.asked, 2);
    const PlistValue after = store.readDomain(UserDefaults::kDomain, &error);
    ASSERT_NE(after.find(u"SaveKolvaneFileType"_s), nullptr);
    EXPECT_TRUE(delegate.errors.isEmpty());
    EXPECT_TRUE(updater->updateSource().contains(updater->installedVersion()));
}

} // namespace
