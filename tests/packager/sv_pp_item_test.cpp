#include "packager/sv_pp_item.h"

#include "platform/file_icons.h"

#include "log_capture.h"
#include "qt_printers.h"
#include "sandbox.h"
#include "test_bundles.h"

#include <QDomDocument>
#include <QImageReader>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList names(const QList<std::shared_ptr<SVPPItem>>& items) {
    QStringList result;
    for (const auto& item : items)
        result.append(item->displayName());
    return result;
}

class PackagerCatalogue : public ::testing::Test {
protected:
    std::optional<QList<std::shared_ptr<SVPPItem>>> load(const QByteArray& xml) const {
        return SVPPItem::loadDataFromFile(
            sandbox.makeFile(sandbox.homePath(u"PackagerData.xml"_s), xml));
    }

    Sandbox sandbox;
    LogCapture log;
};

const QString kIncorrect = u"SVPPItem::initWithXml called with incorrect XML element: "_s;

TEST_F(PackagerCatalogue, LoadsComponentsLogsTheCountAndSortsByName) {
    const auto items = load(R"(<packagerdata>
  <component name="dock 10"><domain>com.example.dock10</domain></component>
  <!-- keyboard settings follow -->
  <component name="Dock 9">
    <description>First</description>
    <domain>com.example.dock9</domain>
    <description></description>
    <domain/>
    <Domain>ignored</Domain>
    <path>~/ignored</path>
    <description>Second</description>
    <domain>com.example.dock9.extra</domain>
  </component>
  <component name=""><domain>dropped</domain></component>
  <component><domain>dropped</domain></component>
  <component name="Dock"/>
</packagerdata>)");
    ASSERT_TRUE(items);
    EXPECT_EQ(log.lines(), (QStringList{kIncorrect, u"Packager loaded 3 components"_s}));
    ASSERT_EQ(names(*items), (QStringList{u"Dock"_s, u"Dock 9"_s, u"dock 10"_s}));
    const SVPPItem& dock = *items->at(0);
    const SVPPItem& nine = *items->at(1);
    EXPECT_TRUE(dock.prefsDomains().isEmpty());
    EXPECT_TRUE(dock.description().isNull());
    EXPECT_EQ(nine.description(), u"Second"_s);
    EXPECT_EQ(nine.prefsDomains(),
              (QStringList{u"com.example.dock9"_s, u"com.example.dock9.extra"_s}));
    for (const auto& item : *items) {
        EXPECT_FALSE(item->enabled());
        EXPECT_TRUE(item->appId().isNull());
        EXPECT_TRUE(item->icon().isNull());
    }
}

TEST_F(PackagerCatalogue, UnusableCataloguesGiveNothing) {
    EXPECT_FALSE(load("<systemdata><component name='Dock'/></systemdata>"));
    EXPECT_EQ(
        log.lines(),
        QStringList{
            u"Error in Packager data : root element is not \"packagerdata\": root name = systemdata"_s});
    log.clear();
    const QString missing = sandbox.homePath(u"nowhere/PackagerData.xml"_s);
    EXPECT_FALSE(SVPPItem::loadDataFromFile(missing));
    ASSERT_EQ(log.lines().size(), 1);
    const QString prefix = u"Failed to load Packager data from %1.\n\t"_s.arg(missing);
    EXPECT_TRUE(log.lines().first().startsWith(prefix)) << log.lines().first().toStdString();
    EXPECT_GT(log.lines().first().size(), prefix.size());
}

TEST_F(PackagerCatalogue, InitWithXmlRejectsNothingAndOtherNodes) {
    EXPECT_FALSE(SVPPItem::initWithXml(QDomNode()));
    QDomDocument document;
    EXPECT_FALSE(SVPPItem::initWithXml(document.createComment(u"note"_s)));
    EXPECT_FALSE(SVPPItem::initWithXml(document.createElement(u"Component"_s)));
    EXPECT_EQ(log.lines(), (QStringList{u"SVPPItem::initWithXml called with nil XML element"_s,
                                        kIncorrect, kIncorrect + u"Component"_s}));
}

// What a dropped bundle gives, by how it is made.
struct DropCase {
    const char* folder;     // below the home folder
    const char* identifier; // nullptr: no CFBundleIdentifier key
    bool makeBundle;        // false: nothing on disk at all
    bool expectItem;
};

