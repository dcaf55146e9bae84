#include "linux/desktop_entries.h"
#include "linux/desktop_entry.h"

#include "qt_printers.h"
#include "sandbox.h"
#include "scoped_environment.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

QByteArray application(const QByteArray& name, const QByteArray& extraLines = {}) {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\n" + extraLines;
}

QStringList idsOf(const QList<DesktopEntry>& entries) {
    QStringList ids;
    for (const DesktopEntry& entry : entries)
        ids.append(entry.desktopFileId());
    ids.sort();
    return ids;
}

// Three data folders of a sandbox: XDG_DATA_HOME and the two of XDG_DATA_DIRS.
class DesktopEntriesTest : public testing::Test {
protected:
    DesktopEntriesTest()
        : dataHome(sandbox.path() + u"/data-home"_s)
        , localShare(sandbox.path() + u"/local-share"_s)
        , usrShare(sandbox.path() + u"/usr-share"_s) {
        environment.set("XDG_DATA_HOME", dataHome);
        environment.set("XDG_DATA_DIRS", localShare + u':' + usrShare);
    }

    QString writeEntry(const QString& dataFolder, const QString& relative,
                       const QByteArray& content) const {
        return sandbox.makeFile(dataFolder + u"/applications/"_s + relative, content);
    }

    Sandbox sandbox;
    ScopedEnvironment environment;
    const QString dataHome;
    const QString localShare;
    const QString usrShare;
};

TEST_F(DesktopEntriesTest, IdsOfEntriesInSubFoldersJoinTheFoldersWithDashes) {
    writeEntry(usrShare, u"kde4/okular.desktop"_s, application("Okular", "Exec=okular %U\n"));
    writeEntry(usrShare, u"a/b/c.desktop"_s, application("Deep"));
    writeEntry(usrShare, u"org.gnome.TextEditor.desktop"_s, application("Text Editor"));
    writeEntry(usrShare, u"mimeinfo.cache"_s, "[MIME Cache]\n");
    writeEntry(usrShare, u"notes.txt"_s, application("Not an entry file"));
    EXPECT_EQ(idsOf(DesktopEntries::all()),
              (QStringList{u"a-b-c.desktop"_s, u"kde4-okular.desktop"_s,
                           u"org.gnome.TextEditor.desktop"_s}));
    const auto okular = DesktopEntries::withIdentifier(u"kde4-okular"_s);
    ASSERT_TRUE(okular);
    EXPECT_EQ(okular->identifier(), u"kde4-okular"_s);
    EXPECT_EQ(okular->execProgram(), u"okular"_s);
    EXPECT_EQ(okular->path(), usrShare + u"/applications/kde4/okular.desktop"_s);
}

TEST(DesktopFileIds, RelativePathsBecomeIds) {
    EXPECT_EQ(DesktopEntries::desktopFileIdForRelativePath(u"kde4/okular.desktop"_s),
              u"kde4-okular.desktop"_s);
    EXPECT_EQ(DesktopEntries::desktopFileIdForRelativePath(u"a//b/./c.desktop"_s),
              u"a-b-c.desktop"_s);
    EXPECT_EQ(DesktopEntries::desktopFileIdForRelativePath(u"gimp.desktop"_s), u"gimp.desktop"_s);
}

// Which of two files with one desktop-file ID counts.
struct PrecedenceCase {
    const char* name;
    int firstFolder;  // 0 XDG_DATA_HOME, 1 and 2 the XDG_DATA_DIRS in order
    int secondFolder; // a later folder
    QByteArray firstContent;
    const char* expectedName; // nullptr: the ID has no entry at all
    bool hidden;
    bool noDisplay;
};

class DuplicateIds : public DesktopEntriesTest, public testing::WithParamInterface<PrecedenceCase> {
protected:
    QString folder(int index) const {
        const QString folders[] = {dataHome, localShare, usrShare};
        return folders[index];
    }
};

