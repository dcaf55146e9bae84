#include "catalogues/sv_known_app.h"

#include "log_capture.h"
#include "qt_printers.h"
#include "sandbox.h"

#include <QDomDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList paths(const QList<QUrl>& urls) {
    QStringList result;
    for (const QUrl& url : urls)
        result.append(url.toLocalFile());
    return result;
}

// Every test starts and ends without a catalogue table, and with resources
// in its own sandbox.
class KnownApps : public ::testing::Test {
protected:
    void SetUp() override {
        SVKnownApp::unloadKnownAppData();
        oldResources_ = qgetenv("SORVANE_RESOURCES_DIR");
        qputenv("SORVANE_RESOURCES_DIR", QFile::encodeName(resources()));
    }
    void TearDown() override {
        qputenv("SORVANE_RESOURCES_DIR", oldResources_);
        SVKnownApp::unloadKnownAppData();
    }

    QString resources() const { return sandbox.homePath(u"resources"_s); }
    QString writeCatalogue(const QByteArray& xml) const {
        return sandbox.makeFile(resources() + u"/AppData.xml"_s, xml);
    }
    std::shared_ptr<const SVKnownApp> load(const QByteArray& appChildren,
                                           const QString& id = u"com.example.Tool"_s) {
        writeCatalogue("<applist><app id=\"" + id.toUtf8() + "\">" + appChildren +
                       "</app></applist>");
        SVKnownApp::loadKnownAppData();
        return SVKnownApp::knownAppForId(id);
    }

    Sandbox sandbox;
    LogCapture log;

private:
    QByteArray oldResources_;
};

const QString kIncorrect = u"SVKnownApp::initWithXml called with incorrect XML element: "_s;

// Where one `path` or `search` element lands, by its attributes.
struct PathCase {
    const char* element;
    bool toDelete;
    bool toPack;
    bool cache;
};

class PathAttributes : public KnownApps, public ::testing::WithParamInterface<PathCase> {};

TEST_P(PathAttributes, SortPathsIntoPreferencesPackagesAndCaches) {
    const PathCase& c = GetParam();
    const QString file = sandbox.makeFile(sandbox.homePath(u"Library/Tool/state.db"_s));
    const std::shared_ptr<const SVKnownApp> app = load(c.element);
    ASSERT_TRUE(app);
    const QStringList found{file};
    EXPECT_EQ(paths(app->prefFilesToDelete()), c.toDelete ? found : QStringList());
    EXPECT_EQ(paths(app->prefFilesToPack()), c.toPack ? found : QStringList());
    EXPECT_EQ(paths(app->cacheFilesToDelete()), c.cache ? found : QStringList());
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(u'\n').toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    KnownApps, PathAttributes,
    ::testing::Values(
        PathCase{"<path>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path type='cache' pack='no'>~/Library/Tool/state.db</path>", false, false, true},
        PathCase{"<path type='Cache'>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path type=''>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path type='caches'>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path pack='NO'>~/Library/Tool/state.db</path>", true, false, false},
        PathCase{"<path pack='No'>~/Library/Tool/state.db</path>", true, false, false},
        PathCase{"<path pack='0'>~/Library/Tool/state.db</path>", true, false, false},
        PathCase{"<path pack='false'>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path pack=''>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path pack='00'>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<path Type='cache'>~/Library/Tool/state.db</path>", true, true, false},
        PathCase{"<search>~/Library/T??l/*.db</search>", false, false, false},
        PathCase{"<search>~/Library/T?ol/??.db</search>", true, true, false},
        PathCase{"<search pack='no'>~/Library/*/state.db</search>", true, false, false},
        PathCase{"<search type='cache'>~/Library/*/state.db</search>", false, false, true},
        PathCase{"<Path>~/Library/Tool/state.db</Path>", false, false, false},
        PathCase{"<path></path><path type='cache'/>", false, false, false}));

