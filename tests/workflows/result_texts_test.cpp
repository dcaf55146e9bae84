#include "workflows/result_texts.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct DeletionCase {
    quint32 deleted;
    quint32 errors;
    QString text;
};

class DeletionSummary : public ::testing::TestWithParam<DeletionCase> {};

TEST_P(DeletionSummary, VerbsFollowTheDeletedCount) {
    EXPECT_EQ(ResultTexts::deletionSummary({GetParam().deleted, GetParam().errors}),
              GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, DeletionSummary,
    ::testing::Values(DeletionCase{1, 0, u"1 item was deleted. There was 0 errors."_s},
                      DeletionCase{0, 0, u"0 items were deleted. There were 0 errors."_s},
                      DeletionCase{1, 3, u"1 item was deleted. There was 3 errors."_s},
                      DeletionCase{3, 1, u"3 items were deleted. There were 1 error."_s},
                      DeletionCase{1, 1, u"1 item was deleted. There was 1 error."_s},
                      DeletionCase{4294967295u, 2,
                                   u"4294967295 items were deleted. There were 2 errors."_s}));

struct ScanCase {
    quint32 scanned;
    quint32 failed;
    QString text;
};

class ScanSummary : public ::testing::TestWithParam<ScanCase> {};

TEST_P(ScanSummary, AlwaysWereAndHad) {
    EXPECT_EQ(ResultTexts::scanSummary(GetParam().scanned, GetParam().failed), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ScanSummary,
    ::testing::Values(ScanCase{1, 0, u"1 file were scanned. 0 files had errors."_s},
                      ScanCase{0, 0, u"0 files were scanned. 0 files had errors."_s},
                      ScanCase{12, 1, u"12 files were scanned. 1 file had errors."_s},
                      ScanCase{2, 2, u"2 files were scanned. 2 files had errors."_s}));

TEST(ResultHeadlines, AreFixed) {
    EXPECT_EQ(ResultTexts::operationCompleteHeadline(), u"Operation Complete"_s);
    EXPECT_EQ(ResultTexts::finishedScanningHeadline(), u"Finished Scanning Files"_s);
}

} // namespace