TEST_P(DuplicateIds, TheFirstDataFolderWins) {
    const PrecedenceCase& c = GetParam();
    // The later file sits in a sub-folder in one case, so the ID, not the
    // path, decides.
    writeEntry(folder(c.secondFolder), u"org/example/App.desktop"_s, application("Later"));
    writeEntry(folder(c.firstFolder), u"org-example-App.desktop"_s, c.firstContent);
    writeEntry(folder(c.secondFolder), u"other.desktop"_s, application("Other"));

    const QList<DesktopEntry> entries = DesktopEntries::all();
    QList<DesktopEntry> withId;
    for (const DesktopEntry& entry : entries) {
        if (entry.desktopFileId() == u"org-example-App.desktop"_s)
            withId.append(entry);
    }
    EXPECT_EQ(entries.size(), withId.size() + 1); // "other.desktop" is always there
    const auto found = DesktopEntries::withIdentifier(u"org-example-App"_s);
    if (!c.expectedName) {
        EXPECT_TRUE(withId.isEmpty());
        EXPECT_FALSE(found);
        return;
    }
    ASSERT_EQ(withId.size(), 1);
    EXPECT_EQ(withId.first().name(), QString::fromUtf8(c.expectedName));
    EXPECT_EQ(withId.first().hidden(), c.hidden);
    EXPECT_EQ(withId.first().noDisplay(), c.noDisplay);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path(), withId.first().path());
}

INSTANTIATE_TEST_SUITE_P(
    Folders, DuplicateIds,
    testing::Values(
        PrecedenceCase{"dataHomeOverSystem", 0, 2, application("User copy"), "User copy", false,
                       false},
        PrecedenceCase{"firstDataDirOverSecond", 1, 2, application("Local"), "Local", false, false},
        PrecedenceCase{"hiddenUserCopyStillWins", 0, 1, application("Gone", "Hidden=true\n"),
                       "Gone", true, false},
        PrecedenceCase{"noDisplayCopyStillWins", 1, 2, application("Quiet", "NoDisplay=true\n"),
                       "Quiet", false, true},
        PrecedenceCase{"bothFlags", 0, 2, application("Both", "NoDisplay=1\nHidden=true\n"), "Both",
                       true, true},
        PrecedenceCase{"falseFlags", 0, 2, application("Plain", "NoDisplay=false\nHidden=0\n"),
                       "Plain", false, false},
        // An unusable override still shadows the system's file.
        PrecedenceCase{"linkOverrideHidesTheSystemEntry", 0, 2,
                       "[Desktop Entry]\nType=Link\nName=Web\nURL=https://example.org\n", nullptr,
                       false, false}),
    [](const testing::TestParamInfo<PrecedenceCase>& param) {
        return std::string(param.param.name);
    });

struct RefusedCase {
    const char* name;
    QByteArray content;
};

class RefusedEntries : public testing::TestWithParam<RefusedCase> {
protected:
    Sandbox sandbox;
};

TEST_P(RefusedEntries, AreNotApplications) {
    const QString path =
        sandbox.makeFile(sandbox.homePath(u"refused.desktop"_s), GetParam().content);
    EXPECT_FALSE(DesktopEntry::read(path, u"refused.desktop"_s));
}

INSTANTIATE_TEST_SUITE_P(
    Files, RefusedEntries,
    testing::Values(
        RefusedCase{"link", "[Desktop Entry]\nType=Link\nName=Site\nURL=https://example.org\n"},
        RefusedCase{"directory", "[Desktop Entry]\nType=Directory\nName=Games\n"},
        RefusedCase{"noType", "[Desktop Entry]\nName=Untyped\nExec=untyped\n"},
        RefusedCase{"noName", "[Desktop Entry]\nType=Application\nExec=nameless\n"},
        RefusedCase{"emptyName", "[Desktop Entry]\nType=Application\nName=\n"},
        RefusedCase{"otherGroupOnly", "[Desktop Action new]\nType=Application\nName=New\n"},
        RefusedCase{"lowerCaseType", "[Desktop Entry]\nType=application\nName=Lower\n"},
        RefusedCase{"empty", ""},
        RefusedCase{"notAKeyFile", "this is not a key file\n\x01\x02\x03"},
        RefusedCase{"lineWithoutEquals", "[Desktop Entry]\nType=Application\nName=X\nbroken\n"}),
    [](const testing::TestParamInfo<RefusedCase>& param) { return std::string(param.param.name); });

