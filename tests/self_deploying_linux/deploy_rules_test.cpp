// The rules the self-deploying program decides by before it writes: where a
// stored path, a domain and a Flatpak store go, which texts are Linux
// settings and which program an application runs as; and the home writer,
// which never leaves the home folder.
#include "application_identity.h"
#include "home_writer.h"
#include "package_places.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

using namespace Qt::StringLiterals;
using namespace selfdeploy;

namespace {

using Components = std::vector<std::string>;

struct HomePathCase {
    std::string stored;
    std::optional<Components> components; // nothing: refused
};

void PrintTo(const HomePathCase& pathCase, std::ostream* out) {
    *out << '"' << pathCase.stored << '"';
}

class HomePaths : public testing::TestWithParam<HomePathCase> {};

} // namespace

TEST_P(HomePaths, LeadOnlyIntoTheHome) {
    EXPECT_EQ(PackagePlaces::homeComponents(GetParam().stored), GetParam().components);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, HomePaths,
    testing::Values(HomePathCase{"~/.config/sketch/sketch.conf",
                                 Components{".config", "sketch", "sketch.conf"}},
                    HomePathCase{"~/.sketchrc", Components{".sketchrc"}},
                    HomePathCase{"~/Grüße/..x", Components{"Grüße", "..x"}},
                    HomePathCase{"~/../escape", std::nullopt},
                    HomePathCase{"~/a/../../escape", std::nullopt},
                    HomePathCase{"~/./a", std::nullopt}, HomePathCase{"~/a//b", std::nullopt},
                    HomePathCase{"~/a/", std::nullopt}, HomePathCase{"~/", std::nullopt},
                    HomePathCase{"~", std::nullopt}, HomePathCase{"~root/x", std::nullopt},
                    HomePathCase{"/etc/passwd", std::nullopt},
                    HomePathCase{"relative/x", std::nullopt}, HomePathCase{"~/a\nb", std::nullopt},
                    HomePathCase{std::string("~/a\0b", 5), std::nullopt}));

namespace {

struct DomainCase {
    std::string domain;
    std::string directory;                     // empty: not a dconf domain
    std::optional<std::string> flatpakKeyfile; // below the home
};

void PrintTo(const DomainCase& domainCase, std::ostream* out) {
    *out << '"' << domainCase.domain << '"';
}

class DomainPlaces : public testing::TestWithParam<DomainCase> {};

std::optional<std::string> joined(const std::optional<Components>& components) {
    if (!components)
        return std::nullopt;
    std::string path;
    for (const std::string& component : *components)
        path += '/' + component;
    return path;
}

} // namespace

TEST_P(DomainPlaces, AreDconfDirectoriesOrFlatpakStores) {
    EXPECT_EQ(PackagePlaces::dconfDirectoryOf(GetParam().domain), GetParam().directory);
    EXPECT_EQ(joined(PackagePlaces::flatpakKeyfileOf(GetParam().domain)),
              GetParam().flatpakKeyfile);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, DomainPlaces,
    testing::Values(DomainCase{"org.example.Notes", "/org/example/Notes/", std::nullopt},
                    DomainCase{"org.gnome.gedit%2Eplugins", "/org/gnome/gedit.plugins/",
                               std::nullopt},
                    DomainCase{"a%25b.c", "/a%b/c/", std::nullopt},
                    DomainCase{"org..x", "", std::nullopt}, DomainCase{".org", "", std::nullopt},
                    DomainCase{"org.a/b", "", std::nullopt},
                    DomainCase{"org.%41", "", std::nullopt}, DomainCase{"", "", std::nullopt},
                    DomainCase{"flatpak:org.example.Sketch", "",
                               "/.var/app/org.example.Sketch/config/glib-2.0/settings/keyfile"},
                    DomainCase{"flatpak:../../x.y", "", std::nullopt},
                    DomainCase{"flatpak:.hidden.app", "", std::nullopt},
                    DomainCase{"flatpak:nodots", "", std::nullopt}));

namespace {

struct TextCase {
    const char* name;
    std::string text;
    bool isKeyFile;
    std::size_t keys;
};

void PrintTo(const TextCase& textCase, std::ostream* out) {
    *out << textCase.name;
}

class SettingsTexts : public testing::TestWithParam<TextCase> {};

} // namespace

TEST_P(SettingsTexts, AreKeyFilesOnTheLinuxDesktop) {
    EXPECT_EQ(PackagePlaces::isKeyFileText(GetParam().text), GetParam().isKeyFile);
    EXPECT_EQ(PackagePlaces::keyCount(GetParam().text), GetParam().keys);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, SettingsTexts,
    testing::Values(TextCase{"dconf dump",
                             "[/]\ncount=-7\ntitle='a=b'\n\n[window]\ngeometry=(1, 2)\n", true, 3},
                    TextCase{"comments and blank lines", "# made by hand\n\n[a/b]\n  k = 1 \n",
                             true, 1},
                    TextCase{"empty", "", true, 0},
                    TextCase{"a key before any group", "k=1\n[/]\n", false, 0},
                    TextCase{"old-style property list", "{\n    title = mine;\n}\n", false, 0},
                    TextCase{"XML property list", "<?xml version=\"1.0\"?>\n<plist/>\n", false, 0},
                    TextCase{"a line that is no key", "[/]\njunk\n", false, 0},
                    TextCase{"a NUL", std::string("[/]\nk=1\0", 8), false, 1}));

