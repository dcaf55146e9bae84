#include "util/like_matcher.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct LikeCase {
    const char16_t* string;
    const char16_t* pattern;
    bool matches;
};

class LikeMatcherTest : public ::testing::TestWithParam<LikeCase> {};

} // namespace

TEST_P(LikeMatcherTest, MatchesTheWholeStringIgnoringCase) {
    const LikeCase& c = GetParam();
    EXPECT_EQ(
        sv::isCaseInsensitiveLike(QString::fromUtf16(c.string), QString::fromUtf16(c.pattern)),
        c.matches)
        << QString::fromUtf16(c.string).toStdString() << " like "
        << QString::fromUtf16(c.pattern).toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Table, LikeMatcherTest,
    ::testing::Values(LikeCase{u"com.example.app", u"com.example.app", true},
                      LikeCase{u"Com.Example.APP", u"com.example.app", true},
                      LikeCase{u"com.example.app", u"com.example", false},
                      LikeCase{u"com.example", u"com.example.app", false},
                      LikeCase{u"com.example.b\n", u"com.example.b", false},
                      LikeCase{u"com.example.b\n", u"com.example.b*", true},
                      LikeCase{u"com.example.app", u"com.*.app", true},
                      LikeCase{u"com.example.app", u"*", true}, LikeCase{u"", u"*", true},
                      LikeCase{u"", u"", true}, LikeCase{u"", u"?", false},
                      LikeCase{u"com.example.app1", u"com.example.app?", true},
                      LikeCase{u"com.example.app", u"com.example.app?", false},
                      LikeCase{u"com.example.app12", u"com.example.app?", false},
                      LikeCase{u"aXbXc", u"a*b*c", true}, LikeCase{u"abcbd", u"a*bd", true},
                      LikeCase{u"abcbe", u"a*bd", false}, LikeCase{u"ÉCOLE.plist", u"école*", true},
                      LikeCase{u"a.b", u"a?b", true}, LikeCase{u"[ab]", u"[ab]", true},
                      LikeCase{u"a", u"[ab]", false},
                      LikeCase{u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", u"*a*a*a*a*a*a*a*c", false}));