TEST(DesktopEntryRead, AMissingOrUnreadableFileIsNothing) {
    Sandbox sandbox;
    EXPECT_FALSE(DesktopEntry::read(sandbox.homePath(u"absent.desktop"_s), u"absent.desktop"_s));
    const QString folder = sandbox.makeFolder(sandbox.homePath(u"folder.desktop"_s));
    EXPECT_FALSE(DesktopEntry::read(folder, u"folder.desktop"_s));
}

TEST(DesktopEntryRead, ReadsEveryField) {
    Sandbox sandbox;
    const QString path = sandbox.makeFile(
        sandbox.homePath(u"org.gnome.TextEditor.desktop"_s),
        "# written by hand\n[Desktop Entry]\nName=Text Editor\nType=Application\n"
        "Icon=org.gnome.TextEditor\nExec=gnome-text-editor %U\nTryExec=/usr/bin/gte\n"
        "StartupWMClass=Gnome-text-editor\n\n[Desktop Action new-window]\nName=New Window\n"
        "Exec=other-program --new-window\n");
    const auto entry = DesktopEntry::read(path, u"org.gnome.TextEditor.desktop"_s);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->path(), path);
    EXPECT_EQ(entry->desktopFileId(), u"org.gnome.TextEditor.desktop"_s);
    EXPECT_EQ(entry->identifier(), u"org.gnome.TextEditor"_s);
    EXPECT_EQ(entry->name(), u"Text Editor"_s);
    EXPECT_EQ(entry->iconName(), u"org.gnome.TextEditor"_s);
    EXPECT_EQ(entry->execProgram(), u"gnome-text-editor"_s);
    EXPECT_EQ(entry->tryExecProgram(), u"gte"_s);
    EXPECT_EQ(entry->startupWmClass(), u"Gnome-text-editor"_s);
    EXPECT_TRUE(entry->flatpakId().isEmpty());
    EXPECT_TRUE(entry->snapName().isEmpty());
    EXPECT_FALSE(entry->hidden());
    EXPECT_FALSE(entry->noDisplay());
}

struct ExecCase {
    const char* name;
    const char* execLine; // as written in the file, key-file escapes included
    const char* program;
};

class ExecPrograms : public testing::TestWithParam<ExecCase> {
protected:
    Sandbox sandbox;
};

TEST_P(ExecPrograms, NameTheProgramsFile) {
    const ExecCase& c = GetParam();
    QByteArray content = application("App");
    if (c.execLine)
        content += QByteArray("Exec=") + c.execLine + "\n";
    const QString path = sandbox.makeFile(sandbox.homePath(u"app.desktop"_s), content);
    const auto entry = DesktopEntry::read(path, u"app.desktop"_s);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->execProgram(), QString::fromUtf8(c.program));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ExecPrograms,
    testing::Values(
        ExecCase{"bareName", "gimp-2.10 %U", "gimp-2.10"},
        ExecCase{"absolutePath", "/usr/bin/gimp-2.10 %U", "gimp-2.10"},
        ExecCase{"snapLauncher", "/snap/bin/spotify %U", "spotify"},
        ExecCase{"quotedPathWithSpace", "\"/opt/My App/bin/my-app\" --flag %F", "my-app"},
        // "\\$" in the file is "\$" after the key-file escapes, "$" after quoting.
        ExecCase{"escapesOfBothLayers", "\"/opt/odd/price\\\\$list\" %f", "price$list"},
        // A single backslash is a key-file fault real files make; GLib keeps it.
        ExecCase{"singleBackslashInFile", "\"/opt/x/a\\$b\" %f", "a$b"},
        ExecCase{"escapedQuote", "\"/opt/say \\\\\"hi\\\\\"/run\"", "run"},
        ExecCase{"keyFileSpaceEscape", "prog\\sname --x", "prog"},
        ExecCase{"env", "env GDK_BACKEND=x11 FOO=1 /usr/bin/prog %u", "prog"},
        ExecCase{"envByPath", "/usr/bin/env LANG=C prog", "prog"},
        ExecCase{"snapWithEnv",
                 "env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/"
                 "firefox_firefox.desktop /snap/bin/firefox %u",
                 "firefox"},
        ExecCase{"envAlone", "env A=1", ""},
        ExecCase{"flatpakRun",
                 "/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=gimp-2.10 "
                 "--file-forwarding org.gimp.GIMP @@u %U @@",
                 ""},
        ExecCase{"flatpakByName", "flatpak run org.example.App", ""},
        ExecCase{"fieldCodeFirst", "%U", ""},
        ExecCase{"fieldCodeAfterEnv", "env A=1 %f /usr/bin/viewer", "viewer"},
        ExecCase{"shellCommand", "sh -c \"exec foo --bar\"", "sh"},
        ExecCase{"leadingBlanks", "   \t  tool --x", "tool"}, ExecCase{"emptyExec", "", ""},
        ExecCase{"noExec", nullptr, ""}),
    [](const testing::TestParamInfo<ExecCase>& param) { return std::string(param.param.name); });

