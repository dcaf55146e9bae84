#include "search/sv_file_search_tool.h"

#include "log_capture.h"
#include "sandbox.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct SuffixCase {
    QString entry;
    QString application;
    bool related;
};

class SuffixRule : public ::testing::TestWithParam<SuffixCase> {};

TEST_P(SuffixRule, Verdict) {
    EXPECT_EQ(
        SVFileSearchTool::nameIsRelatedToApplicationName(GetParam().entry, GetParam().application),
        GetParam().related);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SuffixRule,
    ::testing::Values(
        SuffixCase{u"app"_s, u"app le"_s, true}, SuffixCase{u"app"_s, u"appse"_s, true},
        SuffixCase{u"app"_s, u"app express"_s, true},
        SuffixCase{u"otherapp"_s, u"otherapp trial"_s, true},
        SuffixCase{u"small app"_s, u"small app free"_s, true},
        SuffixCase{u"big app"_s, u"app le"_s, false}, SuffixCase{u"apple"_s, u"appse"_s, false},
        SuffixCase{u"appx"_s, u"app express"_s, false},
        SuffixCase{u"otherapt"_s, u"otherapp trial"_s, false},
        SuffixCase{u"small free app"_s, u"small app free"_s, false},
        // Further: the entry loses its extension and case, the
        // application name is taken as given.
        SuffixCase{u"App.plist"_s, u"app se"_s, true}, SuffixCase{u"app"_s, u"apple"_s, true},
        SuffixCase{u"app se"_s, u"app"_s, false}, SuffixCase{u"app"_s, u"app SE"_s, false},
        SuffixCase{u"app"_s, u"app\tfree"_s, true}, SuffixCase{u""_s, u"se"_s, true},
        SuffixCase{u"app"_s, u""_s, false}));

TEST(SuffixRule, SelfCheckLogsFixedCases) {
    LogCapture log;
    SVFileSearchTool::runNameComparisonTests();
    EXPECT_EQ(
        log.lines(),
        (QStringList{u"These tests should pass..."_s, u"Test : app == app le  ?  YES"_s,
                     u"Test : app == appse  ?  YES"_s, u"Test : app == app express  ?  YES"_s,
                     u"Test : otherapp == otherapp trial  ?  YES"_s,
                     u"Test : small app == small app free  ?  YES"_s,
                     u"These tests should fail..."_s, u"Test : big app == app le  ?  NO"_s,
                     u"Test : apple == appse  ?  NO"_s, u"Test : appx == app express  ?  NO"_s,
                     u"Test : otherapt == otherapp trial  ?  NO"_s,
                     u"Test : small free app == small app free  ?  NO"_s}));
}

TEST(FileSearchTool, FirstInstanceBecomesShared) {
    SVFileSearchTool* shared = SVFileSearchTool::sharedTool();
    EXPECT_EQ(SVFileSearchTool::sharedTool(), shared);
    SVFileSearchTool another;
    EXPECT_EQ(SVFileSearchTool::sharedTool(), shared);
}

class FileDiscovery : public ::testing::Test {
protected:
    QStringList found(const QList<QUrl>& urls) const {
        QStringList result;
        for (const QUrl& url : urls)
            result.append(url.toLocalFile());
        return result;
    }
    // The entries of a folder, in listing order, that are among the wanted names.
    QStringList inListingOrder(const QString& folder, const QStringList& wanted) const {
        QStringList result;
        const QStringList names = QDir(folder).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
        for (const QString& name : names) {
            if (wanted.contains(name))
                result.append(folder + u'/' + name);
        }
        return result;
    }

    Sandbox sandbox;
    SVFileSearchTool tool;
    LogCapture log;
    const QString id = u"com.example.tool"_s;
};

TEST_F(FileDiscovery, PreferencesSkipPropertyListsAndVisitFoldersInOrder) {
    const QString userPrefs = sandbox.homePath(u"Library/Preferences"_s);
    const QString containerPrefs =
        sandbox.homePath(u"Library/Containers/com.example.tool/Data/Library/Preferences"_s);
    const QString localPrefs = sandbox.rootPath(u"Library/Preferences"_s);
    for (const QString& name : {u"com.example.tool.plist"_s, u"Tool.PLIST"_s, u"com.example.tool"_s,
                                u"Tool"_s, u"tool.cfg"_s, u"com.example.toolbox"_s})
        sandbox.makeFile(userPrefs + u'/' + name);
    sandbox.makeFolder(userPrefs + u"/ByHost"_s);
    sandbox.makeFile(containerPrefs + u"/com.example.tool.plist"_s);
    sandbox.makeFile(containerPrefs + u"/TOOL"_s);
    sandbox.makeFolder(localPrefs + u"/com.example.tool"_s);

    const QStringList expected = inListingOrder(userPrefs, {u"com.example.tool"_s, u"Tool"_s}) +
                                 QStringList{containerPrefs + u"/TOOL"_s} +
                                 QStringList{localPrefs + u"/com.example.tool"_s};
    EXPECT_EQ(found(tool.preferenceFilesForApplicationName(u"Tool.app"_s, id)), expected);
    EXPECT_EQ(log.lines(), (QStringList{u"Searching in directory "_s + userPrefs,
                                        u"Searching in directory "_s + containerPrefs,
                                        u"Searching in directory "_s + localPrefs}));
}

