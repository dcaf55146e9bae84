// Domain names and patterns: pure functions, no dconf needed.
#include "linux/dconf_domains.h"

#include "qt_printers.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct NameCase {
    QString path;
    QString domain;
};

class DconfNameTest : public ::testing::TestWithParam<NameCase> {};

TEST_P(DconfNameTest, PathAndDomainNameEachOther) {
    EXPECT_EQ(DconfDomains::domainOfPath(GetParam().path), GetParam().domain);
    EXPECT_EQ(DconfDomains::pathOfDomain(GetParam().domain), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    Names, DconfNameTest,
    ::testing::Values(NameCase{u"/org/gnome/TextEditor/"_s, u"org.gnome.TextEditor"_s},
                      NameCase{u"/a/"_s, u"a"_s},
                      // A dot inside a component is escaped, and so is the escape character.
                      NameCase{u"/org/gnome/shell/extensions/dock@x.org/"_s,
                               u"org.gnome.shell.extensions.dock@x%2Eorg"_s},
                      NameCase{u"/a/100%/b/"_s, u"a.100%25.b"_s},
                      NameCase{u"/a/%2E/"_s, u"a.%252E"_s}, NameCase{u"/a/./"_s, u"a.%2E"_s}));

TEST(DconfNames, LowerCaseEscapesAreRead) {
    EXPECT_EQ(DconfDomains::pathOfDomain(u"a.b%2ec"_s), u"/a/b.c/"_s);
}

TEST(DconfNames, WhatIsNotADomainHasNoPath) {
    for (const QString& domain :
         {u""_s, u".a"_s, u"a."_s, u"a..b"_s, u"a/b.c"_s, u"a%zz"_s, u"a%2"_s, u"a%2F"_s})
        EXPECT_EQ(DconfDomains::pathOfDomain(domain), QString()) << qPrintable(domain);
}

TEST(DconfNames, WhatIsNotADirectoryHasNoDomain) {
    // The root holds no application's settings.
    for (const QString& path : {u"/"_s, u""_s, u"a/"_s, u"/a"_s, u"//"_s, u"/a//b/"_s})
        EXPECT_EQ(DconfDomains::domainOfPath(path), QString()) << qPrintable(path);
}

const QStringList kDomains = {
    u"org.gnome.TextEditor"_s,
    u"org.gnome.TextEditor.plugins"_s,
    u"org.gnome.TextEditorPlugins"_s,
    u"org.gnome.sound-juicer"_s,
    u"org.gnome.rhythmbox"_s,
    u"org.gnome.rhythmbox.plugins.audiocd"_s,
    u"org.gnome.gedit"_s,
    u"org.gnome.desktop.interface"_s,
    u"org.gnome.shell.extensions.dash-to-dock"_s,
    u"com.example.Foo_Bar"_s,
    u"com.example.Nautilus2"_s,
    u"org.sorvane.dock@x%2Eorg"_s,
};

struct MatchCase {
    QString pattern;
    QStringList expected;
};

class DconfMatchTest : public ::testing::TestWithParam<MatchCase> {};

TEST_P(DconfMatchTest, PatternFindsExactlyItsDomains) {
    EXPECT_EQ(DconfDomains::matches(kDomains, GetParam().pattern), GetParam().expected);
}

const QStringList kTextEditor = {u"org.gnome.TextEditor"_s, u"org.gnome.TextEditor.plugins"_s};
const QStringList kRhythmbox = {u"org.gnome.rhythmbox"_s, u"org.gnome.rhythmbox.plugins.audiocd"_s};

INSTANTIATE_TEST_SUITE_P(
    Patterns, DconfMatchTest,
    ::testing::Values(
        // The domain and its subtree, never a longer name.
        MatchCase{u"org.gnome.TextEditor"_s, kTextEditor},
        MatchCase{u"ORG.GNOME.texteditor"_s, kTextEditor},
        MatchCase{u"org.gnome.text-editor"_s, kTextEditor},
        MatchCase{u"org.gnome.text_editor"_s, kTextEditor}, MatchCase{u"org.gnome.TextEdit"_s, {}},
        MatchCase{u"org.gnome.TextEditor.plugins"_s, {u"org.gnome.TextEditor.plugins"_s}},
        MatchCase{u"org.gnome.desktop"_s, {u"org.gnome.desktop.interface"_s}},
        // CamelCase and dashes.
        MatchCase{u"org.gnome.SoundJuicer"_s, {u"org.gnome.sound-juicer"_s}},
        MatchCase{u"org.gnome.shell.extensions.DashToDock"_s,
                  {u"org.gnome.shell.extensions.dash-to-dock"_s}},
        MatchCase{u"com.example.FooBar"_s, {u"com.example.Foo_Bar"_s}},
        // A trailing version number of the application's name; the domain's
        // own number tells one application from another.
        MatchCase{u"org.gnome.Rhythmbox3"_s, kRhythmbox},
        MatchCase{u"com.example.Nautilus2"_s, {u"com.example.Nautilus2"_s}},
        MatchCase{u"com.example.Nautilus"_s, {}},
        MatchCase{u"com.example.Nautilus41"_s, {}},
        // Wildcards say what a name alone does not.
        MatchCase{u"org.gnome.TextEditor*"_s,
                  kTextEditor + QStringList{u"org.gnome.TextEditorPlugins"_s}},
        MatchCase{u"org.gnome.?edit"_s, {u"org.gnome.gedit"_s}},
        MatchCase{u"org.gnome.Rhythm?ox"_s, kRhythmbox},
        MatchCase{u"*.desktop.*"_s, {u"org.gnome.desktop.interface"_s}},
        MatchCase{u"*dock*"_s,
                  {u"org.gnome.shell.extensions.dash-to-dock"_s, u"org.sorvane.dock@x%2Eorg"_s}},
        // The whole name must match, and a name is matched as it is written.
        MatchCase{u"gnome"_s, {}}, MatchCase{u"TextEditor"_s, {}},
        MatchCase{u"org.sorvane.dock@x%2Eorg"_s, {u"org.sorvane.dock@x%2Eorg"_s}},
        MatchCase{u"org.sorvane.dock@x.org"_s, {}}));

} // namespace