TEST(ExecSplitting, UndoesQuotingWordByWord) {
    EXPECT_EQ(DesktopEntry::splitExec(u"a \"b c\" \"\" d\\\\e \"f\\\"g\\`h\\$i\\\\j\\k\""_s),
              (QStringList{u"a"_s, u"b c"_s, QString(), u"d\\e"_s, u"f\"g`h$i\\j\\k"_s}));
    EXPECT_EQ(DesktopEntry::splitExec(u"x\t\ty  "_s), (QStringList{u"x"_s, u"y"_s}));
}

struct FileNamesCase {
    const char* name;
    const char* desktopFileId;
    QByteArray lines;
    QStringList fileNames;
};

class FileNames : public testing::TestWithParam<FileNamesCase> {
protected:
    Sandbox sandbox;
};

TEST_P(FileNames, ComeInOrderWithoutDuplicates) {
    const FileNamesCase& c = GetParam();
    const QString path =
        sandbox.makeFile(sandbox.homePath(u"entry.desktop"_s), application("App", c.lines));
    const auto entry = DesktopEntry::read(path, QString::fromUtf8(c.desktopFileId));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->fileNames(), c.fileNames);
}

INSTANTIATE_TEST_SUITE_P(
    Entries, FileNames,
    testing::Values(
        FileNamesCase{"allFourInOrder",
                      "org.example.Alpha.desktop",
                      "Exec=/usr/bin/Beta %U\nTryExec=gamma\nStartupWMClass=Delta\n",
                      {u"alpha"_s, u"beta"_s, u"gamma"_s, u"delta"_s}},
        FileNamesCase{"sameNameEverywhere",
                      "org.gnome.TextEditor.desktop",
                      "Exec=gnome-text-editor %U\nTryExec=gnome-text-editor\n"
                      "StartupWMClass=Gnome-Text-Editor\n",
                      {u"texteditor"_s, u"gnome-text-editor"_s}},
        FileNamesCase{"idEqualsProgramButCase",
                      "gimp.desktop",
                      "Exec=gimp-2.10 %U\nTryExec=/usr/bin/GIMP\nStartupWMClass=gimp-2.10\n",
                      {u"gimp"_s, u"gimp-2.10"_s}},
        FileNamesCase{"idWithoutDots",
                      "firefox-esr.desktop",
                      "Exec=/usr/lib/firefox-esr/firefox-esr %u\nStartupWMClass=Firefox-esr\n",
                      {u"firefox-esr"_s}},
        FileNamesCase{"subFolderId",
                      "kde4-okular.desktop",
                      "Exec=okular %U\n",
                      {u"kde4-okular"_s, u"okular"_s}},
        FileNamesCase{"flatpakUsesItsId",
                      "org.gimp.GIMP.desktop",
                      "X-Flatpak=org.gimp.GIMP\nExec=/usr/bin/flatpak run org.gimp.GIMP %U\n"
                      "StartupWMClass=gimp\n",
                      {u"gimp"_s}},
        FileNamesCase{"noExecAtAll", "org.example.Viewer.desktop", "", {u"viewer"_s}}),
    [](const testing::TestParamInfo<FileNamesCase>& param) {
        return std::string(param.param.name);
    });