TEST_F(KnownApps, ReadsDomainsAsWrittenInDocumentOrder) {
    const std::shared_ptr<const SVKnownApp> app =
        load("<domain>com.example.Tool.helper</domain><domain>   </domain><domain></domain>"
             "<!-- a note --><Domain>ignored</Domain><other>x</other>"
             "<domain>com.example.*</domain>");
    ASSERT_TRUE(app);
    EXPECT_EQ(app->appId(), u"com.example.Tool"_s);
    EXPECT_EQ(app->additionalDomains(),
              (QStringList{u"com.example.Tool.helper"_s, u"   "_s, u"com.example.*"_s}));
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(KnownApps, FixedPathsComeBeforeSearchResultsAndAreResolvedOnEveryCall) {
    const std::shared_ptr<const SVKnownApp> app =
        load("<search>~/Library/Group Containers/??.example.tool</search>"
             "<path>~/Library/Tool/missing.plist</path>"
             "<path>/Library/Tool/shared.plist</path>"
             "<path type='cache'>~/Library/Caches/Tool</path>"
             "<search type='cache'>/Library/Caches/*/Tool</search>");
    ASSERT_TRUE(app);
    EXPECT_TRUE(app->prefFilesToDelete().isEmpty());
    EXPECT_TRUE(app->cacheFilesToDelete().isEmpty());

    const QString group =
        sandbox.makeFolder(sandbox.homePath(u"Library/Group Containers/ABC.example.tool"_s));
    const QString shared = sandbox.makeFile(sandbox.rootPath(u"Library/Tool/shared.plist"_s));
    const QString cache = sandbox.makeFolder(sandbox.homePath(u"Library/Caches/Tool"_s));
    const QString systemCache = sandbox.makeFolder(sandbox.rootPath(u"Library/Caches/x/Tool"_s));
    EXPECT_EQ(paths(app->prefFilesToDelete()), (QStringList{shared, group}));
    EXPECT_EQ(paths(app->prefFilesToPack()), (QStringList{shared, group}));
    EXPECT_EQ(paths(app->cacheFilesToDelete()), (QStringList{cache, systemCache}));
}

TEST_F(KnownApps, SkipsCommentsAndBadEntriesAndKeepsTheLastOfTwins) {
    writeCatalogue(R"(<?xml version="1.0" encoding="UTF-8"?>
<applist>
    <!-- editors -->
    <app id="com.example.Twin"><domain>first</domain></app>
    <app><domain>no.id</domain></app>
    <app id=""><domain>empty.id</domain></app>
    <App id="com.example.Capital"><domain>capital</domain></App>
    <app id="com.example.Twin"><domain>second</domain></app>
    <app id="com.example.Plain"/>
</applist>)");
    SVKnownApp::loadKnownAppData();
    EXPECT_EQ(log.lines(), (QStringList{kIncorrect, kIncorrect + u"App"_s}));
    ASSERT_TRUE(SVKnownApp::knownAppForId(u"com.example.Twin"_s));
    EXPECT_EQ(SVKnownApp::knownAppForId(u"com.example.Twin"_s)->additionalDomains(),
              QStringList{u"second"_s});
    ASSERT_TRUE(SVKnownApp::knownAppForId(u"com.example.Plain"_s));
    EXPECT_TRUE(SVKnownApp::knownAppForId(u"com.example.Plain"_s)->additionalDomains().isEmpty());
    EXPECT_FALSE(SVKnownApp::knownAppForId(u"com.example.Capital"_s));
    EXPECT_FALSE(SVKnownApp::knownAppForId(u"com.example.twin"_s));
    EXPECT_FALSE(SVKnownApp::knownAppForId(QString()));
    EXPECT_EQ(log.lines().size(), 2);
}

TEST_F(KnownApps, UnusableCatalogueIsRetriedOnEveryLookUp) {
    writeCatalogue("<systemdata><app id=\"com.example.Tool\"/></systemdata>");
    const QString wrongRoot =
        u"Error in AppData : root element is not \"applist\": root name = systemdata"_s;
    EXPECT_FALSE(SVKnownApp::knownAppForId(u"com.example.Tool"_s));
    EXPECT_FALSE(SVKnownApp::knownAppForId(u"com.example.Tool"_s));
    EXPECT_EQ(log.lines(), (QStringList{wrongRoot, wrongRoot}));

    writeCatalogue("<applist><app id=\"com.example.Tool\"/></applist>");
    EXPECT_TRUE(SVKnownApp::knownAppForId(u"com.example.Tool"_s));
    // Loaded now: a broken file is not read again.
    writeCatalogue("<applist>");
    EXPECT_TRUE(SVKnownApp::knownAppForId(u"com.example.Tool"_s));
    EXPECT_EQ(log.lines().size(), 2);
}

TEST_F(KnownApps, FailedLoadKeepsThePreviousTable) {
    writeCatalogue("<applist><app id=\"com.example.Tool\"/></applist>");
    SVKnownApp::loadKnownAppData();
    const QString broken = writeCatalogue("<applist><app id=\"com.example.Other\"></applist>");
    SVKnownApp::loadKnownAppData();
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(
        log.lines().first().startsWith(u"Failed to load known app data from %1.\n\t"_s.arg(broken)))
        << log.lines().first().toStdString();
    EXPECT_GT(log.lines().first().size(),
              u"Failed to load known app data from %1.\n\t"_s.arg(broken).size());
    EXPECT_TRUE(SVKnownApp::knownAppForId(u"com.example.Tool"_s));
}

TEST_F(KnownApps, MissingCatalogueNamesTheFileItLookedFor) {
    SVKnownApp::loadKnownAppData();
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().startsWith(
        u"Failed to load known app data from %1/AppData.xml.\n\t"_s.arg(resources())));
}

TEST_F(KnownApps, InitWithXmlRejectsNothingAndOtherNodes) {
    EXPECT_FALSE(SVKnownApp::initWithXml(QDomNode()));
    QDomDocument document;
    const QDomComment comment = document.createComment(u"note"_s);
    EXPECT_FALSE(SVKnownApp::initWithXml(comment));
    EXPECT_FALSE(SVKnownApp::initWithXml(document.createElement(u"component"_s)));
    EXPECT_EQ(log.lines(), (QStringList{u"SVKnownApp::initWithXml called with nil XML element"_s,
                                        kIncorrect, kIncorrect + u"component"_s}));
}

} // namespace
