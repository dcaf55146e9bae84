#include "linux/config_checker.h"
#include "linux/gvdb_checker.h"
#include "linux/json_checker.h"
#include "linux/keyfile_checker.h"
#include "linux/xml_checker.h"

#include "qt_printers.h"
#include "sandbox.h"

#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QtEndian>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;
using Format = ConfigChecker::Format;

namespace {

const QString kEmptyData = u"Cannot parse a NULL or zero-length data"_s;

QString sourcePath(const QString& relative) {
    return qEnvironmentVariable("SORVANE_SOURCE_DIR") + u'/' + relative;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The whole answer for a damaged file: the summary, then the detail part.
QString damaged(int code, const QString& summary) {
    return u"%1 (Error Domain=SorvaneConfigErrorDomain Code=%2 \"%1\")"_s.arg(summary).arg(code);
}

QString keyFileError(const QByteArray& data) {
    QString error;
    return KeyFileChecker::validate(data, &error) ? u"OK"_s : error;
}

QString jsonError(const QByteArray& data, bool* cutShort = nullptr) {
    QString error;
    return JsonChecker::validate(data, &error, cutShort) ? u"OK"_s : error;
}

QString xmlError(const QByteArray& data) {
    QString error;
    return XmlChecker::validate(data, &error) ? u"OK"_s : error;
}

QString gvdbError(const QByteArray& data) {
    QString error;
    return GvdbChecker::validate(data, &error) ? u"OK"_s : error;
}

} // namespace

TEST(ConfigChecker, DamagedAnswersCarryTheDetailPartOfTheResultList) {
    EXPECT_EQ(ConfigChecker::check(u"settings.json"_s, QByteArray(8, '\0')),
              u"JSON file is damaged: NUL byte at line 1, column 1 (Error "
              u"Domain=SorvaneConfigErrorDomain Code=3 \"JSON file is damaged: NUL byte at line 1, "
              u"column 1\")"_s);
    EXPECT_EQ(ConfigChecker::check(u"settings.json"_s, "[]"), u"OK"_s);
    // Empty files answer as the property-list check does, in every format.
    for (const Format format :
         {Format::Dconf, Format::KeyFile, Format::Json, Format::Xml, Format::PropertyList})
        EXPECT_EQ(ConfigChecker::check(format, {}), kEmptyData);
    EXPECT_TRUE(ConfigChecker::check(Format::Unknown, "anything").isNull());
}

// ---- The damaged corpus, with the exact answer for each file ----

struct DamagedFile {
    const char* path; // under tests/data/config/damaged
    int code;         // 0: the answer is the whole text below
    const char* answer;
};

class DamagedCorpus : public testing::TestWithParam<DamagedFile> {};

TEST_P(DamagedCorpus, NamesTheFirstFaultAndWhereItLies) {
    const DamagedFile& file = GetParam();
    const QString path = sourcePath(u"tests/data/config/damaged/"_s + QString::fromUtf8(file.path));
    ASSERT_TRUE(QFile::exists(path)) << path.toStdString();
    const QString answer = QString::fromUtf8(file.answer);
    EXPECT_EQ(ConfigChecker::check(path, readAll(path)),
              file.code == 0 ? answer : damaged(file.code, answer));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, DamagedCorpus,
    testing::Values(
        DamagedFile{"nul-filled/settings.json", 3,
                    "JSON file is damaged: NUL byte at line 1, column 1"},
        DamagedFile{"nul-filled/kwinrc", 2, "Key file is damaged: NUL byte at line 1, column 1"},
        DamagedFile{"nul-filled/monitors.xml", 4,
                    "XML file is damaged: NUL byte at line 1, column 1"},
        DamagedFile{"nul-filled/dconf/user", 1,
                    "dconf database is damaged: wrong signature at byte offset 0"},
        DamagedFile{"dconf/user", 1,
                    "dconf database is damaged: value outside the file at byte offset 108"},
        DamagedFile{"cut/plasma-org.kde.plasma.desktop-appletsrc", 2,
                    "Key file is damaged: unterminated group header at line 46, column 1"},
        DamagedFile{"cut/xfce4-panel.xml", 4,
                    "XML file is damaged: Premature end of document at line 23, column 39"},
        DamagedFile{"cut/settings.json", 3,
                    "JSON file is damaged: unexpected end of data at line 5, column 34"},
        DamagedFile{"cut/Preferences", 3,
                    "JSON file is damaged: unexpected end of data at line 1, column 101"},
        DamagedFile{"junk-line/org.example.Notes.desktop", 2,
                    "Key file is damaged: invalid UTF-8 at line 13, column 1"},
        DamagedFile{"stray-text/kwinrc", 2,
                    "Key file is damaged: line is not a group, an entry or a comment at line 7, "
                    "column 1"},
        DamagedFile{"bad-group/kdeglobals", 2,
                    "Key file is damaged: unterminated group header at line 6, column 1"},
        DamagedFile{"latin1/mimeapps.list", 2,
                    "Key file is damaged: invalid UTF-8 at line 10, column 21"},
        DamagedFile{"bad-tag/recently-used.xbel", 4,
                    "XML file is damaged: Opening and ending tag mismatch at line 12, column 25"},
        DamagedFile{"plist/org.example.Notes.plist", 0,
                    "XML property list is damaged: Unknown tag <integ> at line 8 (Error "
                    "Domain=SorvanePropertyListErrorDomain Code=2 \"XML property list is damaged: "
                    "Unknown tag <integ> at line 8\")"},
        DamagedFile{"empty/settings.json", 0, "Cannot parse a NULL or zero-length data"}));

// ---- Valid real-world files, each of a known format, all good ----

struct ValidFile {
    const char* path; // under tests/data/config/valid
    Format format;
};

class ValidCorpus : public testing::TestWithParam<ValidFile> {};

TEST_P(ValidCorpus, IsRecognisedAndPasses) {
    const QString path =
        sourcePath(u"tests/data/config/valid/"_s + QString::fromUtf8(GetParam().path));
    const QByteArray data = readAll(path);
    ASSERT_FALSE(data.isEmpty()) << path.toStdString();
    EXPECT_EQ(ConfigChecker::formatOf(path, data.left(ConfigChecker::headSize)), GetParam().format);
    EXPECT_EQ(ConfigChecker::check(path, data), u"OK"_s);
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, ValidCorpus,
    testing::Values(
        ValidFile{"kde/kwinrc", Format::KeyFile},
        ValidFile{"kde/plasma-org.kde.plasma.desktop-appletsrc", Format::KeyFile},
        ValidFile{"kde/kcminputrc", Format::KeyFile}, ValidFile{"kde/kdeglobals", Format::KeyFile},
        ValidFile{"apps/org.example.Notes.desktop", Format::KeyFile},
        ValidFile{"apps/mimeapps.list", Format::KeyFile},
        ValidFile{"apps/user-dirs.conf", Format::KeyFile},
        ValidFile{"apps/.directory", Format::KeyFile},
        ValidFile{"gnome/settings.ini", Format::KeyFile},
        ValidFile{"apps/settings.json", Format::Json}, ValidFile{"apps/scalar.json", Format::Json},
        ValidFile{"apps/Preferences", Format::Json}, ValidFile{"xfce/xfce4-panel.xml", Format::Xml},
        ValidFile{"gnome/recently-used.xbel", Format::Xml},
        ValidFile{"gnome/fonts.conf", Format::Xml}, ValidFile{"gnome/menus.menu", Format::Xml},
        ValidFile{"apps/org.example.Notes.plist", Format::PropertyList}));

// ---- Which format a file is ----

struct FormatCase {
    const char* name;
    QByteArray head;
    Format format;
};

class FormatOf : public testing::TestWithParam<FormatCase> {};

TEST_P(FormatOf, FollowsTheNameAndTheFirstBytes) {
    EXPECT_EQ(ConfigChecker::formatOf(QString::fromUtf8(GetParam().name), GetParam().head),
              GetParam().format)
        << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, FormatOf,
    testing::Values(
        // Signatures win over names.
        FormatCase{"anything", "GVariant\0\0\0\0", Format::Dconf},
        FormatCase{"prefs.bin", "bplist00\xd1\x01", Format::PropertyList},
        FormatCase{"a.xml", "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"\">",
                   Format::PropertyList},
        FormatCase{"utf16.xml", QByteArray("\xff\xfe<\0?\0x\0", 8), Format::Xml},
        // dconf databases by where they lie, whatever they hold.
        FormatCase{"/home/u/.config/dconf/user", QByteArray(64, '\0'), Format::Dconf},
        FormatCase{"/etc/dconf/db/local", QByteArray(64, '\0'), Format::Dconf},
        FormatCase{"/etc/dconf/db/local.d/00-site", "[org/gnome/x]\nk=1\n", Format::KeyFile},
        FormatCase{"/etc/dconf/db/local.d/locks/site", "/org/gnome/x/k\n", Format::Unknown},
        FormatCase{"/etc/dconf/profile/user", "user-db:user\nsystem-db:local\n", Format::Unknown},
        // Names that tell, even when the content is lost.
        FormatCase{"settings.json", QByteArray(96, '\0'), Format::Json},
        FormatCase{"monitors.xml", QByteArray(96, '\0'), Format::Xml},
        FormatCase{"bookmarks.xbel", "", Format::Xml},
        FormatCase{"mimeapps.list", QByteArray(16, '\0'), Format::KeyFile},
        FormatCase{"org.example.App.desktop", "", Format::KeyFile},
        FormatCase{".directory", "[Dolphin]\n", Format::KeyFile},
        // KDE's files, and other files whose names end in "rc".
        FormatCase{"kwinrc", "[Compositing]\nBackend=OpenGL\n", Format::KeyFile},
        FormatCase{"kwinrc", QByteArray("[Compositing]\n\0\0\0", 17), Format::KeyFile},
        FormatCase{"kwinrc", "[Compositing", Format::KeyFile},
        FormatCase{"kdeglobals", "ColorScheme=Breeze\n[General]\nfixed=Hack\n", Format::KeyFile},
        FormatCase{"gtkrc", "gtk-theme-name=\"Adwaita\"\ninclude \"/usr/share/x\"\n",
                   Format::Unknown},
        FormatCase{"xinitrc", "#!/bin/sh\nexport GTK_IM_MODULE=ibus\nexec startxfce4\n",
                   Format::Unknown},
        FormatCase{"bash.bashrc", "# system-wide\n[ -z \"$PS1\" ] && return\n", Format::Unknown},
        // .conf, .ini and .list in many syntaxes: key files only when they read as one.
        FormatCase{"client.conf", "; comment\nautospawn = yes\n", Format::KeyFile},
        FormatCase{"picom.conf", "shadow = true;\nwintypes:\n{\n};\n", Format::Unknown},
        FormatCase{"mke2fs.conf", "[defaults]\n\tbase = sparse\n[fs_types]\n\text3 = {\n\t}\n",
                   Format::Unknown},
        FormatCase{"pg_hba.conf", "# comment\n\nlocal all all peer\n", Format::Unknown},
        FormatCase{"fonts.conf", "<?xml version=\"1.0\"?>\n<fontconfig/>", Format::Xml},
        FormatCase{"app.conf", "{\"a\": 1}", Format::Json},
        FormatCase{"latin1.conf", "[G]\nk=caf\xe9\n", Format::KeyFile},
        // Without a name that tells, the content must agree.
        FormatCase{"Local State", "{\"browser\": {\"x\": 1", Format::Json},
        FormatCase{"config", "[Section]\nkey=value\n", Format::KeyFile},
        FormatCase{"config", QByteArray("[Section]\nkey=\0\0", 16), Format::KeyFile},
        FormatCase{"config", "[tool]\nlist = [\n  1,\n]\n", Format::Unknown},
        FormatCase{"events", "[2024-01-01 10:00] started\nstopped\n", Format::Unknown},
        FormatCase{"numbers", "[1, 2, 3]", Format::Json},
        FormatCase{"unit.pas", "{\n}\n\n{$mode objfpc}\nunit x;\n", Format::Unknown},
        FormatCase{"README", "<https://example.org/manual>\n\nRead me.\n", Format::Unknown},
        FormatCase{"monitors", "<monitors version=\"2\"><configuration/></monitors>", Format::Xml},
        FormatCase{"page", "<!DOCTYPE html>\n<html><p>x</html>", Format::Unknown},
        FormatCase{"schema", "<!ELEMENT schemalist (schema*)>", Format::Unknown},
        FormatCase{"blob",
                   QByteArray("\x7f"
                              "ELF\0\0\0",
                              7),
                   Format::Unknown},
        FormatCase{"zeros", QByteArray(64, '\0'), Format::Unknown},
        // Pages, sources and templates are never settings.
        FormatCase{"notes.txt", "{\"a\": 1}", Format::Unknown},
        FormatCase{"build.log", "[Group]\nk=v\n", Format::Unknown},
        FormatCase{"Info.plist.in", "<?xml version=\"1.0\"?><plist/>", Format::Unknown},
        FormatCase{"alacritty.toml", "[window]\nopacity = 0.9\n", Format::Unknown}));

TEST(ConfigChecker, AKeyFileTooLongForTheHeadIsJudgedByItsFirstLines) {
    // A .conf file whose first 4 KiB read as a key file is one; the line cut
    // by the head's end does not count against it.
    QByteArray conf = "[Main]\n";
    while (conf.size() < ConfigChecker::headSize + 100)
        conf += "some-key = some value\n";
    EXPECT_EQ(ConfigChecker::formatOf(u"long.conf"_s, conf.left(ConfigChecker::headSize)),
              Format::KeyFile);
    // A file with no name that tells, cut inside an object: JSON.
    QByteArray json = "[{\"x\": \"";
    json += QByteArray(ConfigChecker::headSize, 'a');
    EXPECT_EQ(ConfigChecker::formatOf(u"state"_s, json.left(ConfigChecker::headSize)),
              Format::Json);
    // The same cut in a file that fits the head is the file's own end: not JSON.
    EXPECT_EQ(ConfigChecker::formatOf(u"state"_s, "[{\"x\": \"aaa"), Format::Unknown);
}

// ---- Key files ----

struct TextCase {
    const char* name;
    QByteArray data;
    const char* verdict; // "OK" or the fault
};

class KeyFiles : public testing::TestWithParam<TextCase> {};

TEST_P(KeyFiles, AcceptBothDialectsAndRefuseDamage) {
    EXPECT_EQ(keyFileError(GetParam().data), QString::fromUtf8(GetParam().verdict));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, KeyFiles,
    testing::Values(
        // What GLib's or KDE's reader accepts.
        TextCase{"empty", "", "OK"}, TextCase{"entriesBeforeAnyGroup", "a=b\n[G]\nc=d\n", "OK"},
        TextCase{"comments", "# c\n; ini comment\n   # indented\n[G]\n", "OK"},
        TextCase{"indentedGroupAndTrailingSpace", "  [G]  \n\tk=v\n", "OK"},
        TextCase{"nestedGroups", "[Containments][1][Applets][5]\nk=v\n", "OK"},
        TextCase{"groupFlags", "[G][$i]\nk=v\n", "OK"},
        TextCase{"fileFlags", "[$i]\n[G]\nk=v\n", "OK"},
        TextCase{"locales", "[G]\nName[de_DE]=x\nName[sr@latin]=y\n", "OK"},
        TextCase{"kdeFlags", "[G]\nName[$e]=$HOME\nName[de][$i]=x\nk[$ie]=y\n", "OK"},
        TextCase{"spacesInKeys", "[G]\nShow hidden files = false\nk =v\n", "OK"},
        TextCase{"anyEscape", "[G]\na=\\s\\n\\t\\\\\nb=a\\qb\nc=\\x5d\nd=trailing\\\n", "OK"},
        TextCase{"crlfAndNoFinalNewline", "[G]\r\nk=v\r\nl=w", "OK"},
        TextCase{"byteOrderMark", "\xEF\xBB\xBF[G]\nk=v\n", "OK"},
        TextCase{"unicode", "[Grüße]\nName[ja]=ノート 😀\n", "OK"},
        TextCase{"controlCharacterInValue",
                 "[G]\nk=a\x01"
                 "b\n",
                 "OK"},
        TextCase{"emptyValue", "[G]\nk=\n", "OK"}, TextCase{"emptyLocale", "[G]\nName[]=v\n", "OK"},
        // GLib skips no vertical tab before a key, and keeps the blank key.
        TextCase{"verticalTabKey", "[G]\n\v=v\n", "OK"},
        // What marks a damaged file.
        TextCase{"unterminatedGroup", "[G]\nk=v\n[Containm",
                 "unterminated group header at line 3, column 1"},
        TextCase{"groupWithoutName", "[]\nk=v\n", "empty group name at line 1, column 1"},
        TextCase{"nestedGroupWithoutName", "[G][]\n", "empty group name at line 1, column 4"},
        TextCase{"textAfterGroup", "[a]b]\n", "text after a group header at line 1, column 4"},
        TextCase{"bracketInGroup", "[a[b]\n", "invalid group name at line 1, column 3"},
        TextCase{"controlInGroup", "[G\x01]\n", "invalid group name at line 1, column 3"},
        TextCase{"noKey", "[G]\n=v\n", "entry without a key at line 2, column 1"},
        TextCase{"blankKey", "[G]\n  =v\n", "entry without a key at line 2, column 3"},
        TextCase{"strayText", "[G]\njunk\n",
                 "line is not a group, an entry or a comment at line 2, column 1"},
        TextCase{"nulByte", QByteArray("[G]\nk=v\0x\n", 10), "NUL byte at line 2, column 4"},
        TextCase{"notUtf8", "[G]\nk=\xff\xfe\n", "invalid UTF-8 at line 2, column 3"},
        TextCase{"columnsCountCharacters", "[G]\nk=é ✓\xff\n", "invalid UTF-8 at line 2, column 6"},
        TextCase{"overlongUtf8", "[G]\nk=\xc0\xaf\n", "invalid UTF-8 at line 2, column 3"},
        TextCase{"cutSequence", "[G]\nk=\xe2\x82", "invalid UTF-8 at line 2, column 3"},
        TextCase{"emptyFlags", "[G]\nk[$]=v\n", "invalid key locale or flags at line 2, column 2"},
        TextCase{"badFlags", "[G]\nk[$1]=v\n", "invalid key locale or flags at line 2, column 2"},
        TextCase{"unopenedBracket", "[G]\na]=v\n", "invalid key name at line 2, column 1"},
        TextCase{"classicMacLineEnds", "[G]\rk=v\r",
                 "unterminated group header at line 1, column 1"}),
    [](const testing::TestParamInfo<TextCase>& param) { return std::string(param.param.name); });

// ---- JSON ----

class JsonFiles : public testing::TestWithParam<TextCase> {};

TEST_P(JsonFiles, FollowRfc8259WithEditorsComments) {
    EXPECT_EQ(jsonError(GetParam().data), QString::fromUtf8(GetParam().verdict));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, JsonFiles,
    testing::Values(
        TextCase{"topLevelNumber", "1", "OK"}, TextCase{"topLevelString", " \"s\" ", "OK"},
        TextCase{"literals", "[true, false, null]", "OK"},
        TextCase{"numbers", "[0, -0, 0.5e-3, 1E+2, 1e999, -12.25]", "OK"},
        TextCase{"byteOrderMark", "\xEF\xBB\xBF{}", "OK"},
        TextCase{"escapes", "[\"\\\" \\\\ \\/ \\b \\f \\n \\r \\t \\u00e9 \\ud800\"]", "OK"},
        TextCase{"duplicateKeys", "{\"a\": 1, \"a\": 2}", "OK"},
        TextCase{"unicode", "{\"ключ\": \"😀\"}", "OK"},
        TextCase{"empty", "", "unexpected end of data at line 1, column 1"},
        TextCase{"blank", "  \n ", "unexpected end of data at line 2, column 2"},
        // Editors' settings: comments and trailing commas are no damage.
        TextCase{"trailingComma", "[1,]", "OK"},
        TextCase{"trailingCommaInObject", "{\"a\":1,}", "OK"},
        TextCase{"blockComment", "{/*x*/}", "OK"},
        TextCase{"lineComments", "// settings\n{\n  \"a\": 1, // why\n}\n// end", "OK"},
        TextCase{"doubleComma", "[1,,]", "unexpected character ',' at line 1, column 4"},
        TextCase{"emptyAfterComma", "{,}", "expected a string key at line 1, column 2"},
        TextCase{"openComment", "{\"a\": 1 /* cut", "unterminated comment at line 1, column 15"},
        TextCase{"loneSlash", "[1 / 2]", "expected ',' or ']' at line 1, column 4"},
        TextCase{"nulBytes", QByteArray(4, '\0'), "NUL byte at line 1, column 1"},
        TextCase{"nulInString", QByteArray("[\"a\0\"]", 6), "NUL byte at line 1, column 4"},
        TextCase{"leadingZero", "[01]", "invalid number at line 1, column 2"},
        TextCase{"loneMinus", "[-]", "invalid number at line 1, column 2"},
        TextCase{"bareFraction", "[1.]", "invalid number at line 1, column 2"},
        TextCase{"leadingDot", "[.5]", "unexpected character '.' at line 1, column 2"},
        TextCase{"hexNumber", "[0x10]", "expected ',' or ']' at line 1, column 3"},
        TextCase{"rawControl", "[\"a\tb\"]", "control character in a string at line 1, column 4"},
        TextCase{"notUtf8", "[\"\xff\"]", "invalid UTF-8 at line 1, column 3"},
        TextCase{"cutSequence", "[\"\xe2\x82\"]", "invalid UTF-8 at line 1, column 3"},
        TextCase{"cutInCharacter", "[\"\xe2\x82", "unexpected end of data at line 1, column 4"},
        TextCase{"badEscape", "[\"\\q\"]", "invalid escape sequence at line 1, column 3"},
        TextCase{"badUnicodeEscape", "[\"\\u12G4\"]",
                 "invalid escape sequence at line 1, column 3"},
        TextCase{"nan", "[NaN]", "unexpected character 'N' at line 1, column 2"},
        TextCase{"badLiteral", "[tru]", "invalid literal at line 1, column 2"},
        TextCase{"bareKey", "{a:1}", "expected a string key at line 1, column 2"},
        TextCase{"missingColon", "{\"a\" 1}", "expected ':' at line 1, column 6"},
        TextCase{"missingComma", "[1 2]", "expected ',' or ']' at line 1, column 4"},
        TextCase{"extraData", "[1]\n\xc3\xa9", "extra data after the value at line 2, column 1"},
        TextCase{"highByte", "[\x80]", "unexpected byte 0x80 at line 1, column 2"},
        TextCase{"cutInString", "[\"abc", "unexpected end of data at line 1, column 6"},
        TextCase{"cutInLiteral", "[tr", "unexpected end of data at line 1, column 4"},
        TextCase{"cutInNumber", "[1.", "unexpected end of data at line 1, column 4"},
        TextCase{"cutInEscape", "\"\\u00", "unexpected end of data at line 1, column 6"},
        TextCase{"cutInArray", "{\n  \"a\": [1,\n 2",
                 "unexpected end of data at line 3, column 3"}),
    [](const testing::TestParamInfo<TextCase>& param) { return std::string(param.param.name); });

TEST(ConfigChecker, JsonNestingIsBoundedByMemoryNotByTheStack) {
    // Deeper than QJsonDocument's 1024 levels, far deeper than a recursive
    // parser's stack would survive under the sanitizers.
    const int depth = 200000;
    const QByteArray deep = QByteArray(depth, '[') + QByteArray(depth, ']');
    EXPECT_EQ(jsonError(deep), u"OK"_s);
    EXPECT_EQ(jsonError(deep.chopped(1)),
              u"unexpected end of data at line 1, column %1"_s.arg(2 * depth));
}

TEST(ConfigChecker, JsonTellsACutFromOtherFaults) {
    bool cutShort = false;
    EXPECT_NE(jsonError("{\"a\": [1, 2", &cutShort), u"OK"_s);
    EXPECT_TRUE(cutShort);
    EXPECT_NE(jsonError("{\"a\": [1,,]", &cutShort), u"OK"_s);
    EXPECT_FALSE(cutShort);
}

// ---- XML ----

class XmlFiles : public testing::TestWithParam<TextCase> {};

TEST_P(XmlFiles, MustBeWellFormed) {
    EXPECT_EQ(xmlError(GetParam().data), QString::fromUtf8(GetParam().verdict));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, XmlFiles,
    testing::Values(
        TextCase{"element", "<a/>", "OK"},
        TextCase{"prologAndMisc",
                 "<?xml version=\"1.0\"?>\n<!-- c -->\n<?pi x?>\n<a><![CDATA[<&>]]>&amp;</a>\n",
                 "OK"},
        TextCase{"internalEntity", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>", "OK"},
        TextCase{"externalDtd",
                 "<!DOCTYPE fontconfig SYSTEM \"urn:fontconfig:fonts.dtd\"><fontconfig/>", "OK"},
        TextCase{"latin1Declared", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xe9</a>",
                 "OK"},
        TextCase{"utf16", QByteArray("\xff\xfe<\0a\0/\0>\0", 10), "OK"},
        TextCase{"empty", "", "Premature end of document at line 1, column 0"},
        TextCase{"cutElement", "<a>\n  <b>x</b>\n  <c",
                 "Premature end of document at line 3, column 4"},
        TextCase{"mismatch", "<a></b>", "Opening and ending tag mismatch at line 1, column 7"},
        TextCase{"twoRoots", "<a/><b/>", "Extra content at end of document at line 1, column 8"},
        TextCase{"undeclaredEntity", "<a>\n  &foo;</a>",
                 "Entity 'foo' not declared at line 2, column 7"},
        TextCase{"control", "<a>\x01</a>", "Unexpected '' at line 1, column 4"},
        TextCase{"nul", QByteArray("<a>\0</a>", 8), "NUL byte at line 1, column 4"},
        // The reader lets a cut character at the very end pass; the check does not.
        TextCase{"strayByteAtEnd", "<a/>\xde",
                 "document ends inside a character at line 1, column 6"},
        TextCase{"strayByteAfterUnknownEncoding",
                 "<?xml version=\"1.0\" encoding=\"UT-F8\"?><a/>\xde",
                 "document ends inside a character at line 1, column 44"},
        TextCase{"oddUtf16", QByteArray("\xff\xfe<\0a\0/\0>\0A", 11),
                 "document ends inside a character at byte offset 11"},
        TextCase{"notUtf8", "<a>\xff</a>",
                 "Encountered incorrectly encoded content at line 1, column 2"}),
    [](const testing::TestParamInfo<TextCase>& param) { return std::string(param.param.name); });

TEST(ConfigChecker, XmlEntityExpansionIsBounded) {
    // Ten levels of ten references each would expand to 10^10 characters.
    QByteArray doc = "<!DOCTYPE a [<!ENTITY e0 \"xxxxxxxxxx\">";
    for (int level = 1; level < 10; ++level) {
        doc += "<!ENTITY e" + QByteArray::number(level) + " \"";
        for (int i = 0; i < 10; ++i)
            doc += "&e" + QByteArray::number(level - 1) + ";";
        doc += "\">";
    }
    doc += "]><a>&e9;</a>";
    EXPECT_NE(xmlError(doc), u"OK"_s);
}

// ---- dconf databases made by dconf itself ----

namespace {

// Compiles key files with `dconf compile`, as dconf's tools build the system
// databases; an empty result means dconf was not there.
QByteArray compileDatabase(const Sandbox& sandbox, const QMap<QString, QByteArray>& keyFiles,
                           const QStringList& environment = {}) {
    const QString dconf = QStandardPaths::findExecutable(u"dconf"_s);
    if (dconf.isEmpty())
        return {};
    const QString folder = sandbox.makeFolder(sandbox.path() + u"/keyfiles.d"_s);
    for (auto it = keyFiles.cbegin(); it != keyFiles.cend(); ++it)
        sandbox.makeFile(sandbox.path() + u"/keyfiles.d/"_s + it.key(), it.value());
    const QString output = sandbox.path() + u"/compiled"_s;
    QProcess process;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const QString& variable : environment)
        variables.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    process.setProcessEnvironment(variables);
    process.start(dconf, {u"compile"_s, output, folder});
    if (!process.waitForFinished(30000) || process.exitCode() != 0) {
        ADD_FAILURE() << "dconf compile failed: " << process.readAllStandardError().toStdString();
        return {};
    }
    return readAll(output);
}

const QByteArray kSettings = R"([org/gnome/desktop/interface]
color-scheme='prefer-dark'
font-name='Cantarell 11'
text-scaling-factor=1.25

[org/gnome/shell]
favorite-apps=['org.gnome.Nautilus.desktop', 'firefox-esr.desktop']

[org/example/notes]
window-size=(800, 600)
autosave=true
counter=uint32 7
big=int64 -9000000000
ratio=2.5
mode=byte 0x2a
maybe=@ms 'x'
nested={'a': <1>, 'b': <'two'>}
empty=@as []
path=objectpath '/org/example'
)";

// The parts of a compiled file the damage below aims at: the root table's
// items, read as the format lays them out (little-endian, as dconf writes).
struct Layout {
    quint32 root = 0;
    quint32 bucketsAt = 0;
    quint32 bucketCount = 0;
    quint32 itemsAt = 0;
    quint32 itemCount = 0;