struct NameCase {
    const char* name;
    const char* language; // LANGUAGE; empty: unset
    const char* lcAll;    // LC_ALL; empty: unset
    const char* expected;
};

class LocalisedNames : public testing::TestWithParam<NameCase> {
protected:
    Sandbox sandbox;
    ScopedEnvironment environment;
};

TEST_P(LocalisedNames, FollowTheLocale) {
    const NameCase& c = GetParam();
    for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
        environment.unset(variable);
    if (*c.language)
        environment.set("LANGUAGE", QString::fromUtf8(c.language));
    if (*c.lcAll)
        environment.set("LC_ALL", QString::fromUtf8(c.lcAll));
    const QString path = sandbox.makeFile(sandbox.homePath(u"editor.desktop"_s),
                                          "[Desktop Entry]\nType=Application\nName=Text Editor\n"
                                          "Name[de]=Texteditor\nName[fr]=Éditeur de texte\n"
                                          "Name[pt_BR]=Editor de texto\n");
    const auto entry = DesktopEntry::read(path, u"editor.desktop"_s);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name(), QString::fromUtf8(c.expected));
}

INSTANTIATE_TEST_SUITE_P(
    Locales, LocalisedNames,
    testing::Values(NameCase{"none", "", "", "Text Editor"},
                    NameCase{"cLocale", "", "C", "Text Editor"},
                    NameCase{"germanLanguage", "de", "", "Texteditor"},
                    NameCase{"germanLcAll", "", "de_DE.UTF-8", "Texteditor"},
                    NameCase{"austrianFallsBackToGerman", "", "de_AT.UTF-8", "Texteditor"},
                    NameCase{"languageBeforeLcAll", "fr", "de_DE.UTF-8", "Éditeur de texte"},
                    NameCase{"countryVariant", "pt_BR", "", "Editor de texto"},
                    NameCase{"untranslated", "ja", "", "Text Editor"}),
    [](const testing::TestParamInfo<NameCase>& param) { return std::string(param.param.name); });

TEST_F(DesktopEntriesTest, DataFoldersFollowTheEnvironmentAndAddFlatpakAndSnap) {
    const QString root = sandbox.systemRoot();
    EXPECT_EQ(DesktopEntries::dataFolders(),
              (QStringList{dataHome, localShare, usrShare, dataHome + u"/flatpak/exports/share"_s,
                           root + u"/var/lib/flatpak/exports/share"_s,
                           root + u"/var/lib/snapd/desktop"_s}));

    // Explicit values are taken as they are; what is listed already is not
    // added again, and relative folders do not count.
    environment.set("XDG_DATA_DIRS", u"relative/share:/opt/share/:"_s + root +
                                         u"/var/lib/snapd/desktop:"_s + usrShare);
    EXPECT_EQ(DesktopEntries::dataFolders(),
              (QStringList{dataHome, u"/opt/share"_s, root + u"/var/lib/snapd/desktop"_s, usrShare,
                           dataHome + u"/flatpak/exports/share"_s,
                           root + u"/var/lib/flatpak/exports/share"_s}));

    environment.unset("XDG_DATA_DIRS");
    environment.unset("XDG_DATA_HOME");
    const QString home = sandbox.home() + u"/.local/share"_s;
    EXPECT_EQ(
        DesktopEntries::dataFolders(),
        (QStringList{home, root + u"/usr/local/share"_s, root + u"/usr/share"_s,
                     home + u"/flatpak/exports/share"_s, root + u"/var/lib/flatpak/exports/share"_s,
                     root + u"/var/lib/snapd/desktop"_s}));
}

