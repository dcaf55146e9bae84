#include "search/wildcard_matcher.h"

#include "log_capture.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct MatchCase {
    QString subject;
    QString pattern;
    bool matches;
};

void PrintTo(const MatchCase& c, std::ostream* os) {
    *os << c.subject.toStdString() << " ~ " << c.pattern.toStdString();
}

class WildcardMatch : public ::testing::TestWithParam<MatchCase> {};

TEST_P(WildcardMatch, Verdict) {
    EXPECT_EQ(sv::matchesWildcardString(GetParam().subject, GetParam().pattern),
              GetParam().matches);
}

// The self-check's pass and fail groups.
INSTANTIATE_TEST_SUITE_P(
    SelfCheck, WildcardMatch,
    ::testing::Values(
        MatchCase{u"one---"_s, u"one??"_s, true}, MatchCase{u"---two"_s, u"??two"_s, true},
        MatchCase{u"---one---"_s, u"??one??"_s, true},
        MatchCase{u"one---two---three"_s, u"one??two??three"_s, true},
        MatchCase{u"one---twotwo---three"_s, u"one??two??three"_s, true},
        MatchCase{u"one---twotwo---three-twothreefourfive"_s, u"one??two??three??"_s, true},
        MatchCase{u"---one---two----three--"_s, u"??one??two??three??"_s, true},
        MatchCase{u"---one---two----three--three--"_s, u"??one??two??three??"_s, true},
        MatchCase{u"---one---two----three--five????three--two--threee---"_s,
                  u"??one??two??three??"_s, true},
        MatchCase{u"1one---"_s, u"one??"_s, false}, MatchCase{u"2---two"_s, u"??one"_s, false},
        MatchCase{u"---o1ne---"_s, u"??one??"_s, false},
        MatchCase{u"one---two---three4"_s, u"one??two??three"_s, false},
        MatchCase{u"one---twotwo---three4"_s, u"one??two??three"_s, false},
        MatchCase{u"one---twotwwo---thee-twotreefourfive"_s, u"one??two??three??"_s, false},
        MatchCase{u"---one---two----thre--"_s, u"??one??two??three??"_s, false},
        MatchCase{u"---one---to----three--three--"_s, u"??one??two??three??"_s, false},
        MatchCase{u"---one---three----three--five????three--two--treee---"_s,
                  u"??one??two??three??"_s, false}));

// The further behaviour of the pattern language.
INSTANTIATE_TEST_SUITE_P(
    Further, WildcardMatch,
    ::testing::Values(
        MatchCase{u"abc"_s, u"abc"_s, true}, MatchCase{u"abcd"_s, u"abc"_s, false},
        MatchCase{u"ab"_s, u"abc"_s, false}, MatchCase{u"abc"_s, u"a?c"_s, true},
        MatchCase{u"ac"_s, u"a?c"_s, false}, MatchCase{u"ABC"_s, u"abc"_s, false},
        MatchCase{u""_s, u"??"_s, true}, MatchCase{u"anything at all"_s, u"??"_s, true},
        MatchCase{u""_s, u""_s, true}, MatchCase{u"x"_s, u""_s, false},
        MatchCase{u"twoxtwo"_s, u"??two"_s, false}, MatchCase{u"twoxtwo"_s, u"??two??"_s, true},
        MatchCase{u"xxabc"_s, u"??a?c"_s, false}, MatchCase{u"xxa?c"_s, u"??a?c"_s, true},
        MatchCase{u"plugin.vst3"_s, u"??.vst3"_s, true}, MatchCase{u".vst3"_s, u"??.vst3"_s, true},
        MatchCase{u"plugin.vst"_s, u"??.vst3"_s, false}, MatchCase{u"x"_s, u"????"_s, false},
        MatchCase{u"a??"_s, u"????"_s, true}, MatchCase{u"ab"_s, u"???"_s, false},
        MatchCase{u"a?"_s, u"???"_s, true},
        // The scanner drops white space at the start of each piece.
        MatchCase{u"ab"_s, u"  ab"_s, true}, MatchCase{u"xab"_s, u"?? ab"_s, true},
        // Characters compare by their low byte only.
        MatchCase{u"\u0141BC"_s, u"ABC"_s, true}, MatchCase{u"abc"_s, u"\u0161bc"_s, true},
        MatchCase{u"\u0142"_s, u"\u013f"_s, true}, MatchCase{u"\u0100"_s, u"A"_s, false}));

TEST(WildcardMatch, PieceWithQuestionMarkByLowByte) {
    // U+013F has the low byte 0x3F, which is "?".
    EXPECT_TRUE(sv::matchesSimpleWildcardString(u"x", u"\u013f"));
    EXPECT_TRUE(sv::matchesSimpleWildcardString(u"", u"abc"));
    EXPECT_FALSE(sv::matchesSimpleWildcardString(u"b", u"a"));
}

TEST(WildcardMatch, LeftoverComponentsAreLogged) {
    LogCapture log;
    EXPECT_FALSE(sv::matchesSearchComponents(u"xxone", {u"??"_s, u"one"_s, u"??"_s, u"two"_s}));
    EXPECT_EQ(log.lines(), QStringList{u"There are extra search components left over"_s});
}

TEST(WildcardMatch, ListMatching) {
    EXPECT_TRUE(sv::matchesSearchComponents(u"", {}));
    EXPECT_FALSE(sv::matchesSearchComponents(u"a", {}));
    EXPECT_TRUE(sv::matchesSearchComponents(u"a-b", {u"a"_s, u"??"_s, u"b"_s}));
}

struct SplitCase {
    QString expression;
    QStringList components;
};

class SearchComponents : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SearchComponents, AlternatesPlainPathsAndWildcards) {
    EXPECT_EQ(sv::searchComponents(GetParam().expression), GetParam().components);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SearchComponents,
    ::testing::Values(SplitCase{u"~/Library/*/Plug-Ins/*/??.vst3"_s,
                                {u"~/Library"_s, u"*"_s, u"Plug-Ins"_s, u"*"_s, u"??.vst3"_s}},
                      SplitCase{u"/Library"_s, {u"/Library"_s}}, SplitCase{u""_s, {}},
                      SplitCase{u"*/x"_s, {u"*"_s, u"x"_s}}, SplitCase{u"/*"_s, {u"/"_s, u"*"_s}},
                      SplitCase{u"~/a/*..*/b"_s, {u"~/a"_s, u"*..*"_s, u"b"_s}},
                      SplitCase{u"~/a/*...*/b"_s, {u"~/a/*...*/b"_s}},
                      SplitCase{u"~/Library/*/*...*"_s, {u"~/Library"_s, u"*"_s, u"*...*"_s}},
                      SplitCase{u"/a/x?y/b/c"_s, {u"/a"_s, u"x?y"_s, u"b/c"_s}},
                      SplitCase{u"/a/*x/b"_s, {u"/a/*x/b"_s}}));

TEST(SearchTestSuite, LogsEveryCaseWithItsVerdict) {
    LogCapture log;
    sv::SVSearchTestSuite();
    QStringList expected{u"NSString+SVSearch Test Suite"_s, u"These should pass..."_s};
    for (int i = 1; i <= 9; ++i)
        expected.append(u"\nTest %1 = YES"_s.arg(i));
    expected.append(u"These should fail..."_s);
    for (int i = 1; i <= 9; ++i)
        expected.append(u"\nTest %1 = NO"_s.arg(i));
    EXPECT_EQ(log.lines(), expected);
}

} // namespace
