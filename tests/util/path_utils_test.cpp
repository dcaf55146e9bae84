#include "util/path_utils.h"
#include "util/string_extensions.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct ComponentsCase {
    QString path;
    QStringList components;
};

class PathComponents : public ::testing::TestWithParam<ComponentsCase> {};

TEST_P(PathComponents, SplitsAsTheSearchRulesExpect) {
    EXPECT_EQ(sv::pathComponents(GetParam().path), GetParam().components);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PathComponents,
    ::testing::Values(ComponentsCase{u""_s, {}}, ComponentsCase{u"/"_s, {u"/"_s}},
                      ComponentsCase{u"/Library"_s, {u"/"_s, u"Library"_s}},
                      ComponentsCase{u"~/Library/*"_s, {u"~"_s, u"Library"_s, u"*"_s}},
                      ComponentsCase{u"tmp//scratch"_s, {u"tmp"_s, u"scratch"_s}},
                      ComponentsCase{u"/usr/bin/"_s, {u"/"_s, u"usr"_s, u"bin"_s, u"/"_s}},
                      ComponentsCase{u"a b/c"_s, {u"a b"_s, u"c"_s}}));

struct PathCase {
    QString path;
    QString last;
    QString extension;
    QString withoutExtension;
};

class PathParts : public ::testing::TestWithParam<PathCase> {};

TEST_P(PathParts, LastComponentExtensionAndStem) {
    const PathCase& c = GetParam();
    EXPECT_EQ(sv::lastPathComponent(c.path), c.last);
    EXPECT_EQ(sv::pathExtension(c.path), c.extension);
    EXPECT_EQ(sv::stringByDeletingPathExtension(c.path), c.withoutExtension);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PathParts,
    ::testing::Values(
        PathCase{u"/tmp/scratch.tiff"_s, u"scratch.tiff"_s, u"tiff"_s, u"/tmp/scratch"_s},
        PathCase{u"/tmp/"_s, u"tmp"_s, u""_s, u"/tmp"_s}, PathCase{u"/"_s, u"/"_s, u""_s, u"/"_s},
        PathCase{u"Maps.app"_s, u"Maps.app"_s, u"app"_s, u"Maps"_s},
        PathCase{u"a.tar.gz"_s, u"a.tar.gz"_s, u"gz"_s, u"a.tar"_s},
        PathCase{u".hidden"_s, u".hidden"_s, u""_s, u".hidden"_s},
        PathCase{u"/x/.vst3"_s, u".vst3"_s, u""_s, u"/x/.vst3"_s},
        PathCase{u"scratch.bundle/"_s, u"scratch.bundle"_s, u"bundle"_s, u"scratch"_s},
        PathCase{u"/a.b/c"_s, u"c"_s, u""_s, u"/a.b/c"_s},
        PathCase{u"name."_s, u"name."_s, u""_s, u"name"_s},
        PathCase{u".."_s, u".."_s, u""_s, u".."_s}));

struct AppendCase {
    QString path;
    QString component;
    QString joined;
};

class AppendComponent : public ::testing::TestWithParam<AppendCase> {};

TEST_P(AppendComponent, JoinsWithOneSlash) {
    EXPECT_EQ(sv::stringByAppendingPathComponent(GetParam().path, GetParam().component),
              GetParam().joined);
}

INSTANTIATE_TEST_SUITE_P(Table, AppendComponent,
                         ::testing::Values(AppendCase{u"/tmp"_s, u"x"_s, u"/tmp/x"_s},
                                           AppendCase{u"/tmp/"_s, u"x"_s, u"/tmp/x"_s},
                                           AppendCase{u"/"_s, u"x"_s, u"/x"_s},
                                           AppendCase{u""_s, u"x"_s, u"x"_s},
                                           AppendCase{u"~"_s, u"Library"_s, u"~/Library"_s},
                                           AppendCase{u"/tmp"_s, u""_s, u"/tmp"_s}));

TEST(TildeExpansion, UsesHomeAndLeavesOtherPathsAlone) {
    const QString home = QDir::homePath();
    EXPECT_EQ(sv::stringByExpandingTildeInPath(u"~"_s), home);
    EXPECT_EQ(sv::stringByExpandingTildeInPath(u"~/Library/"_s), home + u"/Library"_s);
    EXPECT_EQ(sv::stringByExpandingTildeInPath(u"/Library"_s), u"/Library"_s);
    EXPECT_EQ(sv::stringByExpandingTildeInPath(u"Library/~"_s), u"Library/~"_s);
    EXPECT_EQ(sv::stringByExpandingTildeInPath(u"~root/x"_s), u"/root/x"_s);
    EXPECT_EQ(sv::stringByExpandingTildeInPath(u"~no-such-user-sv/x"_s), u"~no-such-user-sv/x"_s);
}

struct TildeCase {
    QString path;
    QString abbreviated;
};

class InsertTilde : public ::testing::TestWithParam<TildeCase> {};

TEST_P(InsertTilde, AbbreviatesAnyUsersHome) {
    EXPECT_EQ(sv::stringByInsertingTildeInPath(GetParam().path), GetParam().abbreviated);
}

INSTANTIATE_TEST_SUITE_P(
    Table, InsertTilde,
    ::testing::Values(TildeCase{u"/Users/anna"_s, u"~"_s}, TildeCase{u"/Users/anna/"_s, u"~"_s},
                      TildeCase{u"/Users/anna/Library/Preferences/x.plist"_s,
                                u"~/Library/Preferences/x.plist"_s},
                      TildeCase{u"/Users/Shared/Data"_s, u"/Users/Shared/Data"_s},
                      TildeCase{u"/Users/Shared"_s, u"/Users/Shared"_s},
                      TildeCase{u"/Users"_s, u"/Users"_s}, TildeCase{u"/Users/"_s, u"/Users/"_s},
                      TildeCase{u"/Library/Preferences"_s, u"/Library/Preferences"_s},
                      TildeCase{u"/Usersfoo/bar"_s, u"~/bar"_s},
                      TildeCase{u"/Users/SharedX/y"_s, u"~/y"_s}));

struct AffixCase {
    QString string;
    QString affix;
    bool starts;
    bool ends;
};

class Affixes : public ::testing::TestWithParam<AffixCase> {};

TEST_P(Affixes, ExactCaseSensitiveTests) {
    EXPECT_EQ(sv::startsWithString(GetParam().string, GetParam().affix), GetParam().starts);
    EXPECT_EQ(sv::endsWithString(GetParam().string, GetParam().affix), GetParam().ends);
}

INSTANTIATE_TEST_SUITE_P(Table, Affixes,
                         ::testing::Values(AffixCase{u""_s, u""_s, true, true},
                                           AffixCase{u"abc"_s, u""_s, true, true},
                                           AffixCase{u"abc"_s, u"abc"_s, true, true},
                                           AffixCase{u"abc"_s, u"ab"_s, true, false},
                                           AffixCase{u"abc"_s, u"bc"_s, false, true},
                                           AffixCase{u"abc"_s, u"BC"_s, false, false},
                                           AffixCase{u"abc"_s, u"ABC"_s, false, false},
                                           AffixCase{u"ab"_s, u"abc"_s, false, false},
                                           AffixCase{u"e\u0301"_s, u"\u00e9"_s, false, false}));

} // namespace