namespace {

struct ExecCase {
    std::string exec;
    std::string program;
};

void PrintTo(const ExecCase& execCase, std::ostream* out) {
    *out << execCase.exec;
}

class ExecPrograms : public testing::TestWithParam<ExecCase> {};

} // namespace

TEST_P(ExecPrograms, NameTheApplicationsOwnProgram) {
    EXPECT_EQ(ApplicationIdentity::programOfExec(GetParam().exec), GetParam().program);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ExecPrograms,
    testing::Values(ExecCase{"sketch %U", "sketch"},
                    ExecCase{"/usr/bin/sketch --new-window %f", "sketch"},
                    ExecCase{"env GTK_THEME=dark LANG=C sketch", "sketch"},
                    ExecCase{"firejail --private /opt/sketch/bin/sketch-bin", "sketch-bin"},
                    ExecCase{"\"/opt/My Sketch/sketch app\" %F", "sketch app"},
                    ExecCase{"\"/opt/q\\\"uote/run\"", "run"},
                    ExecCase{"/usr/bin/flatpak run --branch=stable org.example.Sketch", ""},
                    ExecCase{"env", ""}, ExecCase{"", ""}));

TEST(ApplicationIdentity, TakesExecTryExecAndTheFlatpakIdButNoLauncher) {
    const ApplicationIdentity own = ApplicationIdentity::ofEntryText(
        "[Desktop Entry]\nName=Sketch\nExec=sketch %U\nTryExec=/usr/bin/sketch-helper\n"
        "[Desktop Action new]\nExec=other\n",
        "org.example.Sketch");
    EXPECT_EQ(own.programs, (Components{"sketch", "sketch-helper"}));
    EXPECT_EQ(own.flatpakId, "org.example.Sketch");

    const ApplicationIdentity flatpak =
        ApplicationIdentity::ofEntryText("[Desktop Entry]\nExec=/usr/bin/flatpak run "
                                         "org.example.Paint\nX-Flatpak=org.example.Paint\n",
                                         "paint");
    EXPECT_TRUE(flatpak.programs.empty());
    EXPECT_EQ(flatpak.flatpakId, "org.example.Paint");

    const ApplicationIdentity script =
        ApplicationIdentity::ofEntryText("[Desktop Entry]\nExec=sh -c \"run\"\n", "x");
    EXPECT_TRUE(script.programs.empty());
}

namespace {

class HomeWriting : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        ASSERT_TRUE(QDir().mkpath(home()));
        ASSERT_TRUE(QDir().mkpath(outside()));
    }
    QString home() const { return dir_.filePath(u"home"_s); }
    QString outside() const { return dir_.filePath(u"outside"_s); }
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList leftovers(const QString& folder) const {
        return QDir(folder)
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
            .filter(u".sorvane-deploy-"_s);
    }

    QTemporaryDir dir_;
};

} // namespace

TEST_F(HomeWriting, MakesFoldersAndKeepsTheModeOfAReplacedFile) {
    const HomeWriter writer(home().toStdString());
    std::string error;
    ASSERT_TRUE(writer.write({".config", "sketch", "new.conf"}, std::string("a\0b", 3), &error))
        << error;
    EXPECT_EQ(contents(home() + u"/.config/sketch/new.conf"_s), QByteArray("a\0b", 3));

    const QString kept = home() + u"/.config/sketch/secret.conf"_s;
    QFile(kept).open(QIODevice::WriteOnly);
    ASSERT_TRUE(QFile::setPermissions(kept, QFile::ReadOwner | QFile::WriteOwner));
    ASSERT_TRUE(writer.write({".config", "sketch", "secret.conf"}, "new", &error)) << error;
    EXPECT_EQ(contents(kept), "new");
    EXPECT_EQ(QFileInfo(kept).permissions(),
              QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
    EXPECT_TRUE(leftovers(home() + u"/.config/sketch"_s).isEmpty());
}

TEST_F(HomeWriting, ALinkPlantedOnTheWayStopsTheWrite) {
    ASSERT_TRUE(QFile::link(outside(), home() + u"/.config"_s));
    const HomeWriter writer(home().toStdString());
    std::string error;
    EXPECT_FALSE(writer.write({".config", "sketch.conf"}, "x", &error));
    EXPECT_EQ(error, "~/.config: is a link or not a folder");
    EXPECT_TRUE(QDir(outside()).isEmpty());
}

TEST_F(HomeWriting, ALinkInTheFilesOwnPlaceIsReplacedNotFollowed) {
    const QString target = outside() + u"/target"_s;
    QFile file(target);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("theirs");
    file.close();
    ASSERT_TRUE(QFile::link(target, home() + u"/.sketchrc"_s));
    const HomeWriter writer(home().toStdString());
    std::string error;
    ASSERT_TRUE(writer.write({".sketchrc"}, "mine", &error)) << error;
    EXPECT_FALSE(QFileInfo(home() + u"/.sketchrc"_s).isSymLink());
    EXPECT_EQ(contents(home() + u"/.sketchrc"_s), "mine");
    EXPECT_EQ(contents(target), "theirs");
}

TEST_F(HomeWriting, AFolderInTheFilesPlaceIsLeftAlone) {
    ASSERT_TRUE(QDir().mkpath(home() + u"/.sketchrc/inside"_s));
    const HomeWriter writer(home().toStdString());
    std::string error;
    EXPECT_FALSE(writer.write({".sketchrc"}, "mine", &error));
    EXPECT_EQ(error, "~/.sketchrc: is a folder");
    EXPECT_TRUE(QFileInfo(home() + u"/.sketchrc/inside"_s).isDir());
    EXPECT_TRUE(leftovers(home()).isEmpty());
}
