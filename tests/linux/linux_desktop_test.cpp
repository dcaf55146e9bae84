#include "linux/linux_desktop.h"

#include "catalogues/sv_known_app.h"
#include "workflows/application_search.h"
#include "workflows/cleaning.h"

#include "fixed_domains.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "scoped_environment.h"

#include <QDeadlineTimer>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QThread>
#include <QUuid>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

using namespace Qt::StringLiterals;

namespace {

// The Linux desktop as the settings system every workflow asks, for one
// test; the known-applications catalogue is read afresh for it and after it.
class LinuxDesktopChosen {
public:
    LinuxDesktopChosen() {
        SVKnownApp::unloadKnownAppData();
        SettingsSystem::setCurrent(std::make_unique<LinuxDesktop>());
    }
    ~LinuxDesktopChosen() {
        // The next caller chooses again from SORVANE_SETTINGS.
        SettingsSystem::setCurrent(nullptr);
        SVKnownApp::unloadKnownAppData();
    }
    LinuxDesktopChosen(const LinuxDesktopChosen&) = delete;
    LinuxDesktopChosen& operator=(const LinuxDesktopChosen&) = delete;
};

QByteArray desktopEntry(const QByteArray& lines) {
    return "[Desktop Entry]\nType=Application\n" + lines;
}

// A home folder with its XDG folders at their defaults, a system root with
// /usr/share and the Flatpak exports as the data folders.
class LinuxDesktopTest : public testing::Test {
protected:
    LinuxDesktopTest() {
        environment.set("XDG_CONFIG_HOME", home(u".config"_s));
        environment.set("XDG_DATA_HOME", home(u".local/share"_s));
        environment.set("XDG_CACHE_HOME", home(u".cache"_s));
        environment.set("XDG_STATE_HOME", home(u".local/state"_s));
        environment.set("XDG_DATA_DIRS",
                        root(u"var/lib/flatpak/exports/share"_s) + u':' + root(u"usr/share"_s));
    }

    QString home(const QString& relative) const { return sandbox.homePath(relative); }
    QString root(const QString& relative) const { return sandbox.rootPath(relative); }
    QString systemEntry(const QString& id, const QByteArray& lines) const {
        return sandbox.makeFile(root(u"usr/share/applications/"_s + id), desktopEntry(lines));
    }
    QString userEntry(const QString& id, const QByteArray& lines) const {
        return sandbox.makeFile(home(u".local/share/applications/"_s + id), desktopEntry(lines));
    }
    QString flatpakEntry(const QString& id, const QByteArray& lines) const {
        return sandbox.makeFile(root(u"var/lib/flatpak/exports/share/applications/"_s + id),
                                desktopEntry(lines));
    }

    // Every file and folder below the sandbox.
    QStringList everything() const {
        QStringList paths;
        QDirIterator it(sandbox.path(),
                        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext())
            paths.append(it.next());
        paths.sort();
        return paths;
    }