TEST_F(DesktopEntriesTest, DefaultDataFoldersLieUnderTheSystemRoot) {
    environment.unset("XDG_DATA_DIRS");
    sandbox.makeFile(sandbox.rootPath(u"usr/share/applications/system.desktop"_s),
                     application("System"));
    sandbox.makeFile(sandbox.homePath(u".local/share/applications/user.desktop"_s),
                     application("User"));
    environment.unset("XDG_DATA_HOME");
    EXPECT_EQ(idsOf(DesktopEntries::all()), (QStringList{u"system.desktop"_s, u"user.desktop"_s}));
}

TEST_F(DesktopEntriesTest, FlatpakExportsAreListedByTheirFlatpakId) {
    const QString systemExports = sandbox.rootPath(u"var/lib/flatpak/exports/share"_s);
    writeEntry(systemExports, u"org.gimp.GIMP.desktop"_s,
               application("GNU Image Manipulation Program",
                           "X-Flatpak=org.gimp.GIMP\nStartupWMClass=gimp\nExec=/usr/bin/flatpak "
                           "run --branch=stable --arch=x86_64 --command=gimp-2.10 "
                           "--file-forwarding org.gimp.GIMP @@u %U @@\n"));
    writeEntry(dataHome + u"/flatpak/exports/share"_s, u"org.example.Tool.Viewer.desktop"_s,
               application("Tool Viewer", "X-Flatpak=org.example.Tool\n"
                                          "Exec=flatpak run --command=viewer org.example.Tool\n"));

    const auto gimp = DesktopEntries::withIdentifier(u"org.gimp.GIMP.desktop"_s);
    ASSERT_TRUE(gimp);
    EXPECT_EQ(gimp->identifier(), u"org.gimp.GIMP"_s);
    EXPECT_EQ(gimp->flatpakId(), u"org.gimp.GIMP"_s);
    EXPECT_TRUE(gimp->execProgram().isEmpty());
    EXPECT_EQ(gimp->fileNames(), (QStringList{u"gimp"_s}));

    // A second entry of one Flatpak is known by the Flatpak's ID too.
    const auto viewer = DesktopEntries::withIdentifier(u"org.example.Tool"_s);
    ASSERT_TRUE(viewer);
    EXPECT_EQ(viewer->desktopFileId(), u"org.example.Tool.Viewer.desktop"_s);
    EXPECT_EQ(viewer->identifier(), u"org.example.Tool"_s);
    EXPECT_EQ(idsOf(DesktopEntries::all()),
              (QStringList{u"org.example.Tool.Viewer.desktop"_s, u"org.gimp.GIMP.desktop"_s}));
}

TEST_F(DesktopEntriesTest, SnapEntriesKnowTheirSnap) {
    const QString snapd = sandbox.rootPath(u"var/lib/snapd/desktop"_s);
    writeEntry(snapd, u"firefox_firefox.desktop"_s,
               application("Firefox",
                           "Exec=env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/"
                           "applications/firefox_firefox.desktop /snap/bin/firefox %u\n"));
    writeEntry(snapd, u"spotify_spotify.desktop"_s,
               application("Spotify", "X-SnapInstanceName=spotify\nExec=/snap/bin/spotify %U\n"));
    writeEntry(snapd, u"firefox+beta_firefox.desktop"_s,
               application("Firefox Beta", "Exec=/snap/bin/firefox_beta %u\n"));
    writeEntry(usrShare, u"not_a_snap.desktop"_s, application("Plain"));

    std::map<QString, QString> snaps;
    for (const DesktopEntry& entry : DesktopEntries::all())
        snaps[entry.desktopFileId()] = entry.snapName();
    EXPECT_EQ(snaps, (std::map<QString, QString>{
                         {u"firefox_firefox.desktop"_s, u"firefox"_s},
                         {u"spotify_spotify.desktop"_s, u"spotify"_s},
                         {u"firefox+beta_firefox.desktop"_s, u"firefox_beta"_s},
                         {u"not_a_snap.desktop"_s, QString()},
                     }));
    const auto firefox = DesktopEntries::withIdentifier(u"firefox_firefox"_s);
    ASSERT_TRUE(firefox);
    EXPECT_EQ(firefox->execProgram(), u"firefox"_s);
    EXPECT_EQ(firefox->fileNames(), (QStringList{u"firefox_firefox"_s, u"firefox"_s}));
}