class AppDrop : public ::testing::TestWithParam<DropCase> {
protected:
    Sandbox sandbox;
};

TEST_P(AppDrop, TakesAppBundlesWithAnIdentifierOnly) {
    const DropCase& c = GetParam();
    const QString folder = sandbox.homePath(QString::fromUtf8(c.folder));
    if (c.makeBundle) {
        QList<QPair<QString, QString>> keys{{u"CFBundleName"_s, u"Shown Name"_s}};
        if (c.identifier)
            keys.append({u"CFBundleIdentifier"_s, QString::fromUtf8(c.identifier)});
        testbundles::makeBundle(folder, keys);
    }
    const std::shared_ptr<SVPPItem> item = SVPPItem::itemWithAppUrl(QUrl::fromLocalFile(folder));
    ASSERT_EQ(bool(item), c.expectItem);
    if (!item)
        return;
    // The bundle's file name, not its CFBundleName.
    EXPECT_EQ(item->displayName(), u"My Tool"_s);
    EXPECT_EQ(item->appId(), QString::fromUtf8(c.identifier));
    EXPECT_EQ(item->prefsDomains(), QStringList{QString::fromUtf8(c.identifier)});
    EXPECT_TRUE(item->enabled());
    EXPECT_FALSE(item->icon().isNull());
    EXPECT_TRUE(item->description().isNull());
}

INSTANTIATE_TEST_SUITE_P(
    PackagerItems, AppDrop,
    ::testing::Values(DropCase{"My Tool.app", "com.example.MyTool", true, true},
                      DropCase{"Apps/My Tool.app", "com.example.MyTool", true, true},
                      DropCase{"My Tool.APP", "com.example.MyTool", true, false},
                      DropCase{"My Tool.App", "com.example.MyTool", true, false},
                      DropCase{"My Tool", "com.example.MyTool", true, false},
                      DropCase{"My Tool.bundle", "com.example.MyTool", true, false},
                      DropCase{"My Tool.app", nullptr, true, false},
                      DropCase{"My Tool.app", "", true, false},
                      DropCase{"My Tool.app", "com.example.MyTool", false, false}));

class AppIcons : public ::testing::Test {
protected:
    QString bundleWithIcon(const QString& iconKey, const QString& file, const QByteArray& bytes) {
        const QString app =
            testbundles::makeBundle(sandbox.homePath(u"Painter.app"_s),
                                    {{u"CFBundleIdentifier"_s, u"com.example.Painter"_s},
                                     {u"CFBundleIconFile"_s, iconKey}});
        sandbox.makeFile(app + u"/Contents/Resources/"_s + file, bytes);
        return app;
    }

    Sandbox sandbox;
};

TEST_F(AppIcons, DroppedAppCarriesItsIcnsIcon) {
    const QByteArray icns =
        testbundles::icnsWithPngEntries({{"ic08", testbundles::pngBytes(256, Qt::red)},
                                         {"ic09", testbundles::pngBytes(512, Qt::blue)}});
    const auto item = SVPPItem::itemWithAppUrl(
        QUrl::fromLocalFile(bundleWithIcon(u"Painter.icns"_s, u"Painter.icns"_s, icns)));
    ASSERT_TRUE(item);
    ASSERT_EQ(item->icon().size(), QSize(512, 512));
    EXPECT_EQ(item->icon().pixelColor(5, 5), QColor(Qt::blue));
}

TEST_F(AppIcons, DroppedAppCarriesItsPngIcon) {
    const auto item = SVPPItem::itemWithAppUrl(QUrl::fromLocalFile(
        bundleWithIcon(u"Painter"_s, u"Painter.png"_s, testbundles::pngBytes(48, Qt::green))));
    ASSERT_TRUE(item);
    ASSERT_EQ(item->icon().size(), QSize(48, 48));
    EXPECT_EQ(item->icon().pixelColor(5, 5), QColor(Qt::green));
}

TEST_F(AppIcons, DroppedAppWithoutIconGetsTheGenericOne) {
    const QString app = testbundles::makeBundle(
        sandbox.homePath(u"Plain.app"_s), {{u"CFBundleIdentifier"_s, u"com.example.Plain"_s}});
    const auto item = SVPPItem::itemWithAppUrl(QUrl::fromLocalFile(app));
    ASSERT_TRUE(item);
    EXPECT_EQ(item->icon(), FileIcons::genericIcon());
}

