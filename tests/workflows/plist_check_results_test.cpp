#include "workflows/plist_check_results.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList describe(const QList<PlutilError>& errors) {
    QStringList lines;
    for (const PlutilError& error : errors)
        lines.append(error.path() + u" -> "_s + error.error());
    return lines;
}

TEST(PlistCheckResults, FiltersTheAnswerIntoRows) {
    const QMap<QString, QString> answer = {
        {u"/p/good.plist"_s, u"OK"_s},
        {u"/p/also-good.plist"_s, u"ok"_s},
        {u"/p/com.apple.TimeMachine.plist"_s, u"Unexpected character at line 1"_s},
        {u"/p/com.apple.timemachine.plist"_s, u"Unexpected character at line 1"_s},
        {u"/p/empty.plist"_s, u"Cannot parse a NULL or zero-length data"_s},
        {u"/p/empty-with-details.plist"_s,
         u"Cannot parse a NULL or zero-length data (Error Domain=X Code=1)"_s},
        {u"/p/broken.plist"_s,
         u"Unexpected end of file at offset 42 (Error Domain=NSCocoaErrorDomain Code=3840 \"x\")"_s},
        {u"/p/marker-first.plist"_s, u" (Error Domain=Z)"_s},
        {u"/p/twice.plist"_s, u"a (Error Domain=1) b (Error Domain=2)"_s},
    };
    EXPECT_EQ(
        describe(PlistCheckResults::plutilErrorsFromAnswer(answer)),
        (QStringList{u"/p/broken.plist -> Unexpected end of file at offset 42"_s,
                     u"/p/com.apple.timemachine.plist -> Unexpected character at line 1"_s,
                     u"/p/empty-with-details.plist -> Cannot parse a NULL or zero-length data"_s,
                     u"/p/marker-first.plist -> "_s, u"/p/twice.plist -> a"_s}));
}

TEST(PlistCheckResults, ExcludedNamesAreExactAndCaseSensitive) {
    for (const QString& name :
         {u"com.apple.mail-shared.plist"_s, u"com.apple.homed.notbackedup.plist"_s,
          u"com.apple.universalaccess.plist"_s, u"com.apple.homed.plist"_s,
          u"com.apple.AddressBook.plist"_s, u"com.apple.TimeMachine.plist"_s})
        EXPECT_TRUE(PlistCheckResults::isExcludedFileName(name)) << name.toStdString();
    EXPECT_FALSE(PlistCheckResults::isExcludedFileName(u"com.apple.addressbook.plist"_s));
    EXPECT_FALSE(PlistCheckResults::isExcludedFileName(u"com.apple.homed.plist.bak"_s));
}

TEST(PlutilError, TicksAndToggles) {
    PlutilError error(u"/p/x.plist"_s, u"bad"_s);
    EXPECT_TRUE(error.selected());
    EXPECT_EQ(error.url(), QUrl::fromLocalFile(u"/p/x.plist"_s));
    error.toggleSelected();
    error.toggleSelected();
    EXPECT_TRUE(error.selected());
    error.checkboxAction(Qt::PartiallyChecked);
    EXPECT_FALSE(error.selected());
    error.checkboxAction(Qt::Checked);
    EXPECT_TRUE(error.selected());
}

} // namespace
