#include "search/sv_data.h"

#include "log_capture.h"
#include "sandbox.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList paths(const QList<QUrl>& urls) {
    QStringList result;
    for (const QUrl& url : urls)
        result.append(url.toLocalFile());
    return result;
}

// The listing order of a folder as the file system gives it, which is the
// order results must keep.
QStringList listingOrder(const QString& folder) {
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
}

class PathSearch : public ::testing::Test {
protected:
    Sandbox sandbox;
    SVData data;
    LogCapture log;
};

TEST_F(PathSearch, FixedPathsKeepOrderAndDropMissingOnes) {
    const QString a = sandbox.makeFile(sandbox.homePath(u"Library/a.plist"_s));
    const QString b = sandbox.makeFile(sandbox.rootPath(u"Library/Preferences/b.plist"_s));
    EXPECT_EQ(paths(data.existingFilesInArray({u"/Library/Preferences/b.plist"_s,
                                               u"~/Library/missing"_s, u"~/Library/a.plist"_s})),
              (QStringList{b, a}));
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(PathSearch, PlainExpressionBehavesLikeAFixedPath) {
    const QString folder =
        sandbox.makeFolder(sandbox.homePath(u"Library/Application Support/Tool"_s));
    EXPECT_EQ(paths(data.resultsOfSearch(u"~/Library/Application Support/Tool"_s)),
              QStringList{folder});
    EXPECT_TRUE(data.resultsOfSearch(u"~/Library/Application Support/Other"_s).isEmpty());
}

TEST_F(PathSearch, StarFollowsEveryEntryHiddenOnesIncludedInListingOrder) {
    for (const QString& name : {u"Alpha"_s, u".Hidden"_s, u"Beta"_s, u"NoPlugIns"_s})
        sandbox.makeFolder(sandbox.rootPath(u"Library/"_s + name));
    for (const QString& name : {u"Alpha"_s, u".Hidden"_s, u"Beta"_s})
        sandbox.makeFolder(sandbox.rootPath(u"Library/%1/Plug-Ins"_s.arg(name)));
    // A file where a folder is expected yields nothing further.
    sandbox.makeFile(sandbox.rootPath(u"Library/Plug-Ins"_s));

    QStringList expected;
    for (const QString& name : listingOrder(sandbox.rootPath(u"Library"_s))) {
        if (QFile::exists(sandbox.rootPath(u"Library/%1/Plug-Ins"_s.arg(name))))
            expected.append(sandbox.rootPath(u"Library/%1/Plug-Ins"_s.arg(name)));
    }
    ASSERT_EQ(expected.size(), 3);
    EXPECT_EQ(paths(data.resultsOfSearch(u"/Library/*/Plug-Ins"_s)), expected);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(PathSearch, PatternStepsMatchNamesTwoLevelsDown) {
    const QString plugins = sandbox.homePath(u"Library/Audio/Plug-Ins"_s);
    sandbox.makeFile(plugins + u"/Components/Synth.vst3"_s);
    sandbox.makeFile(plugins + u"/Components/.vst3"_s);
    sandbox.makeFile(plugins + u"/Components/Synth.vst"_s);
    sandbox.makeFolder(plugins + u"/VST3/Delay.vst3"_s);
    sandbox.makeFolder(sandbox.homePath(u"Library/Empty"_s));

    QStringList expected;
    for (const QString& folder : listingOrder(plugins)) {
        for (const QString& name : listingOrder(plugins + u'/' + folder)) {
            if (name.endsWith(u".vst3"_s))
                expected.append(plugins + u'/' + folder + u'/' + name);
        }
    }
    ASSERT_EQ(expected.size(), 3);
    EXPECT_EQ(paths(data.resultsOfSearch(u"~/Library/*/Plug-Ins/*/??.vst3"_s)), expected);
}

TEST_F(PathSearch, SingleQuestionMarkMatchesOneCharacter) {
    sandbox.makeFile(sandbox.homePath(u"Library/Logs/a1.log"_s));
    sandbox.makeFile(sandbox.homePath(u"Library/Logs/a12.log"_s));
    EXPECT_EQ(paths(data.resultsOfSearch(u"~/Library/Logs/a?.log"_s)),
              QStringList{sandbox.homePath(u"Library/Logs/a1.log"_s)});
}

TEST_F(PathSearch, LeadingWildcardListsTheSystemRoot) {
    sandbox.makeFolder(sandbox.rootPath(u"Library/Keychains"_s));
    sandbox.makeFolder(sandbox.rootPath(u"System/Keychains"_s));
    QStringList expected;
    for (const QString& name : listingOrder(sandbox.systemRoot())) {
        if (QFile::exists(sandbox.rootPath(name + u"/Keychains"_s)))
            expected.append(sandbox.rootPath(name + u"/Keychains"_s));
    }
    EXPECT_EQ(paths(data.resultsOfSearch(u"*/Keychains"_s)), expected);
}

TEST_F(PathSearch, MissingMiddleFolderGivesNothingSilently) {
    EXPECT_TRUE(data.resultsOfSearch(u"~/Library/NoSuchFolder/*/x"_s).isEmpty());
    EXPECT_TRUE(data.resultsOfSearch(u"~/Library/NoSuchFolder/a?"_s).isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(PathSearch, EveryLevelWildcardIsLoggedAndTreatedAsAName) {
    sandbox.makeFolder(sandbox.homePath(u"Library/Tool"_s));
    sandbox.makeFolder(sandbox.homePath(u"Library/Tool/*...*"_s));
    // Alone between wildcards it is an element of its own: logged, then a name.
    EXPECT_EQ(paths(data.resultsOfSearch(u"~/Library/*/*...*"_s)),
              QStringList{sandbox.homePath(u"Library/Tool/*...*"_s)});
    EXPECT_EQ(log.lines(), QStringList{u"Wildcard *...* not yet implemented."_s});
    log.clear();
    // Beside plain components it is joined into the path and never logged.
    EXPECT_TRUE(data.resultsOfSearch(u"~/Library/*...*/x"_s).isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
    // First of all, it starts from the system root.
    sandbox.makeFolder(sandbox.rootPath(u"*...*/Logs"_s));
    EXPECT_EQ(paths(data.resultsOfSearchIn(QString(), {u"*...*"_s, u"Logs"_s})),
              QStringList{sandbox.rootPath(u"*...*/Logs"_s)});
}

TEST_F(PathSearch, UnlistableFolderLogsTheErrorAndEndsItsBranch) {
    if (runningAsRoot()) {
        // Root lists anything: the same test runs again as an unprivileged user.
        const RerunResult rerun = rerunCurrentTestUnprivileged();
        if (!rerun.ran)
            GTEST_SKIP() << rerun.output.toStdString();
        EXPECT_TRUE(rerun.passed) << rerun.output.toStdString();
        return;
    }
    const QString locked = sandbox.makeFolder(sandbox.homePath(u"Library/Locked"_s));
    sandbox.makeFile(locked + u"/inside"_s);
    const QString open = sandbox.makeFile(sandbox.homePath(u"Library/Open/inside"_s));
    QFile::setPermissions(locked, QFile::Permissions());
    const QStringList found = paths(data.resultsOfSearch(u"~/Library/*/*"_s));
    const QStringList lines = log.lines();
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_EQ(found, QStringList{open});
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.first().startsWith(u"SVData::resultsOfSearchIn : ERROR : "_s));
    EXPECT_TRUE(lines.first().contains(locked));
}

TEST_F(PathSearch, SearchesConcatenateInOrder) {
    const QString b = sandbox.makeFile(sandbox.homePath(u"Library/b"_s));
    const QString a = sandbox.makeFile(sandbox.homePath(u"Library/a"_s));
    EXPECT_EQ(paths(data.searchResultsForSearches(
                  {u"~/Library/b"_s, u"~/Library/none/*"_s, u"~/Library/a"_s, u"~/Library/b"_s})),
              (QStringList{b, a, b}));
}

TEST_F(PathSearch, RunTestsLogsEachExpressionWithItsResults) {
    const QString library = sandbox.makeFolder(sandbox.rootPath(u"Library"_s));
    const QString vst = sandbox.makeFile(sandbox.homePath(u"Library/Audio/Plug-Ins/VST3/x.vst3"_s));
    data.runTests();
    const QString libraryUrl = QUrl::fromLocalFile(library).toString();
    const QString pluginsUrl =
        QUrl::fromLocalFile(sandbox.homePath(u"Library/Audio/Plug-Ins"_s)).toString();
    EXPECT_EQ(log.lines(), (QStringList{u"These searches should pass..."_s,
                                        u"Results for \"/Library\" : "_s + libraryUrl,
                                        u"Results for \"/Library/*/Plug-Ins\" : "_s,
                                        u"Results for \"~/Library/*/Plug-Ins\" : "_s + pluginsUrl,
                                        u"Results for \"~/Library/*/Plug-Ins/*/??.vst3\" : "_s +
                                            QUrl::fromLocalFile(vst).toString()}));
}

} // namespace
