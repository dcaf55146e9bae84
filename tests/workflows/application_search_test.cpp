#include "workflows/application_search.h"

#include "catalogues/sv_known_app.h"
#include "fixed_domains.h"
#include "sandbox.h"
#include "test_bundles.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList names(const QList<SVDefaultsDomain>& domains) {
    QStringList result;
    for (const SVDefaultsDomain& domain : domains)
        result.append(u"%1/%2"_s.arg(domain.domain()).arg(domain.authLevel()));
    return result;
}

QStringList paths(const QList<QUrl>& urls) {
    QStringList result;
    for (const QUrl& url : urls)
        result.append(url.toLocalFile());
    return result;
}

class ApplicationSearchTest : public ::testing::Test {
protected:
    void SetUp() override { SVKnownApp::unloadKnownAppData(); }
    void TearDown() override { SVKnownApp::unloadKnownAppData(); }

    QUrl makeBundle(const QString& name, const QString& identifier) {
        QList<QPair<QString, QString>> info{{u"CFBundleName"_s, u"Display Name"_s}};
        if (!identifier.isNull())
            info.append({u"CFBundleIdentifier"_s, identifier});
        return QUrl::fromLocalFile(
            testbundles::makeBundle(sandbox.path() + u"/Applications/"_s + name, info));
    }

    Sandbox sandbox;
    FixedDomains domains;
    ApplicationSearch search{domains};
    ApplicationSearchResults results;
};

TEST_F(ApplicationSearchTest, WithoutCatalogueOnlyTheMatcherAndFileSearch) {
    domains.root = {u"com.example.Tool"_s};
    domains.user = {u"com.example.tool"_s, u"com.example.toolbox"_s};
    const QString pref = sandbox.makeFolder(sandbox.homePath(u"Library/Preferences/Tool"_s));
    const QString cache =
        sandbox.makeFolder(sandbox.homePath(u"Library/Caches/com.example.tool"_s));
    const QUrl app = makeBundle(u"Tool.app"_s, u"com.example.tool"_s);
    ASSERT_EQ(search.doSearchesForApp(app, results), ApplicationSearch::Outcome::Found);
    EXPECT_EQ(results.appBundleIdentifier, u"com.example.tool"_s);
    EXPECT_EQ(names(results.appDomainResults),
              (QStringList{u"com.example.Tool/1"_s, u"com.example.tool/0"_s}));
    EXPECT_EQ(paths(results.appAdditionalPreferenceFiles), QStringList{pref});
    EXPECT_EQ(paths(results.appCacheFiles), QStringList{cache});
}

TEST_F(ApplicationSearchTest, CatalogueAddsExactDomainsAndItsFilesLast) {
    domains.user = {u"com.example.tool"_s, u"com.example.helper"_s, u"com.example.HELPER"_s,
                    u"com.example.helperx"_s};
    const QString catalogue =
        sandbox.makeFile(sandbox.path() + u"/AppData.xml"_s,
                         "<applist><app id=\"com.example.tool\"><domain>com.example.helper</domain>"
                         "<domain>com.example.absent</domain><domain>com.example.helper*</domain>"
                         "<path>~/Library/Application Support/Tool</path>"
                         "<path type=\"cache\">~/Library/Logs/Tool</path></app></applist>");
    SVKnownApp::loadKnownAppDataFromFile(catalogue);
    const QString support =
        sandbox.makeFolder(sandbox.homePath(u"Library/Application Support/Tool"_s));
    const QString logs = sandbox.makeFolder(sandbox.homePath(u"Library/Logs/Tool"_s));
    const QString cache = sandbox.makeFolder(sandbox.homePath(u"Library/Caches/Tool"_s));

    ASSERT_EQ(search.doSearchesForApp(makeBundle(u"Tool.app"_s, u"com.example.tool"_s), results),
              ApplicationSearch::Outcome::Found);
    // Only names exactly equal to the catalogue's are added; looser matches are dropped.
    EXPECT_EQ(names(results.appDomainResults),
              (QStringList{u"com.example.tool/0"_s, u"com.example.helper/0"_s}));
    EXPECT_EQ(paths(results.appAdditionalPreferenceFiles), QStringList{support});
    EXPECT_EQ(paths(results.appCacheFiles), (QStringList{cache, logs}));
}

TEST_F(ApplicationSearchTest, NoIdentifierKeepsThePreviousResults) {
    domains.user = {u"com.example.tool"_s};
    ASSERT_EQ(search.doSearchesForApp(makeBundle(u"Tool.app"_s, u"com.example.tool"_s), results),
              ApplicationSearch::Outcome::Found);
    EXPECT_EQ(search.doSearchesForApp(makeBundle(u"Other.app"_s, QString()), results),
              ApplicationSearch::Outcome::NoBundleIdentifier);
    EXPECT_TRUE(results.appBundleIdentifier.isNull());
    EXPECT_EQ(names(results.appDomainResults), QStringList{u"com.example.tool/0"_s});
    EXPECT_EQ(
        search.doSearchesForApp(QUrl::fromLocalFile(sandbox.path() + u"/missing.app"_s), results),
        ApplicationSearch::Outcome::NotABundle);
}

TEST_F(ApplicationSearchTest, NameIsTheFileNameNotTheDisplayName) {
    EXPECT_EQ(ApplicationSearch::applicationName(QUrl::fromLocalFile(u"/A/Sketch Pad SE.app"_s)),
              u"Sketch Pad SE"_s);
}

TEST(ApplicationSearchResults, StrikingOff) {
    ApplicationSearchResults results;
    results.appDomainResults = {{u"a"_s, 1}, {u"a"_s, 0}, {u"b"_s, 0}};
    results.strikeOffDomain(u"a"_s);
    EXPECT_EQ(names(results.appDomainResults), (QStringList{u"a/0"_s, u"b/0"_s}));
    EXPECT_EQ(results.appDefaultsDomainWithDomain(u"a"_s)->authLevel(), 0);
    EXPECT_EQ(results.appDefaultsDomainWithDomain(u"A"_s), nullptr);

    const QUrl twice = QUrl::fromLocalFile(u"/x/twice"_s);
    results.appCacheFiles = {twice, QUrl::fromLocalFile(u"/x/other"_s), twice};
    ApplicationSearchResults::strikeOffFile(results.appCacheFiles, u"/x/twice"_s);
    EXPECT_EQ(paths(results.appCacheFiles), QStringList{u"/x/other"_s});
}

} // namespace
