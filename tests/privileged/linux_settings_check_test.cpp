// The settings check of the Linux desktop: the user's folder with the user's
// own rights, the system's /etc/xdg and /etc/dconf through the real helper,
// every file by its format.
#include "helper_link_fixture.h"

#include "linux/config_checker.h"
#include "linux/linux_desktop.h"
#include "workflows/property_list_check.h"
#include "workflows/system_services.h"

#include "recording_helper.h"

using namespace Qt::StringLiterals;

namespace {

// The system root of this test is the helper's, so that both name the same
// /etc/xdg.
class LinuxSettingsCheck : public HelperLinkTest {
protected:
    void SetUp() override {
        HelperLinkTest::SetUp();
        previousRoot_ = qgetenv("SORVANE_SYSTEM_ROOT");
        qputenv("SORVANE_SYSTEM_ROOT", QFile::encodeName(bus_->systemRoot()));
    }
    void TearDown() override {
        qputenv("SORVANE_SYSTEM_ROOT", previousRoot_);
        HelperLinkTest::TearDown();
    }

    LinuxDesktop desktop;
    QByteArray previousRoot_;
};

} // namespace

TEST_F(LinuxSettingsCheck, TheSystemFoldersAreCheckedByTheHelperByFormat) {
    installHelper();
    const QString rc = makeRootFile(u"etc/xdg/kdeglobals"_s, "[General]\nColorScheme=Breeze\n");
    const QString cut = makeRootFile(u"etc/xdg/plasmarc"_s, "[Theme\nname=x");
    const QString json = makeRootFile(u"etc/xdg/app/settings.json"_s, QByteArray(64, '\0'));
    const QString keys = makeRootFile(u"etc/dconf/db/site.d/00-x"_s, "[org/x]\nk=1\n");
    makeRootFile(u"etc/xdg/notes.bin"_s, "\x01\x02 no known format");
    LinkHelperOperations helper(link_.get());

    const auto results = desktop.checkSettingsFolder(desktop.systemCheckFolder(), helper);

    ASSERT_TRUE(results.has_value());
    EXPECT_EQ(results->value(rc), u"OK"_s);
    EXPECT_EQ(results->value(keys), u"OK"_s);
    EXPECT_EQ(results->value(cut), ConfigChecker::check(u"plasmarc"_s, "[Theme\nname=x"));
    EXPECT_NE(results->value(cut), u"OK"_s);
    EXPECT_NE(results->value(json), u"OK"_s);
    EXPECT_FALSE(results->contains(bus_->systemRoot() + u"/etc/xdg/notes.bin"_s));
}

TEST_F(LinuxSettingsCheck, TheUsersFolderIsCheckedWithTheUsersRights) {
    const QString config = QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME"));
    const QString damaged = config + u"/Code/User/settings.json"_s;
    QDir().mkpath(QFileInfo(damaged).path());
    QFile file(damaged);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"editor.fontSize\": 14,");
    file.close();
    RecordingHelper helper;
    SettingsSystem::setCurrent(std::make_unique<LinuxDesktop>());

    const PropertyListCheck::Result result =
        PropertyListCheck(helper).checkPlistsAtPath(PropertyListCheck::userPreferencesFolder());
    SettingsSystem::setCurrent(nullptr);

    EXPECT_GE(result.filesScanned, 1u);
    ASSERT_EQ(result.plutilErrors.size(), 1);
    EXPECT_EQ(result.plutilErrors.first().path(), damaged);
    EXPECT_TRUE(helper.calls.isEmpty()) << "the user's own check needs no helper";
}
