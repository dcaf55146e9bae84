#include "workflows/property_list_check.h"

#include "recording_helper.h"
#include "sandbox.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(PropertyListCheck, FoldersOfBothActions) {
    Sandbox sandbox;
    EXPECT_EQ(PropertyListCheck::userPreferencesFolder(),
              sandbox.homePath(u"Library/Preferences"_s));
    EXPECT_EQ(PropertyListCheck::systemPreferencesFolder(),
              sandbox.rootPath(u"Library/Preferences"_s));
}

TEST(PropertyListCheck, CountsEveryCheckedFileAndListsOnlyFailures) {
    RecordingHelper helper;
    helper.checkAnswer =
        QMap<QString, QString>{{u"/p/good.plist"_s, u"OK"_s},
                               {u"/p/bad.plist"_s, u"Broken (Error Domain=X)"_s},
                               {u"/p/com.apple.TimeMachine.plist"_s, u"Broken"_s},
                               {u"/p/empty.plist"_s, u"Cannot parse a NULL or zero-length data"_s}};
    std::atomic<bool> waiting = false;
    helper.onCheck = [&waiting] { EXPECT_TRUE(waiting.load()); };
    PropertyListCheck check(helper);
    const auto result = check.checkPlistsAtPath(u"/p"_s, &waiting);
    EXPECT_FALSE(waiting.load());
    EXPECT_EQ(helper.calls, QStringList{u"checkPlistsAtUrl /p"_s});
    EXPECT_EQ(result.filesScanned, 4u);
    ASSERT_EQ(result.plutilErrors.size(), 1);
    EXPECT_EQ(result.plutilErrors.first().path(), u"/p/bad.plist"_s);
    EXPECT_EQ(result.plutilErrors.first().error(), u"Broken"_s);
}

TEST(PropertyListCheck, NoAnswerIsACheckOfZeroFiles) {
    RecordingHelper helper;
    PropertyListCheck check(helper);
    const auto result = check.checkPlistsAtPath(u"/p"_s);
    EXPECT_EQ(result.filesScanned, 0u);
    EXPECT_TRUE(result.plutilErrors.isEmpty());
}

TEST(PropertyListCheck, DeletesTickedRowsThroughTheHelperOnly) {
    RecordingHelper helper;
    helper.deleteFileAnswer = [](const QUrl& url) { return !url.path().contains(u"stuck"_s); };
    QList<PlutilError> rows{
        {u"/p/a.plist"_s, u"x"_s}, {u"/p/stuck.plist"_s, u"x"_s}, {u"/p/kept.plist"_s, u"x"_s}};
    rows[2].setSelected(false);
    PropertyListCheck check(helper);
    EXPECT_EQ(check.deleteSelectedPlutilFiles(rows), (DeletionCounter{1, 1}));
    EXPECT_EQ(helper.calls,
              (QStringList{u"deleteFileAtUrl /p/a.plist"_s, u"deleteFileAtUrl /p/stuck.plist"_s}));

    for (PlutilError& row : rows)
        row.setSelected(false);
    helper.calls.clear();
    EXPECT_EQ(check.deleteSelectedPlutilFiles(rows), (DeletionCounter{0, 0}));
    EXPECT_TRUE(helper.calls.isEmpty());
}

TEST(PropertyListCheck, InvertingSwapsEachTickAndTwiceRestores) {
    QList<PlutilError> rows{{u"/a"_s, u"x"_s}, {u"/b"_s, u"x"_s}, {u"/c"_s, u"x"_s}};
    rows[1].setSelected(false);
    PropertyListCheck::toggleSelectedPlutilFiles(rows);
    EXPECT_EQ((QList<bool>{rows[0].selected(), rows[1].selected(), rows[2].selected()}),
              (QList<bool>{false, true, false}));
    PropertyListCheck::toggleSelectedPlutilFiles(rows);
    EXPECT_EQ((QList<bool>{rows[0].selected(), rows[1].selected(), rows[2].selected()}),
              (QList<bool>{true, false, true}));
}

} // namespace
