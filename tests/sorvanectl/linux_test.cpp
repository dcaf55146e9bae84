// sorvanectl on the Linux desktop, end to end: the real program in a sandbox
// whose HOME, XDG folders and data folders are the test's.

#include "ctl_world.h"
#include "scoped_environment.h"

#include <QFile>
#include <QJsonArray>

#include <map>
#include <optional>
#include <string>

using namespace Qt::StringLiterals;

namespace {

QByteArray desktopEntry(const QByteArray& lines) {
    return "[Desktop Entry]\nType=Application\n" + lines;
}

// Kate as its package installs it and as it writes its files (firejail's
// kate profile; the external-tools plug-in's own rc file), KTextEditor's and
// KWrite's files beside them; GNOME Text Editor from Flathub and gedit 3.38,
// whose packages give both the Name "Text Editor".
class LinuxCtl : public testing::Test {
protected:
    LinuxCtl() {
        environment.set("SORVANE_SETTINGS", u"linux"_s);
        environment.set("XDG_CONFIG_HOME", world.homePath(u".config"_s));
        environment.set("XDG_DATA_HOME", world.homePath(u".local/share"_s));
        environment.set("XDG_CACHE_HOME", world.homePath(u".cache"_s));
        environment.set("XDG_STATE_HOME", world.homePath(u".local/state"_s));
        environment.set("XDG_DATA_DIRS", world.rootPath(u"var/lib/flatpak/exports/share"_s) + u':' +
                                             world.rootPath(u"usr/share"_s));
        // The Linux desktop's catalogues, with nothing in them.
        world.makeFile(world.resources() + u"/linux/AppData.xml"_s, "<applist>\n</applist>\n");
        world.makeFile(world.resources() + u"/linux/SystemData.xml"_s,
                       "<systemdata>\n</systemdata>\n");
        world.makeFile(world.resources() + u"/linux/PackagerData.xml"_s,
                       "<packagerdata>\n</packagerdata>\n");

        kateEntry = world.makeFile(world.rootPath(u"usr/share/applications/org.kde.kate.desktop"_s),
                                   desktopEntry("Name=Kate\nExec=kate -b %U\nIcon=kate\n"));
        for (const QString& file : kateFiles)
            world.makeFile(world.homePath(file), file.toUtf8() + " settings\n");
        for (const QString& file : neighbours)
            world.makeFile(world.homePath(file));

        textEditorEntry = world.makeFile(
            world.rootPath(
                u"var/lib/flatpak/exports/share/applications/org.gnome.TextEditor.desktop"_s),
            desktopEntry("Name=Text Editor\nExec=/usr/bin/flatpak run --branch=stable "
                         "--arch=x86_64 --command=gnome-text-editor --file-forwarding "
                         "org.gnome.TextEditor @@u %U @@\nX-Flatpak=org.gnome.TextEditor\n"));
        world.makeFile(
            world.homePath(u".var/app/org.gnome.TextEditor/config/glib-2.0/settings/keyfile"_s));
        geditEntry =
            world.makeFile(world.rootPath(u"usr/share/applications/org.gnome.gedit.desktop"_s),
                           desktopEntry("Name=Text Editor\nExec=gedit %U\n"));
    }

    // Kate's items as the search explains them: path below the home folder to
    // "kind detail".
    static std::map<QString, QString> kateItems() {
        return {{u".config/kate"_s, u"name kate"_s},
                {u".config/kate-externaltoolspluginrc"_s, u"rcFile kate"_s},
                {u".config/katerc"_s, u"rcFile kate"_s},
                {u".local/share/kate"_s, u"name kate"_s}};
    }

    std::map<QString, QString> itemsOf(const QJsonArray& array) const {
        std::map<QString, QString> items;
        for (const QJsonValue& item : array) {
            const QJsonObject reason = item[u"reason"_s].toObject();
            QString path = item[u"path"_s].toString();
            if (path.startsWith(world.home() + u'/'))
                path = path.mid(world.home().size() + 1);
            items[path] = reason[u"kind"_s].toString() + u' ' + reason[u"detail"_s].toString() +
                          (reason[u"container"_s].toBool() ? u" container"_s : QString());
        }
        return items;
    }