    explicit Layout(const QByteArray& data) {
        root = u32(data, 16);
        bucketCount = u32(data, root + 4);
        bucketsAt = root + 8 + 4 * (u32(data, root) & ((1u << 27) - 1));
        itemsAt = bucketsAt + 4 * bucketCount;
        itemCount = (u32(data, 20) - itemsAt) / 24;
    }
    static quint32 u32(const QByteArray& data, quint32 at) {
        return qFromLittleEndian<quint32>(data.constData() + at);
    }
    // The first item of a type, or -1.
    qint64 itemOfType(const QByteArray& data, char type) const {
        for (quint32 i = 0; i < itemCount; ++i) {
            if (data.at(itemsAt + 24 * i + 14) == type)
                return itemsAt + 24 * i;
        }
        return -1;
    }
};

void put32(QByteArray& data, qint64 at, quint32 value) {
    qToLittleEndian(value, data.data() + at);
}

} // namespace

class DconfDatabase : public testing::Test {
protected:
    void SetUp() override {
        if (QStandardPaths::findExecutable(u"dconf"_s).isEmpty())
            GTEST_SKIP() << "the dconf command (dconf-cli) is not installed";
        database = compileDatabase(sandbox, {{u"00-settings"_s, kSettings}});
        ASSERT_FALSE(database.isEmpty());
    }