    Sandbox sandbox;
    ScopedEnvironment environment;
};

struct UrlCase {
    const char* name;
    const char* file; // below the sandbox: "home/..." or "root/..."; empty: not written
    QByteArray contents;
    const char* url;        // "@" stands for the sandbox
    const char* identifier; // nullptr: not an application
    const char* appName;
};

void PrintTo(const UrlCase& c, std::ostream* out) {
    *out << c.name;
}

class LinuxDesktopApplicationAtUrl : public LinuxDesktopTest,
                                     public testing::WithParamInterface<UrlCase> {};

TEST_P(LinuxDesktopApplicationAtUrl, ReadsOnlyDesktopEntriesOfApplications) {
    const UrlCase& c = GetParam();
    if (*c.file)
        sandbox.makeFile(sandbox.path() + u'/' + QString::fromUtf8(c.file), c.contents);
    const QString url = QString::fromUtf8(c.url).replace(u'@', sandbox.path());
    const QUrl target = url.startsWith(u'/') ? QUrl::fromLocalFile(url) : QUrl(url);
    const std::optional<ApplicationTarget> application = LinuxDesktop().applicationAtUrl(target);
    if (!c.identifier) {
        EXPECT_FALSE(application) << application->identifier.toStdString();
        return;
    }
    ASSERT_TRUE(application);
    EXPECT_EQ(application->url, target);
    EXPECT_EQ(application->identifier, QString::fromUtf8(c.identifier));
    EXPECT_EQ(application->name, QString::fromUtf8(c.appName));
}

const QByteArray kKate = desktopEntry("Name=Kate\nExec=kate -b %U\n");

INSTANTIATE_TEST_SUITE_P(
    Urls, LinuxDesktopApplicationAtUrl,
    testing::Values(
        UrlCase{"installedEntry", "root/usr/share/applications/org.kde.kate.desktop", kKate,
                "@/root/usr/share/applications/org.kde.kate.desktop", "org.kde.kate", "Kate"},
        UrlCase{"entryInASubFolder", "root/usr/share/applications/kde4/okular.desktop",
                desktopEntry("Name=Okular\nExec=okular %U\n"),
                "@/root/usr/share/applications/kde4/okular.desktop", "kde4-okular", "Okular"},
        UrlCase{"looseEntryOnTheDesktop", "home/Desktop/kate.desktop", kKate,
                "@/home/Desktop/kate.desktop", "kate", "Kate"},
        UrlCase{"flatpakExport",
                "root/var/lib/flatpak/exports/share/applications/org.gimp.GIMP.desktop",
                desktopEntry("Name=GNU Image Manipulation Program\nX-Flatpak=org.gimp.GIMP\n"
                             "Exec=/usr/bin/flatpak run org.gimp.GIMP @@u %U @@\n"),
                "@/root/var/lib/flatpak/exports/share/applications/org.gimp.GIMP.desktop",
                "org.gimp.GIMP", "GNU Image Manipulation Program"},
        UrlCase{"entryWithAnotherSuffix", "home/kate.desktop.txt", kKate, "@/home/kate.desktop.txt",
                nullptr, nullptr},
        UrlCase{"brokenFile", "home/broken.desktop",
                "\x7f"
                "ELF\x02\x01\x01 not a key file",
                "@/home/broken.desktop", nullptr, nullptr},
        UrlCase{"linkEntry", "home/site.desktop",
                "[Desktop Entry]\nType=Link\nName=Site\nURL=https://example.org\n",
                "@/home/site.desktop", nullptr, nullptr},
        UrlCase{"missingFile", "", {}, "@/home/missing.desktop", nullptr, nullptr},
        UrlCase{"remoteUrl", "", {}, "https://example.org/apps/kate.desktop", nullptr, nullptr}),
    [](const testing::TestParamInfo<UrlCase>& param) { return std::string(param.param.name); });

struct ArgumentCase {
    const char* name;
    const char* argument;    // "@" stands for the sandbox
    QStringList identifiers; // sorted; empty: nothing fits
    const char* problem;     // with "@" for the sandbox
};

void PrintTo(const ArgumentCase& c, std::ostream* out) {
    *out << c.name;
}

class LinuxDesktopArguments : public LinuxDesktopTest,
                              public testing::WithParamInterface<ArgumentCase> {
protected:
    void SetUp() override {
        systemEntry(u"org.kde.kate.desktop"_s, "Name=Kate\nExec=kate -b %U\n");
        // gedit 3.38 and GNOME Text Editor share the Name their packages give.
        systemEntry(u"org.gnome.TextEditor.desktop"_s,
                    "Name=Text Editor\nExec=gnome-text-editor %U\n");
        systemEntry(u"org.gnome.gedit.desktop"_s, "Name=Text Editor\nExec=gedit %U\n");
        systemEntry(u"code-url-handler.desktop"_s,
                    "Name=Visual Studio Code - URL Handler\nExec=/usr/share/code/code "
                    "--open-url %U\nNoDisplay=true\n");
        // The user hid Files from the menus by overriding its entry.
        systemEntry(u"org.gnome.Nautilus.desktop"_s, "Name=Files\nExec=nautilus --new-window %U\n");
        userEntry(u"org.gnome.Nautilus.desktop"_s, "Name=Files\nHidden=true\n");
        flatpakEntry(u"org.gimp.GIMP.desktop"_s,
                     "Name=GNU Image Manipulation Program\nX-Flatpak=org.gimp.GIMP\n"
                     "Exec=/usr/bin/flatpak run org.gimp.GIMP @@u %U @@\n");
        sandbox.makeFile(root(u"usr/share/applications/mimeinfo.cache"_s), "[MIME Cache]\n");
    }
};

TEST_P(LinuxDesktopArguments, NameOneApplicationSeveralOrNone) {
    const ArgumentCase& c = GetParam();
    const QString argument = QString::fromUtf8(c.argument).replace(u'@', sandbox.path());
    QString problem = u"untouched"_s;
    const QList<ApplicationTarget> targets =
        LinuxDesktop().applicationsForArgument(argument, &problem);
    QStringList identifiers;
    for (const ApplicationTarget& target : targets) {
        identifiers.append(target.identifier);
        EXPECT_TRUE(target.url.isLocalFile());
        EXPECT_TRUE(QFile::exists(target.url.toLocalFile()));
        EXPECT_EQ(LinuxDesktop().applicationAtUrl(target.url)->identifier, target.identifier);
    }
    identifiers.sort();
    EXPECT_EQ(identifiers, c.identifiers);
    if (c.identifiers.isEmpty())
        EXPECT_EQ(problem, QString::fromUtf8(c.problem).replace(u'@', sandbox.path()));
    else
        EXPECT_EQ(problem, u"untouched"_s);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, LinuxDesktopArguments,
    testing::Values(
        ArgumentCase{
            "path", "@/root/usr/share/applications/org.kde.kate.desktop", {u"org.kde.kate"_s}, ""},
        ArgumentCase{"pathWithDotDot",
                     "@/root/usr/share/applications/../applications/./org.kde.kate.desktop",
                     {u"org.kde.kate"_s},
                     ""},
        ArgumentCase{"id", "org.kde.kate", {u"org.kde.kate"_s}, ""},
        ArgumentCase{"idWithSuffix", "org.kde.kate.desktop", {u"org.kde.kate"_s}, ""},
        ArgumentCase{"flatpakId", "org.gimp.GIMP", {u"org.gimp.GIMP"_s}, ""},
        ArgumentCase{"nameIgnoringCase", "KATE", {u"org.kde.kate"_s}, ""},
        ArgumentCase{"nameWithBlanks", "GNU Image Manipulation Program", {u"org.gimp.GIMP"_s}, ""},
        ArgumentCase{
            "ambiguousName", "Text Editor", {u"org.gnome.TextEditor"_s, u"org.gnome.gedit"_s}, ""},
        ArgumentCase{"noDisplayById", "code-url-handler", {u"code-url-handler"_s}, ""},
        ArgumentCase{
            "noDisplayByName", "Visual Studio Code - URL Handler", {u"code-url-handler"_s}, ""},
        ArgumentCase{"hiddenById", "org.gnome.Nautilus", {u"org.gnome.Nautilus"_s}, ""},
        ArgumentCase{"hiddenByName",
                     "Files",
                     {},
                     "Files is neither a desktop entry, a desktop-file ID nor an installed "
                     "application's name"},
        ArgumentCase{"unknownName",
                     "Gnome Text Editor",
                     {},
                     "Gnome Text Editor is neither a desktop entry, a desktop-file ID nor an "
                     "installed application's name"},
        ArgumentCase{"idWithWrongCase",
                     "org.kde.Kate.desktop",
                     {},
                     "org.kde.Kate.desktop is neither a desktop entry, a desktop-file ID nor an "
                     "installed application's name"},
        ArgumentCase{"missingPath",
                     "@/root/usr/share/applications/kate.desktop",
                     {},
                     "@/root/usr/share/applications/kate.desktop: no such file or folder"},
        ArgumentCase{"fileThatIsNoEntry",
                     "@/root/usr/share/applications/mimeinfo.cache",
                     {},
                     "@/root/usr/share/applications/mimeinfo.cache is not a desktop entry of an "
                     "application"},
        ArgumentCase{"folder",
                     "@/root/usr/share/applications",
                     {},
                     "@/root/usr/share/applications is not a desktop entry of an application"}),
    [](const testing::TestParamInfo<ArgumentCase>& param) {
        return std::string(param.param.name);
    });

TEST_F(LinuxDesktopTest, InstalledApplicationsListEachIdOnceWithHiddenFlags) {
    const QString kate = systemEntry(u"org.kde.kate.desktop"_s, "Name=Kate\nIcon=kate\n");
    const QString handler = systemEntry(u"code-url-handler.desktop"_s,
                                        "Name=Visual Studio Code - URL Handler\nNoDisplay=true\n");
    systemEntry(u"org.gnome.Nautilus.desktop"_s, "Name=Files\nIcon=org.gnome.Nautilus\n");
    const QString hidden = userEntry(u"org.gnome.Nautilus.desktop"_s, "Name=Files\nHidden=true\n");
    const QString gimp = flatpakEntry(
        u"org.gimp.GIMP.desktop"_s,
        "Name=GNU Image Manipulation Program\nIcon=org.gimp.GIMP\nX-Flatpak=org.gimp.GIMP\n");
    sandbox.makeFile(root(u"usr/share/applications/xdg-open.desktop"_s),
                     "[Desktop Entry]\nType=Link\nName=Web\nURL=https://example.org\n");

    std::map<QString, ApplicationEntry> byIdentifier;
    const QList<ApplicationEntry> entries = LinuxDesktop().installedApplications();
    for (const ApplicationEntry& entry : entries)
        byIdentifier[entry.identifier] = entry;
    ASSERT_EQ(entries.size(), 4);
    ASSERT_EQ(byIdentifier.size(), 4u);

    const auto expect = [&](const QString& id, const QString& path, const QString& name,
                            const QString& icon, bool isHidden) {
        SCOPED_TRACE(id.toStdString());
        ASSERT_TRUE(byIdentifier.count(id));
        const ApplicationEntry& entry = byIdentifier.at(id);
        EXPECT_EQ(entry.url, QUrl::fromLocalFile(path));
        EXPECT_EQ(entry.name, name);
        EXPECT_EQ(entry.iconName, icon);
        EXPECT_EQ(entry.hidden, isHidden);
    };
    expect(u"org.kde.kate"_s, kate, u"Kate"_s, u"kate"_s, false);
    expect(u"code-url-handler"_s, handler, u"Visual Studio Code - URL Handler"_s, QString(), true);
    expect(u"org.gnome.Nautilus"_s, hidden, u"Files"_s, QString(), true);
    expect(u"org.gimp.GIMP"_s, gimp, u"GNU Image Manipulation Program"_s, u"org.gimp.GIMP"_s,
           false);
}

// Kate as firejail's kate profile and its external-tools plug-in lay it out,
// beside KTextEditor's files (KWrite and KDevelop read them too).
struct KateWorld {
    QString entry;
    QStringList own;
    QStringList neighbours;
};

class LinuxDesktopCleaning : public LinuxDesktopTest {
protected:
    Cleaning cleaning(RunningApplicationQuery& query) {
        return Cleaning({helper, defaults, domains, query, alerts});
    }