    CtlWorld world;
    ScopedEnvironment environment;
    QString kateEntry;
    QString textEditorEntry;
    QString geditEntry;
    const QStringList kateFiles = {u".config/katerc"_s, u".config/kate-externaltoolspluginrc"_s,
                                   u".config/kate/externaltools/git-blame.ini"_s,
                                   u".local/share/kate/sessions/work.katesession"_s};
    const QStringList neighbours = {u".config/katepartrc"_s, u".config/katevirc"_s,
                                    u".config/kwriterc"_s, u".config/mimeapps.list"_s};
};

struct ArgumentCase {
    const char* name;
    const char* argument; // "@" stands for Kate's desktop entry
};

void PrintTo(const ArgumentCase& c, std::ostream* out) {
    *out << c.name;
}

class LinuxCtlSearch : public LinuxCtl, public testing::WithParamInterface<ArgumentCase> {};

TEST_P(LinuxCtlSearch, FindsKatesFilesWithTheirReasons) {
    const QString argument = QString::fromUtf8(GetParam().argument).replace(u'@', kateEntry);
    const CtlRun run = world.runJson({u"search"_s, argument});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    const QJsonObject application = run.json[u"application"_s].toObject();
    EXPECT_EQ(application[u"identifier"_s].toString(), u"org.kde.kate"_s);
    EXPECT_EQ(application[u"name"_s].toString(), u"Kate"_s);
    EXPECT_EQ(application[u"path"_s].toString(), kateEntry);
    EXPECT_TRUE(run.json[u"domains"_s].toArray().isEmpty());
    EXPECT_EQ(itemsOf(run.json[u"preferenceFiles"_s].toArray()), kateItems());
    EXPECT_TRUE(run.json[u"caches"_s].toArray().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(LinuxArguments, LinuxCtlSearch,
                         testing::Values(ArgumentCase{"id", "org.kde.kate"},
                                         ArgumentCase{"idWithSuffix", "org.kde.kate.desktop"},
                                         ArgumentCase{"path", "@"}, ArgumentCase{"name", "kate"}),
                         [](const testing::TestParamInfo<ArgumentCase>& param) {
                             return std::string(param.param.name);
                         });

TEST_F(LinuxCtl, SearchTextSaysWhyEachItemMatched) {
    const CtlRun kate = world.run({u"search"_s, u"Kate"_s});
    ASSERT_EQ(kate.status, 0) << qPrintable(kate.err);
    const QStringList lines = kate.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_EQ(lines.first(), u"org.kde.kate.desktop: org.kde.kate"_s);
    EXPECT_TRUE(lines.contains(u"Defaults domains (0):"_s)) << qPrintable(kate.out);
    EXPECT_TRUE(lines.contains(u"Preference files (4):"_s)) << qPrintable(kate.out);
    EXPECT_TRUE(lines.contains(u"Caches (0):"_s)) << qPrintable(kate.out);
    EXPECT_TRUE(lines.contains(
        u"  %1  (KDE configuration file of \"kate\")"_s.arg(world.homePath(u".config/katerc"_s))))
        << qPrintable(kate.out);
    EXPECT_TRUE(lines.contains(
        u"  %1  (application name \"kate\")"_s.arg(world.homePath(u".local/share/kate"_s))))
        << qPrintable(kate.out);
    for (const QString& neighbour : neighbours)
        EXPECT_FALSE(kate.out.contains(world.homePath(neighbour))) << qPrintable(neighbour);

    const CtlRun editor = world.run({u"search"_s, u"org.gnome.TextEditor"_s});
    ASSERT_EQ(editor.status, 0) << qPrintable(editor.err);
    EXPECT_TRUE(editor.out.startsWith(u"org.gnome.TextEditor.desktop: org.gnome.TextEditor\n"_s))
        << qPrintable(editor.out);
    EXPECT_TRUE(editor.out.contains(
        u"  %1  (application ID \"org.gnome.TextEditor\", in the application's container)\n"_s.arg(
            world.homePath(u".var/app/org.gnome.TextEditor/config"_s))))
        << qPrintable(editor.out);

    const CtlRun json = world.runJson({u"search"_s, u"org.gnome.TextEditor"_s});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    EXPECT_EQ(itemsOf(json.json[u"preferenceFiles"_s].toArray()),
              (std::map<QString, QString>{{u".var/app/org.gnome.TextEditor/config"_s,
                                           u"applicationId org.gnome.TextEditor container"_s}}));
}

struct RefusalCase {
    const char* name;
    QStringList arguments; // "@" stands for the sandbox's system root, "~" for its home
    const char* complaint; // the one line on standard error, the same placeholders
};

void PrintTo(const RefusalCase& c, std::ostream* out) {
    *out << c.name;
}

class LinuxCtlRefusal : public LinuxCtl, public testing::WithParamInterface<RefusalCase> {
protected:
    QString filled(QString text) const {
        return text.replace(u'@', world.root()).replace(u'~', world.home());
    }
};

TEST_P(LinuxCtlRefusal, OneLineAndStatusTwo) {
    world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
    const auto before = world.snapshot();
    QStringList arguments;
    for (const QString& argument : GetParam().arguments)
        arguments.append(filled(argument));
    const CtlRun run = world.run(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.out.isEmpty()) << qPrintable(run.out);
    EXPECT_EQ(run.errLines(), QStringList{filled(QString::fromUtf8(GetParam().complaint))});
    EXPECT_EQ(world.snapshot(), before);

    const CtlRun json = world.runJson(arguments);
    EXPECT_EQ(json.status, 2);
    EXPECT_EQ(u"sorvanectl: "_s + json.json[u"error"_s].toString(),
              filled(QString::fromUtf8(GetParam().complaint)));
}

INSTANTIATE_TEST_SUITE_P(
    LinuxArguments, LinuxCtlRefusal,
    testing::Values(
        RefusalCase{"ambiguousName",
                    {u"search"_s, u"Text Editor"_s},
                    "sorvanectl: search: \"Text Editor\" names several applications: "
                    "org.gnome.TextEditor "
                    "(@/var/lib/flatpak/exports/share/applications/org.gnome.TextEditor.desktop), "
                    "org.gnome.gedit (@/usr/share/applications/org.gnome.gedit.desktop); give one "
                    "of their IDs"},
        RefusalCase{"ambiguousNameToClean",
                    {u"clean"_s, u"text editor"_s},
                    "sorvanectl: clean: \"text editor\" names several applications: "
                    "org.gnome.TextEditor "
                    "(@/var/lib/flatpak/exports/share/applications/org.gnome.TextEditor.desktop), "
                    "org.gnome.gedit (@/usr/share/applications/org.gnome.gedit.desktop); give one "
                    "of their IDs"},
        RefusalCase{"unknownName",
                    {u"search"_s, u"KWrite"_s},
                    "sorvanectl: search: KWrite is neither a desktop entry, a desktop-file ID nor "
                    "an installed application's name"},
        RefusalCase{"unknownNameToClean",
                    {u"clean"_s, u"KWrite"_s},
                    "sorvanectl: clean: KWrite is neither a desktop entry, a desktop-file ID nor "
                    "an installed application's name"},
        RefusalCase{"missingEntry",
                    {u"search"_s, u"@/usr/share/applications/org.kde.kwrite.desktop"_s},
                    "sorvanectl: search: @/usr/share/applications/org.kde.kwrite.desktop: no such "
                    "file or folder"},
        RefusalCase{"bundleOnTheLinuxDesktop",
                    {u"search"_s, u"~/Applications/Tool.app"_s},
                    "sorvanectl: search: ~/Applications/Tool.app is not a desktop entry of an "
                    "application"}),
    [](const testing::TestParamInfo<RefusalCase>& param) { return std::string(param.param.name); });

TEST_F(LinuxCtl, CleanDryRunListsAndDeletesNothing) {
    const auto before = world.snapshot();
    const CtlRun text = world.run({u"clean"_s, u"--dry-run"_s, u"org.kde.kate"_s});
    ASSERT_EQ(text.status, 0) << qPrintable(text.err);
    EXPECT_TRUE(text.out.startsWith(
        u"org.kde.kate.desktop: org.kde.kate (dry run: nothing is deleted)\n"_s))
        << qPrintable(text.out);
    EXPECT_TRUE(text.out.contains(u"Would delete 4 items.\n"_s)) << qPrintable(text.out);

    const CtlRun json = world.runJson({u"clean"_s, u"--dry-run"_s, kateEntry});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    EXPECT_TRUE(json.json[u"dryRun"_s].toBool());
    EXPECT_FALSE(json.json[u"running"_s].toBool());
    EXPECT_EQ(itemsOf(json.json[u"preferenceFiles"_s].toArray()), kateItems());
    EXPECT_EQ(world.snapshot(), before);
}

TEST_F(LinuxCtl, CleanDeletesKatesFilesAndLeavesTheNeighbours) {
    const CtlRun run = world.runJson({u"clean"_s, u"Kate"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    const QJsonArray preferences = run.json[u"preferenceFiles"_s].toArray();
    EXPECT_EQ(itemsOf(preferences), kateItems());
    for (const QJsonValue& item : preferences)
        EXPECT_TRUE(item[u"deleted"_s].toBool()) << qPrintable(item[u"path"_s].toString());
    EXPECT_EQ(run.json[u"summary"_s].toString(), u"4 items were deleted. There were 0 errors."_s);
    for (const QString& file : kateFiles)
        EXPECT_FALSE(QFile::exists(world.homePath(file))) << qPrintable(file);
    for (const QString& file : neighbours)
        EXPECT_TRUE(QFile::exists(world.homePath(file))) << qPrintable(file);
    EXPECT_TRUE(QFile::exists(kateEntry));
    EXPECT_TRUE(QFile::exists(world.homePath(u".config"_s)));

    // Nothing is left to find.
    const CtlRun again = world.runJson({u"search"_s, u"Kate"_s});
    ASSERT_EQ(again.status, 0) << qPrintable(again.err);
    EXPECT_TRUE(again.json[u"preferenceFiles"_s].toArray().isEmpty());
}

TEST_F(LinuxCtl, CleanWithABackupWritesAPackageThatUndoesIt) {
    const QString backup = world.homePath(u"kate.Kolvane2"_s);
    const CtlRun clean = world.runJson({u"clean"_s, u"--backup"_s, backup, u"org.kde.kate"_s});
    ASSERT_EQ(clean.status, 0) << qPrintable(clean.err);
    ASSERT_TRUE(QFile::exists(backup));
    EXPECT_GT(QFile(backup).size(), 0);
    const QJsonObject written = clean.json[u"backup"_s].toObject();
    EXPECT_TRUE(written[u"written"_s].toBool());
    QStringList files;
    for (const QJsonValue& file : written[u"files"_s].toArray())
        files.append(file.toString());
    files.sort();
    QStringList expected;
    for (const QString& file : kateFiles)
        expected.append(u"~/"_s + file);
    expected.sort();
    EXPECT_EQ(files, expected);
    for (const QString& file : kateFiles)
        EXPECT_FALSE(QFile::exists(world.homePath(file))) << qPrintable(file);

    const CtlRun deploy = world.runJson({u"package"_s, u"deploy"_s, backup});
    ASSERT_EQ(deploy.status, 0) << qPrintable(deploy.err);
    for (const QString& file : kateFiles)
        EXPECT_EQ(CtlWorld::contents(world.homePath(file)), file.toUtf8() + " settings\n")
            << qPrintable(file);
}

TEST_F(LinuxCtl, MacosHomeOptionStillChoosesTheMacosHomeFolder) {
    environment.unset("SORVANE_SETTINGS");
    const QString app = world.makeApp(u"Tool.app"_s, u"com.example.tool"_s);
    world.makeFile(world.homePath(u"Library/Caches/com.example.tool/Cache.db"_s));

    const CtlRun mac = world.runJson({u"--macos-home"_s, world.home(), u"search"_s, app});
    ASSERT_EQ(mac.status, 0) << qPrintable(mac.err);
    EXPECT_EQ(mac.json[u"application"_s][u"identifier"_s].toString(), u"com.example.tool"_s);
    QStringList caches;
    for (const QJsonValue& item : mac.json[u"caches"_s].toArray())
        caches.append(item[u"path"_s].toString());
    EXPECT_EQ(caches, QStringList{world.homePath(u"Library/Caches/com.example.tool"_s)});

    // Without the option the same program works on the Linux desktop.
    const CtlRun onLinux = world.run({u"search"_s, app});
    EXPECT_EQ(onLinux.status, 2);
    EXPECT_EQ(
        onLinux.errLines(),
        QStringList{u"sorvanectl: search: %1 is not a desktop entry of an application"_s.arg(app)});
    const CtlRun kate = world.runJson({u"search"_s, u"org.kde.kate"_s});
    ASSERT_EQ(kate.status, 0) << qPrintable(kate.err);
    EXPECT_EQ(itemsOf(kate.json[u"preferenceFiles"_s].toArray()), kateItems());
}

} // namespace

namespace {

// The user's check on the Linux desktop: every settings file of
// $XDG_CONFIG_HOME by its format, damaged ones listed, --delete removing them.
TEST_F(LinuxCtl, CheckFindsAndDeletesTheUsersDamagedSettings) {
    const QString cut = world.makeFile(world.homePath(u".config/plasmarc"_s), "[Theme\nname=");
    const QString nul =
        world.makeFile(world.homePath(u".config/Code/User/settings.json"_s), QByteArray(32, '\0'));
    world.makeFile(world.homePath(u".config/empty.ini"_s), {});
    world.makeFile(world.homePath(u".config/mimeapps.list"_s),
                   "[Default Applications]\ntext/plain=org.kde.kate.desktop\n");

    const CtlRun run = world.runJson({u"check"_s, u"--user"_s});
    ASSERT_EQ(run.status, 1) << qPrintable(run.err);
    QStringList paths;
    for (const QJsonValue& failure : run.json[u"failures"_s].toArray())
        paths.append(failure[u"path"_s].toString());
    paths.sort();
    EXPECT_EQ(paths, (QStringList{nul, cut}))
        << "an empty file is never listed: " << qPrintable(paths.join(u", "_s));

    const CtlRun deleted = world.runJson({u"check"_s, u"--user"_s, u"--delete"_s});
    EXPECT_EQ(deleted.status, 1) << "damaged files were found, and then deleted";
    EXPECT_FALSE(QFile::exists(cut));
    EXPECT_FALSE(QFile::exists(nul));
    EXPECT_TRUE(QFile::exists(world.homePath(u".config/katerc"_s)));
    EXPECT_EQ(world.runJson({u"check"_s, u"--user"_s}).status, 0);
}

} // namespace