    Sandbox sandbox;
    QByteArray database;
};

TEST_F(DconfDatabase, CompiledDatabasesPass) {
    EXPECT_EQ(gvdbError(database), u"OK"_s);
    EXPECT_EQ(ConfigChecker::check(u"/home/u/.config/dconf/user"_s, database), u"OK"_s);

    Sandbox others;
    // No keys at all: the root key is an item with no value, whose type and
    // value pointer dconf leaves unwritten; scribbled memory shows it.
    EXPECT_EQ(gvdbError(compileDatabase(others, {})), u"OK"_s);
    Sandbox scribbled;
    EXPECT_EQ(gvdbError(compileDatabase(scribbled, {}, {u"MALLOC_PERTURB_=170"_s})), u"OK"_s);
    // Locks make a nested table; a key path outside ASCII tests the hash of
    // signed characters.
    Sandbox locked;
    locked.makeFile(locked.path() + u"/keyfiles.d/locks/00-locks"_s,
                    "/org/example/notes/autosave\n");
    const QByteArray lockedDatabase =
        compileDatabase(locked, {{u"00-settings"_s, kSettings},
                                 {u"01-unicode"_s, "[org/exämple/ñ]\nclé='välue'\n"}});
    EXPECT_EQ(gvdbError(lockedDatabase), u"OK"_s);
    // Hundreds of keys spread over many buckets.
    QByteArray many;
    for (int group = 0; group < 20; ++group) {
        many += "[org/example/group" + QByteArray::number(group) + "]\n";
        for (int key = 0; key < 20; ++key)
            many += "key" + QByteArray::number(key) + "=" + QByteArray::number(group * key) + "\n";
    }
    Sandbox large;
    EXPECT_EQ(gvdbError(compileDatabase(large, {{u"00-many"_s, many}})), u"OK"_s);
}