TEST_F(DesktopEntriesTest, WithNameMatchesNameOrIdentifierAndSkipsHiddenEntries) {
    writeEntry(usrShare, u"org.gnome.TextEditor.desktop"_s, application("Text Editor"));
    writeEntry(usrShare, u"org.kde.kwrite.desktop"_s, application("text editor"));
    writeEntry(usrShare, u"helper.desktop"_s, application("Helper", "NoDisplay=true\n"));
    writeEntry(dataHome, u"secret.desktop"_s, application("Secret", "Hidden=true\n"));
    writeEntry(usrShare, u"org.example.Named.desktop"_s, application("Notes"));

    EXPECT_EQ(idsOf(DesktopEntries::withName(u"TEXT editor"_s)),
              (QStringList{u"org.gnome.TextEditor.desktop"_s, u"org.kde.kwrite.desktop"_s}));
    EXPECT_EQ(idsOf(DesktopEntries::withName(u"org.example.named"_s)),
              (QStringList{u"org.example.Named.desktop"_s}));
    EXPECT_EQ(idsOf(DesktopEntries::withName(u"helper"_s)), (QStringList{u"helper.desktop"_s}));
    EXPECT_TRUE(DesktopEntries::withName(u"Secret"_s).isEmpty());
    EXPECT_TRUE(DesktopEntries::withName(u"Text"_s).isEmpty());
    EXPECT_TRUE(DesktopEntries::withName(QString()).isEmpty());
}

struct LookupCase {
    const char* query;
    const char* desktopFileId; // empty: nothing found
};

class IdentifierLookup : public DesktopEntriesTest,
                         public testing::WithParamInterface<LookupCase> {};

TEST_P(IdentifierLookup, FindsByIdWithOrWithoutSuffix) {
    writeEntry(usrShare, u"org.gnome.TextEditor.desktop"_s, application("Text Editor"));
    writeEntry(usrShare, u"kde4/okular.desktop"_s, application("Okular"));
    writeEntry(dataHome, u"secret.desktop"_s, application("Secret", "Hidden=true\n"));
    writeEntry(localShare, u"helper.desktop"_s, application("Helper", "NoDisplay=true\n"));
    writeEntry(usrShare, u"com.example.Launcher.desktop"_s,
               application("Launcher", "X-Flatpak=com.example.App\n"));
    // An entry whose ID is another entry's Flatpak ID wins by its ID.
    writeEntry(usrShare, u"com.example.App.desktop"_s, application("Native App"));

    const LookupCase& c = GetParam();
    const auto found = DesktopEntries::withIdentifier(QString::fromUtf8(c.query));
    if (!*c.desktopFileId) {
        EXPECT_FALSE(found) << found->desktopFileId().toStdString();
        return;
    }
    ASSERT_TRUE(found);
    EXPECT_EQ(found->desktopFileId(), QString::fromUtf8(c.desktopFileId));
}

INSTANTIATE_TEST_SUITE_P(
    Queries, IdentifierLookup,
    testing::Values(LookupCase{"org.gnome.TextEditor", "org.gnome.TextEditor.desktop"},
                    LookupCase{"org.gnome.TextEditor.desktop", "org.gnome.TextEditor.desktop"},
                    LookupCase{"kde4-okular.desktop", "kde4-okular.desktop"},
                    LookupCase{"secret", "secret.desktop"},
                    LookupCase{"helper.desktop", "helper.desktop"},
                    LookupCase{"com.example.App", "com.example.App.desktop"},
                    LookupCase{"com.example.Launcher", "com.example.Launcher.desktop"},
                    LookupCase{"org.gnome.texteditor", ""}, LookupCase{"okular", ""},
                    LookupCase{".desktop", ""}, LookupCase{"", ""}));