    KateWorld makeKate() const {
        KateWorld world;
        world.entry = systemEntry(u"org.kde.kate.desktop"_s, "Name=Kate\nExec=kate -b %U\n");
        for (const char* file : {".config/katerc", ".config/kate-externaltoolspluginrc",
                                 ".config/kate/externaltools/git-blame.ini",
                                 ".local/share/kate/sessions/work.katesession"})
            world.own.append(sandbox.makeFile(home(QString::fromUtf8(file)), "x"));
        for (const char* file :
             {".config/katepartrc", ".config/katevirc", ".config/kwriterc",
              ".local/share/kxmlgui5/kwrite/kwriteui.rc", ".config/mimeapps.list"})
            world.neighbours.append(sandbox.makeFile(home(QString::fromUtf8(file)), "x"));
        return world;
    }

    LinuxDesktopChosen chosen;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications notRunning;
    RecordingAlerts alerts;
};

TEST_F(LinuxDesktopCleaning, DeletesExactlyWhatTheSearchFound) {
    const KateWorld kate = makeKate();
    const QUrl url = QUrl::fromLocalFile(kate.entry);
    const QStringList before = everything();

    ApplicationSearchResults results;
    ASSERT_EQ(ApplicationSearch(domains).doSearchesForApp(url, results),
              ApplicationSearch::Outcome::Found);
    EXPECT_EQ(results.appBundleIdentifier, u"org.kde.kate"_s);
    const QList<QUrl> found = results.appAdditionalPreferenceFiles + results.appCacheFiles;
    for (const QString& file : kate.own) {
        bool covered = false;
        for (const QUrl& item : found)
            covered =
                covered || file == item.toLocalFile() || file.startsWith(item.toLocalFile() + u'/');
        EXPECT_TRUE(covered) << file.toStdString() << " was not found";
    }

    const std::optional<DeletionCounter> counter =
        cleaning(notRunning).cleanAppPreferences(url, results);
    ASSERT_TRUE(counter);
    EXPECT_EQ(*counter, (DeletionCounter{quint32(found.size()), 0}));
    EXPECT_EQ(notRunning.asked, 1);
    EXPECT_TRUE(alerts.shown.isEmpty());
    EXPECT_TRUE(helper.calls.isEmpty());
    EXPECT_TRUE(defaults.deleted.isEmpty());

    QStringList expected;
    for (const QString& path : before) {
        bool deleted = false;
        for (const QUrl& item : found)
            deleted =
                deleted || path == item.toLocalFile() || path.startsWith(item.toLocalFile() + u'/');
        if (!deleted)
            expected.append(path);
    }
    EXPECT_EQ(everything(), expected);
    for (const QString& file : kate.neighbours)
        EXPECT_TRUE(QFile::exists(file)) << file.toStdString();
    EXPECT_TRUE(QFile::exists(kate.entry));
}

// Waits for the running-application query to give the wanted answer.
bool waitForRunning(RunningApplicationQuery& query, const QString& identifier, bool wanted) {
    const QDeadlineTimer deadline(3000);
    while (!deadline.hasExpired()) {
        if (query.isRunning(identifier) == wanted)
            return true;
        QThread::msleep(20);
    }
    return false;
}

struct RunningCase {
    const char* name;
    const char* entry;      // below the home folder
    const char* identifier; // what the cleaning asks the query about
};

void PrintTo(const RunningCase& c, std::ostream* out) {
    *out << c.name;
}

class LinuxDesktopRunning : public LinuxDesktopCleaning,
                            public testing::WithParamInterface<RunningCase> {};

TEST_P(LinuxDesktopRunning, CleaningRefusedWhileTheEntrysProgramRuns) {
    const RunningCase& c = GetParam();
    // A program no other process on the machine carries: sleep under a name
    // of its own, started the way the entry starts it.
    const QString program =
        u"sorvane-sleeper-"_s + QUuid::createUuid().toString(QUuid::Id128).left(12);
    const QString binary = root(u"opt/sleeper/bin/"_s + program);
    sandbox.makeFolder(root(u"opt/sleeper/bin"_s));
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, binary));
    const QString entry = sandbox.makeFile(
        home(QString::fromUtf8(c.entry)),
        desktopEntry("Name=Sleeper\nExec=" + QFile::encodeName(binary) + " 600\n"));
    const QStringList files = {
        sandbox.makeFile(home(u".config/Sleeper/settings.ini"_s), "volume=3\n"),
        sandbox.makeFile(home(u".cache/"_s + program + u"/state"_s), "x")};
    const QUrl url = QUrl::fromLocalFile(entry);
    const QString identifier = QString::fromUtf8(c.identifier);

    ApplicationSearchResults results;
    ASSERT_EQ(ApplicationSearch(domains).doSearchesForApp(url, results),
              ApplicationSearch::Outcome::Found);
    ASSERT_EQ(results.appBundleIdentifier, identifier);
    ASSERT_EQ(results.appAdditionalPreferenceFiles,
              QList<QUrl>{QUrl::fromLocalFile(home(u".config/Sleeper"_s))});
    ASSERT_EQ(results.appCacheFiles,
              QList<QUrl>{QUrl::fromLocalFile(home(u".cache/"_s + program))});

    // The system that found the application answers whether it runs.
    RunningApplicationQuery& running = SettingsSystem::current().running();
    ASSERT_FALSE(running.isRunning(identifier));
    QProcess sleeper;
    sleeper.start(binary, {u"600"_s});
    ASSERT_TRUE(sleeper.waitForStarted(5000)) << sleeper.errorString().toStdString();
    const auto stop = qScopeGuard([&sleeper] {
        sleeper.kill();
        sleeper.waitForFinished(5000);
    });
    if (!waitForRunning(running, identifier, true))
        FAIL() << program.toStdString() << " runs, the query does not see it";

    EXPECT_FALSE(cleaning(running).cleanAppPreferences(url, results));
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown.first().first, u"Application Running"_s);
    EXPECT_EQ(alerts.shown.first().second,
              u"Please quit Sleeper before deleting its preferences. While the application is "
              u"running, its preferences are stored in memory and deleting them will not have the "
              u"desired effect."_s);
    for (const QString& file : files)
        EXPECT_TRUE(QFile::exists(file)) << file.toStdString();
    EXPECT_TRUE(helper.calls.isEmpty());

    // Once it has quit, the same cleaning goes through without a word.
    sleeper.kill();
    ASSERT_TRUE(sleeper.waitForFinished(5000));
    ASSERT_TRUE(waitForRunning(running, identifier, false));
    EXPECT_EQ(cleaning(running).cleanAppPreferences(url, results), (DeletionCounter{2, 0}));
    EXPECT_EQ(alerts.shown.size(), 1);
    for (const QString& file : files)
        EXPECT_FALSE(QFile::exists(file)) << file.toStdString();
    EXPECT_TRUE(QFile::exists(binary));
}

INSTANTIATE_TEST_SUITE_P(
    Entries, LinuxDesktopRunning,
    testing::Values(
        RunningCase{"installedEntry", ".local/share/applications/org.example.Sleeper.desktop",
                    "org.example.Sleeper"},
        // A .desktop file dropped or named from outside the data folders.
        RunningCase{"looseEntry", "Desktop/org.example.Sleeper.desktop", "org.example.Sleeper"}),
    [](const testing::TestParamInfo<RunningCase>& param) { return std::string(param.param.name); });

} // namespace
