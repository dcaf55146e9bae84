// The Linux desktop's settings folders among the helper's allowed places.
#include "helper/allowed_places.h"
#include "helper/helper_file_operations.h"
#include "linux/linux_settings_places.h"

#include "sandbox.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct PlaceCase {
    const char* name;
    QString relative; // "~/…" below the sandbox home, "/…" below the system root
    bool allowed;
    AllowedPlaces::Kind kind;
};

void PrintTo(const PlaceCase& c, std::ostream* os) {
    *os << c.name;
}

QString placePath(const Sandbox& sandbox, const QString& relative) {
    return relative.startsWith(u'~') ? sandbox.homePath(relative.mid(2))
                                     : sandbox.rootPath(relative.mid(1));
}

class LinuxPlaces : public ::testing::TestWithParam<PlaceCase> {};

} // namespace

TEST_P(LinuxPlaces, ResolveAsTheHelperWould) {
    const PlaceCase& c = GetParam();
    Sandbox sandbox;
    QString error;
    const auto target = AllowedPlaces(::getuid(), sandbox.home())
                            .resolve(QFile::encodeName(placePath(sandbox, c.relative)), &error);
    ASSERT_EQ(target.has_value(), c.allowed) << error.toStdString();
    if (target) {
        EXPECT_EQ(target->kind, c.kind);
        EXPECT_EQ(target->path(), placePath(sandbox, c.relative));
    }
}

using K = AllowedPlaces::Kind;
INSTANTIATE_TEST_SUITE_P(
    Table, LinuxPlaces,
    ::testing::Values(PlaceCase{"Config", u"~/.config/katerc"_s, true, K::CallerLibrary},
                      PlaceCase{"Data", u"~/.local/share/kate"_s, true, K::CallerLibrary},
                      PlaceCase{"State", u"~/.local/state/app/x"_s, true, K::CallerLibrary},
                      PlaceCase{"Cache", u"~/.cache/vlc"_s, true, K::CallerLibrary},
                      PlaceCase{"Flatpak", u"~/.var/app/org.x.Y"_s, true, K::CallerLibrary},
                      PlaceCase{"Snap", u"~/snap/firefox"_s, true, K::CallerLibrary},
                      PlaceCase{"SystemXdg", u"/etc/xdg/kdeglobals"_s, true, K::SystemLibrary},
                      PlaceCase{"SystemCache", u"/var/cache/app"_s, true, K::SystemLibrary},
                      PlaceCase{"ConfigItself", u"~/.config"_s, false, K::CallerLibrary},
                      PlaceCase{"LocalOnly", u"~/.local/bin/x"_s, false, K::CallerLibrary},
                      PlaceCase{"LookAlike", u"~/.configs/x"_s, false, K::CallerLibrary},
                      PlaceCase{"OtherEtc", u"/etc/passwd"_s, false, K::SystemLibrary},
                      PlaceCase{"XdgItself", u"/etc/xdg"_s, false, K::SystemLibrary},
                      PlaceCase{"VarLib", u"/var/lib/x"_s, false, K::SystemLibrary},
                      PlaceCase{"VarCacheItself", u"/var/cache"_s, false, K::SystemLibrary},
                      PlaceCase{"SystemDconf", u"/etc/dconf/db/site.d/00-x"_s, true,
                                K::SystemLibrary},
                      PlaceCase{"HiddenHomeEntry", u"~/.ssh/id_ed25519"_s, false, K::CallerLibrary},
                      PlaceCase{"HomeItself", u"~/x"_s, false, K::CallerLibrary}),
    [](const auto& row) { return std::string(row.param.name); });

// A user who makes ~/.local a link to a folder of root's must not lead the
// helper there: no component of a settings folder is followed.
TEST(LinuxPlaces, ALinkedSettingsFolderIsNotFollowed) {
    Sandbox sandbox;
    const QString canary = sandbox.makeFile(sandbox.rootPath(u"usr/share/victim"_s), "keep");
    ASSERT_TRUE(QFile::link(sandbox.rootPath(u"usr"_s), sandbox.homePath(u".local"_s)));
    QString error;
    const auto target =
        AllowedPlaces(::getuid(), sandbox.home())
            .resolve(QFile::encodeName(sandbox.homePath(u".local/share/victim"_s)), &error);
    ASSERT_TRUE(target.has_value()) << "the text of the path is fine; the walk must refuse";

    EXPECT_FALSE(HelperFileOperations::deleteItem(*target, &error));
    EXPECT_TRUE(QFileInfo::exists(canary));
}