TEST_F(FileDiscovery, MissingContainerSkipsTheContainerSteps) {
    sandbox.makeFile(sandbox.homePath(u"Library/Caches/tool"_s));
    EXPECT_EQ(found(tool.cacheFilesForApplicationName(u"Tool"_s, id)),
              QStringList{sandbox.homePath(u"Library/Caches/tool"_s)});
    EXPECT_EQ(log.lines(),
              (QStringList{u"Searching in directory "_s + sandbox.homePath(u"Library/Caches"_s),
                           u"Searching in directory "_s + sandbox.rootPath(u"Library/Caches"_s)}));
    log.clear();
    tool.preferenceFilesForApplicationName(u"Tool"_s, id);
    EXPECT_EQ(log.lines().size(), 2);
}

TEST_F(FileDiscovery, CachesSavedStatesAndContainerInOrder) {
    const QString userCaches = sandbox.homePath(u"Library/Caches"_s);
    const QString savedStates = sandbox.homePath(u"Library/Saved Application State"_s);
    const QString container =
        sandbox.homePath(u"Library/Containers/com.example.tool/Data/Library"_s);
    const QString localCaches = sandbox.rootPath(u"Library/Caches"_s);
    sandbox.makeFolder(userCaches + u"/COM.Example.Tool"_s);
    sandbox.makeFile(userCaches + u"/com.example.tool.db"_s);
    sandbox.makeFolder(userCaches + u"/Tool Trial"_s);
    sandbox.makeFolder(savedStates + u"/com.example.tool.savedState"_s);
    sandbox.makeFolder(savedStates + u"/COM.example.tool.savedState"_s);
    sandbox.makeFolder(savedStates + u"/com.example.tool.SavedState"_s);
    sandbox.makeFolder(savedStates + u"/Tool.savedState"_s);
    sandbox.makeFile(container + u"/Caches/tool.sqlite"_s);
    sandbox.makeFolder(container + u"/Caches/com.example.tool"_s);
    sandbox.makeFolder(container + u"/Saved Application State/com.example.tool.savedState"_s);
    sandbox.makeFolder(localCaches + u"/tool"_s);

    const QStringList expected = QStringList{
        userCaches + u"/COM.Example.Tool"_s, savedStates + u"/com.example.tool.savedState"_s,
        container + u"/Caches/com.example.tool"_s,
        container + u"/Saved Application State/com.example.tool.savedState"_s,
        localCaches + u"/tool"_s};
    EXPECT_EQ(found(tool.cacheFilesForApplicationName(u"Tool.app"_s, id)), expected);
    // Saved states are listed without a log line.
    EXPECT_EQ(log.lines(), (QStringList{u"Searching in directory "_s + userCaches,
                                        u"Searching in directory "_s + container + u"/Caches"_s,
                                        u"Searching in directory "_s + localCaches}));
}

TEST_F(FileDiscovery, SuffixWordsOnlyShortenTheApplicationName) {
    const QString caches = sandbox.homePath(u"Library/Caches"_s);
    sandbox.makeFolder(caches + u"/Tool"_s);
    sandbox.makeFile(caches + u"/tool.plist"_s);
    sandbox.makeFolder(caches + u"/Tool SE"_s);
    EXPECT_EQ(found(tool.cacheFilesForApplicationName(u"Tool SE.app"_s, u"x.y"_s)),
              inListingOrder(caches, {u"Tool"_s, u"tool.plist"_s, u"Tool SE"_s}));
    EXPECT_EQ(found(tool.cacheFilesForApplicationName(u"Tool.app"_s, u"x.y"_s)),
              QStringList{caches + u"/Tool"_s});
}

TEST_F(FileDiscovery, EmptyNameFindsByIdentifierAlone) {
    sandbox.makeFolder(sandbox.homePath(u"Library/Caches/com.example.tool"_s));
    sandbox.makeFolder(sandbox.homePath(u"Library/Caches/se"_s));
    EXPECT_EQ(found(tool.cacheFilesForApplicationName(QString(), id)),
              QStringList{sandbox.homePath(u"Library/Caches/com.example.tool"_s)});
}

TEST_F(FileDiscovery, FolderReachedTwiceYieldsItsEntriesTwice) {
    // With the home folder at the system root, ~/Library and /Library are one.
    qputenv("HOME", QFile::encodeName(sandbox.systemRoot()));
    const QString caches = sandbox.rootPath(u"Library/Caches"_s);
    sandbox.makeFolder(caches + u"/com.example.tool"_s);
    EXPECT_EQ(found(tool.cacheFilesForApplicationName(u"Tool"_s, id)),
              (QStringList{caches + u"/com.example.tool"_s, caches + u"/com.example.tool"_s}));
}

TEST_F(FileDiscovery, ContainerFolderIsNotChecked) {
    EXPECT_EQ(tool.containerDirectoryForApplicationIdentifier(u"org.nowhere"_s).toLocalFile(),
              sandbox.homePath(u"Library/Containers/org.nowhere"_s));
}

} // namespace