TEST_F(DesktopEntriesTest, AtPathComputesTheIdFromThePlace) {
    const QString nested = writeEntry(localShare, u"kde4/okular.desktop"_s, application("Okular"));
    const auto okular = DesktopEntries::atPath(nested);
    ASSERT_TRUE(okular);
    EXPECT_EQ(okular->desktopFileId(), u"kde4-okular.desktop"_s);

    const auto viaDots =
        DesktopEntries::atPath(localShare + u"/applications/kde4/../kde4/okular.desktop"_s);
    ASSERT_TRUE(viaDots);
    EXPECT_EQ(viaDots->desktopFileId(), u"kde4-okular.desktop"_s);

    const QString loose = sandbox.makeFile(sandbox.homePath(u"Desktop/tools/my-tool.desktop"_s),
                                           application("My Tool", "Exec=my-tool\n"));
    const auto tool = DesktopEntries::atPath(loose);
    ASSERT_TRUE(tool);
    EXPECT_EQ(tool->desktopFileId(), u"my-tool.desktop"_s);
    EXPECT_EQ(tool->identifier(), u"my-tool"_s);

    // A folder named like a data folder's applications/ is not one.
    const QString lookalike = sandbox.makeFile(
        sandbox.path() + u"/usr-share-other/applications/sub/x.desktop"_s, application("X"));
    const auto x = DesktopEntries::atPath(lookalike);
    ASSERT_TRUE(x);
    EXPECT_EQ(x->desktopFileId(), u"x.desktop"_s);

    EXPECT_FALSE(DesktopEntries::atPath(sandbox.homePath(u"missing.desktop"_s)));
}

TEST_F(DesktopEntriesTest, ListsThreeHundredEntriesQuickly) {
    // Realistic entries: translations make up most of a real file.
    QByteArray translations;
    for (const char* language : {"ar", "de", "es", "fr", "it", "ja", "nl", "pl", "pt_BR", "ru",
                                 "sv", "tr", "uk", "zh_CN", "zh_TW"})
        translations += QByteArray("Comment[") + language + "]=A translated comment\n";
    for (int i = 0; i < 300; ++i) {
        const QByteArray name = "App " + QByteArray::number(i);
        writeEntry(i % 2 ? usrShare : dataHome, u"org.example.App%1.desktop"_s.arg(i),
                   application(name, "Exec=/usr/bin/app" + QByteArray::number(i) +
                                         " %U\nIcon=app\n" + translations));
    }
    QElapsedTimer timer;
    timer.start();
    const QList<DesktopEntry> entries = DesktopEntries::all();
    const qint64 elapsed = timer.elapsed();
    EXPECT_EQ(entries.size(), 300);
    // Generous against a loaded machine; a per-entry lookup of anything
    // (icons, processes) would take seconds.
    EXPECT_LT(elapsed, 500) << "listing took " << elapsed << " ms";
}

TEST(RealDesktopEntries, EveryInstalledEntryReadsWithoutTrouble) {
    const QString applications = u"/usr/share/applications"_s;
    QStringList paths;
    QDirIterator it(applications, {u"*.desktop"_s}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next());
    if (paths.isEmpty())
        GTEST_SKIP() << "no desktop entries in " << applications.toStdString();

    int parsed = 0;
    for (const QString& path : paths) {
        const QString id =
            DesktopEntries::desktopFileIdForRelativePath(path.mid(applications.size() + 1));
        const auto entry = DesktopEntry::read(path, id);
        if (!entry)
            continue;
        ++parsed;
        EXPECT_FALSE(entry->identifier().isEmpty()) << path.toStdString();
        EXPECT_FALSE(entry->name().isEmpty()) << path.toStdString();
        EXPECT_FALSE(entry->fileNames().isEmpty()) << path.toStdString();
    }
    std::cout << parsed << " of " << paths.size() << " entries are applications\n";
}

} // namespace