TEST_F(DconfDatabase, EveryTruncationIsDamage) {
    for (qsizetype size = 0; size < database.size(); ++size)
        EXPECT_NE(gvdbError(database.left(size)), u"OK"_s) << "cut at " << size;
    EXPECT_EQ(gvdbError(database.left(10)), u"header cut short at byte offset 10"_s);
}

struct Damage {
    const char* name;
    std::function<qint64(QByteArray&, const Layout&)> apply; // returns the offset named
    const char* fault;
};

class DconfDamage : public DconfDatabase, public testing::WithParamInterface<Damage> {};

TEST_P(DconfDamage, IsFoundWhereItLies) {
    const Layout layout(database);
    ASSERT_GT(layout.itemCount, 3u);
    QByteArray damagedDatabase = database;
    const qint64 offset = GetParam().apply(damagedDatabase, layout);
    ASSERT_GE(offset, 0);
    EXPECT_EQ(gvdbError(damagedDatabase),
              u"%1 at byte offset %2"_s.arg(QString::fromUtf8(GetParam().fault)).arg(offset));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigChecker, DconfDamage,
    testing::Values(Damage{"signature",
                           [](QByteArray& d, const Layout&) {
                               d[0] = 'g';
                               return 0;
                           },
                           "wrong signature"},
                    Damage{"version",
                           [](QByteArray& d, const Layout&) {
                               put32(d, 8, 1);
                               return 8;
                           },
                           "unsupported version 1"},
                    Damage{"rootPastTheEnd",
                           [](QByteArray& d, const Layout&) {
                               put32(d, 20, quint32(d.size() + 4));
                               return 16;
                           },
                           "hash table outside the file"},
                    Damage{"rootMisaligned",
                           [](QByteArray& d, const Layout& l) {
                               put32(d, 16, l.root + 2);
                               return 16;
                           },
                           "misaligned hash table"},
                    Damage{"tooManyBuckets",
                           [](QByteArray& d, const Layout& l) {
                               put32(d, l.root + 4, 0x40000000);
                               return l.root + 4;
                           },
                           "hash buckets overrun their table"},
                    Damage{"bucketsOutOfOrder",
                           [](QByteArray& d, const Layout& l) {
                               put32(d, l.bucketsAt, l.itemCount);
                               return l.bucketsAt + 4;
                           },
                           "hash buckets out of order"},
                    Damage{"valuePastTheEnd",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               put32(d, item + 20, quint32(d.size() + 8));
                               return item + 16;
                           },
                           "value outside the file"},
                    Damage{"valueMisaligned",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               put32(d, item + 16, Layout::u32(d, quint32(item + 16)) - 4);
                               return item + 16;
                           },
                           "misaligned value"},
                    Damage{"parentOutOfRange",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               put32(d, item + 4, l.itemCount);
                               return item + 4;
                           },
                           "parent index out of range"},
                    Damage{"parentLoop",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               put32(d, item + 4, quint32((item - l.itemsAt) / 24));
                               return item + 4;
                           },
                           "parent chain loops"},
                    Damage{"keyPastTheEnd",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               put32(d, item + 8, quint32(d.size() - 1));
                               return item + 8;
                           },
                           "key outside the file"},
                    Damage{"keyAltered",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               d[Layout::u32(d, quint32(item + 8))] ^= 0x20;
                               return item;
                           },
                           "hash value does not match the key"},
                    Damage{"itemInAnotherBucket",
                           [](QByteArray& d, const Layout& l) {
                               // The next hash value belongs to the next bucket.
                               const qint64 item = l.itemOfType(d, 'v');
                               put32(d, item, Layout::u32(d, quint32(item)) + 1);
                               return item;
                           },
                           "hash item outside its bucket"},
                    Damage{"childOutOfRange",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'L');
                               const quint32 list = Layout::u32(d, quint32(item + 16));
                               put32(d, list, 0xFFFF);
                               return list;
                           },
                           "child index out of range"},
                    Damage{"valueTypeAltered",
                           [](QByteArray& d, const Layout& l) {
                               const qint64 item = l.itemOfType(d, 'v');
                               const quint32 end = Layout::u32(d, quint32(item + 20));
                               d[end - 1] = 'Z';
                               qint64 separator = end - 1;
                               while (d.at(separator - 1) != 0)
                                   --separator;
                               return separator;
                           },
                           "invalid value type"}),
    [](const testing::TestParamInfo<Damage>& param) { return std::string(param.param.name); });

TEST(ConfigChecker, DconfDatabasesInEitherByteOrder) {
    // The smallest database, an empty root table, written both ways.
    QByteArray little("GVariant", 8);
    little += QByteArray(8, '\0');
    little += QByteArray("\x18\0\0\0\x20\0\0\0", 8) + QByteArray(8, '\0');
    EXPECT_EQ(gvdbError(little), u"OK"_s);
    QByteArray big("raVGtnai", 8);
    big += QByteArray(8, '\0');
    big += QByteArray("\0\0\0\x18\0\0\0\x20", 8) + QByteArray(8, '\0');
    EXPECT_EQ(gvdbError(big), u"OK"_s);
    // Read in the wrong order, the root pointer lies far outside the file.
    big.replace(0, 8, "GVariant");
    EXPECT_EQ(gvdbError(big), u"hash table outside the file at byte offset 16"_s);
}