TEST(LinuxPlaces, DeletesBelowTheSystemXdgFolder) {
    Sandbox sandbox;
    const QString file = sandbox.makeFile(sandbox.rootPath(u"etc/xdg/okularrc"_s), "[General]");
    const QString neighbour = sandbox.makeFile(sandbox.rootPath(u"etc/xdg/kdeglobals"_s), "x");
    QString error;
    const auto target =
        AllowedPlaces(::getuid(), sandbox.home()).resolve(QFile::encodeName(file), &error);
    ASSERT_TRUE(target.has_value()) << error.toStdString();

    EXPECT_TRUE(HelperFileOperations::deleteItem(*target, &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_TRUE(QFileInfo::exists(neighbour));
}

namespace {

struct FolderCase {
    const char* name;
    QString relative;
    bool allowed;
};

void PrintTo(const FolderCase& c, std::ostream* os) {
    *os << c.name;
}

class CheckFolders : public ::testing::TestWithParam<FolderCase> {};

} // namespace

// A check may take a settings folder itself, never the home or the system
// root that holds it.
TEST_P(CheckFolders, ResolveAsTheHelperWould) {
    Sandbox sandbox;
    QString error;
    const auto folder =
        AllowedPlaces(::getuid(), sandbox.home())
            .resolveFolder(QFile::encodeName(placePath(sandbox, GetParam().relative)), &error);
    EXPECT_EQ(folder.has_value(), GetParam().allowed) << error.toStdString();
    if (folder) {
        EXPECT_EQ(folder->path(), placePath(sandbox, GetParam().relative));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, CheckFolders,
    ::testing::Values(FolderCase{"Xdg", u"/etc/xdg"_s, true},
                      FolderCase{"Dconf", u"/etc/dconf"_s, true},
                      FolderCase{"Preferences", u"/Library/Preferences"_s, true},
                      FolderCase{"UserConfig", u"~/.config"_s, true},
                      FolderCase{"SystemRoot", u"/x"_s, false}, FolderCase{"Etc", u"/etc"_s, false},
                      FolderCase{"Home", u"~/Documents"_s, false}),
    [](const auto& row) { return std::string(row.param.name); });

// A legacy entry that sits right in the home (~/.mozilla) is a whole
// application's folder: it may go itself, and so may anything in it.
TEST(LinuxPlaces, ALegacyHomeEntryAndItsContentsAreTargets) {
    Sandbox sandbox;
    const QString entry = LinuxSettingsPlaces::legacyHomeEntries().first();
    for (const QString& relative : {entry, entry + u"/profiles.ini"_s}) {
        QString error;
        const auto target = AllowedPlaces(::getuid(), sandbox.home())
                                .resolve(QFile::encodeName(sandbox.homePath(relative)), &error);
        ASSERT_TRUE(target.has_value()) << relative.toStdString() << ": " << error.toStdString();
        EXPECT_EQ(target->kind, K::CallerLibrary);
        EXPECT_TRUE(target->libraryPath.isEmpty()) << "the home is the base";
        EXPECT_EQ(QString::fromUtf8(target->components.first()), entry);
        EXPECT_TRUE(target->isLinuxPlace());
    }
    const QString folder = sandbox.makeFile(sandbox.homePath(entry + u"/profiles.ini"_s), "x");
    const QString neighbour = sandbox.makeFile(sandbox.homePath(u".bashrc"_s), "keep");
    QString error;
    const auto target = AllowedPlaces(::getuid(), sandbox.home())
                            .resolve(QFile::encodeName(sandbox.homePath(entry)), &error);
    ASSERT_TRUE(target.has_value());
    EXPECT_TRUE(HelperFileOperations::deleteItem(*target, &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_TRUE(QFileInfo::exists(neighbour));
}