TEST(PackagerItems, ComponentFromPackageTakesDomainsFromItsSettings) {
    const SVPPItem::PrefsByDomain prefs{{u"com.example.b"_s, u"{ b = 1; }"_s},
                                        {u"com.example.a"_s, u"{ a = 1; }"_s}};
    const auto item = SVPPItem::itemWithComponent(u"Keyboard"_s, u"Key repeat"_s, prefs);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->displayName(), u"Keyboard"_s);
    EXPECT_EQ(item->description(), u"Key repeat"_s);
    EXPECT_EQ(item->prefsDomains(), (QStringList{u"com.example.a"_s, u"com.example.b"_s}));
    EXPECT_EQ(item->plistForDomain(u"com.example.b"_s), u"{ b = 1; }"_s);
    EXPECT_TRUE(item->plistForDomain(u"com.example.c"_s).isNull());
    EXPECT_FALSE(item->enabled());
    EXPECT_FALSE(item->hasAdditionalFiles());
    EXPECT_TRUE(item->extraFilePaths().isEmpty());
    EXPECT_FALSE(SVPPItem::itemWithComponent(QString(), u"x"_s, prefs));
    EXPECT_FALSE(SVPPItem::itemWithComponent(u""_s, u"x"_s, prefs));
}

TEST(PackagerItems, AppFromPackageCarriesItsFiles) {
    QImage icon(8, 8, QImage::Format_ARGB32);
    icon.fill(Qt::yellow);
    const SVPPItem::FilesByPath files{{u"~/Library/Tool/b.db"_s, QByteArray("bee")},
                                      {u"~/Library/Tool/a.db"_s, QByteArray()}};
    const auto item = SVPPItem::itemWithAppName(u"Tool"_s, u"com.example.Tool"_s, icon,
                                                {{u"com.example.Tool"_s, u"{}"_s}}, files);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->appId(), u"com.example.Tool"_s);
    EXPECT_EQ(item->icon(), icon);
    EXPECT_EQ(item->prefsDomains(), QStringList{u"com.example.Tool"_s});
    EXPECT_EQ(item->extraFilePaths(),
              (QStringList{u"~/Library/Tool/a.db"_s, u"~/Library/Tool/b.db"_s}));
    EXPECT_EQ(item->fileContentsForPath(u"~/Library/Tool/b.db"_s), QByteArray("bee"));
    // A stored empty file is a file, not a missing one.
    EXPECT_EQ(item->fileContentsForPath(u"~/Library/Tool/a.db"_s), QByteArray());
    EXPECT_FALSE(item->fileContentsForPath(u"~/Library/Tool/c.db"_s));
    EXPECT_FALSE(item->enabled());

    const auto noFiles =
        SVPPItem::itemWithAppName(u"Tool"_s, u"com.example.Tool"_s, icon, {}, std::nullopt);
    ASSERT_TRUE(noFiles);
    EXPECT_FALSE(noFiles->hasAdditionalFiles());
    EXPECT_FALSE(noFiles->fileContentsForPath(u"~/Library/Tool/b.db"_s));
    EXPECT_FALSE(SVPPItem::itemWithAppName(QString(), u"com.example.Tool"_s, icon, {}, files));
}

TEST(PackagerItems, DomainsStartEmptyAndGrowWithoutDeduplication) {
    const auto item = SVPPItem::itemWithComponent(u"Sound"_s, QString(), {});
    ASSERT_TRUE(item);
    EXPECT_TRUE(item->prefsDomains().isEmpty());
    item->addDomain(u"com.example.sound"_s);
    item->addDomain(u"com.example.sound"_s);
    EXPECT_EQ(item->prefsDomains(), (QStringList{u"com.example.sound"_s, u"com.example.sound"_s}));
}

TEST(PackagerItems, OnlyACheckedBoxTicksTheItem) {
    const auto item = SVPPItem::itemWithComponent(u"Sound"_s, QString(), {});
    ASSERT_TRUE(item);
    item->select(Qt::Checked);
    EXPECT_TRUE(item->enabled());
    item->select(Qt::PartiallyChecked);
    EXPECT_FALSE(item->enabled());
    item->select(Qt::Checked);
    item->select(Qt::Unchecked);
    EXPECT_FALSE(item->enabled());
}

} // namespace
