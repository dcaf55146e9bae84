#include "platform/bundle.h"
#include "platform/file_icons.h"
#include "platform/plist_codec.h"
#include "platform/plist_value.h"

#include "qt_printers.h"
#include "sandbox.h"
#include "test_bundles.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class BundleTest : public ::testing::Test {
protected:
    Sandbox sandbox;
};

TEST_F(BundleTest, ReadsEveryValueTypeOfAnXmlInfoDictionary) {
    const QString path =
        sandbox.makeFile(sandbox.homePath(u"Info.plist"_s), R"(<?xml version="1.0"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <!-- build tools leave comments -->
  <key>CFBundleIdentifier</key><string>com.example.Tool &amp; Co</string>
  <key>Count</key><integer>-42</integer>
  <key>Ratio</key><real>2.5</real>
  <key>Yes</key><true/>
  <key>No</key><false/>
  <key>When</key><date>2024-01-31T10:00:00Z</date>
  <key>Blob</key><data>aGVsbG8=</data>
  <key>Types</key><array><string>a</string><dict><key>k</key><string>v</string></dict></array>
  <key>Empty</key><string></string>
</dict></plist>)");
    const QVariantMap info = Bundle::readInfoDictionary(path);
    EXPECT_EQ(info.value(u"CFBundleIdentifier"_s), QVariant(u"com.example.Tool & Co"_s));
    EXPECT_EQ(info.value(u"Count"_s), QVariant(qlonglong(-42)));
    EXPECT_EQ(info.value(u"Ratio"_s), QVariant(2.5));
    EXPECT_EQ(info.value(u"Yes"_s), QVariant(true));
    EXPECT_EQ(info.value(u"No"_s), QVariant(false));
    EXPECT_EQ(info.value(u"When"_s).toDateTime(),
              QDateTime(QDate(2024, 1, 31), QTime(10, 0), Qt::UTC));
    EXPECT_EQ(info.value(u"Blob"_s), QVariant(QByteArray("hello")));
    const QVariantList types = info.value(u"Types"_s).toList();
    ASSERT_EQ(types.size(), 2);
    EXPECT_EQ(types.at(0), QVariant(u"a"_s));
    EXPECT_EQ(types.at(1).toMap().value(u"k"_s), QVariant(u"v"_s));
    EXPECT_TRUE(info.contains(u"Empty"_s));
    EXPECT_EQ(info.size(), 9);
}

TEST_F(BundleTest, ReadsBinaryAndTextInfoDictionaries) {
    PlistValue info = PlistValue::dictionary();
    info.insert(u"CFBundleIdentifier"_s, PlistValue::fromString(u"com.example.binary"_s));
    info.insert(u"CFBundleVersion"_s, PlistValue::fromString(u"3.1"_s));
    const QString binary = sandbox.makeFile(sandbox.homePath(u"Binary.app/Contents/Info.plist"_s),
                                            PlistCodec::write(info, PlistCodec::Format::Binary));
    ASSERT_TRUE(binary.endsWith(u"Info.plist"_s));
    const auto bundle =
        Bundle::bundleWithUrl(QUrl::fromLocalFile(sandbox.homePath(u"Binary.app"_s)));
    ASSERT_TRUE(bundle.has_value());
    EXPECT_EQ(bundle->bundleIdentifier(), u"com.example.binary"_s);
    EXPECT_EQ(bundle->version(), u"3.1"_s);

    const QString text = sandbox.makeFile(sandbox.homePath(u"Text.plist"_s),
                                          "{ CFBundleIdentifier = \"com.example.text\"; }");
    EXPECT_EQ(Bundle::readInfoDictionary(text).value(u"CFBundleIdentifier"_s),
              QVariant(u"com.example.text"_s));
}

TEST_F(BundleTest, UnreadableInfoDictionariesGiveNothing) {
    for (const QByteArray& content :
         {QByteArray(), QByteArray("bplist00\x01\x02"), QByteArray("<plist><dict><key>a</key>"),
          QByteArray("<plist><array><string>a</string></array></plist>"),
          QByteArray("<html><dict/></html>")}) {
        const QString path = sandbox.makeFile(sandbox.homePath(u"Info.plist"_s), content);
        EXPECT_TRUE(Bundle::readInfoDictionary(path).isEmpty()) << content.constData();
    }
    EXPECT_TRUE(Bundle::readInfoDictionary(sandbox.homePath(u"missing.plist"_s)).isEmpty());
}

TEST_F(BundleTest, OpensFoldersOnly) {
    const QString app = testbundles::makeBundle(
        sandbox.homePath(u"Tool.app"_s),
        {{u"CFBundleIdentifier"_s, u"com.example.Tool"_s}, {u"CFBundleVersion"_s, u"1.2.3"_s}});
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(app));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundleIdentifier(), u"com.example.Tool"_s);
    EXPECT_EQ(bundle->version(), u"1.2.3"_s);
    EXPECT_EQ(bundle->name(), u"Tool"_s);
    EXPECT_EQ(bundle->resourcesPath(), app + u"/Contents/Resources"_s);
    EXPECT_EQ(bundle->bundlePath(), app);

    const QString file = sandbox.makeFile(sandbox.homePath(u"File.app"_s), "x");
    EXPECT_FALSE(Bundle::bundleWithUrl(QUrl::fromLocalFile(file)));
    EXPECT_FALSE(Bundle::bundleWithUrl(QUrl::fromLocalFile(sandbox.homePath(u"None.app"_s))));
    EXPECT_FALSE(Bundle::bundleWithUrl(QUrl(u"https://example.com/Tool.app"_s)));
}

TEST_F(BundleTest, FolderWithoutInformationHasNoIdentifier) {
    const QString folder = sandbox.makeFolder(sandbox.homePath(u"Bare.app"_s));
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(folder));
    ASSERT_TRUE(bundle);
    EXPECT_TRUE(bundle->bundleIdentifier().isNull());
    EXPECT_TRUE(bundle->version().isNull());
    EXPECT_EQ(bundle->name(), u"Bare"_s);
}

TEST_F(BundleTest, FindsResourcesThatExist) {
    const QString app = testbundles::makeBundle(sandbox.homePath(u"Tool.app"_s),
                                                {{u"CFBundleName"_s, u"Tool Pro"_s}});
    sandbox.makeFile(app + u"/Contents/Resources/AppIcon.icns"_s, "x");
    const std::optional<Bundle> bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(app));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->name(), u"Tool Pro"_s);
    EXPECT_EQ(bundle->pathForResource(u"AppIcon"_s, u"icns"_s),
              app + u"/Contents/Resources/AppIcon.icns"_s);
    EXPECT_TRUE(bundle->pathForResource(u"AppIcon"_s, u"png"_s).isNull());
}

TEST(MainBundle, IsSorvaneWithResourcesBesideTheProgramFolder) {
    const QByteArray old = qgetenv("SORVANE_RESOURCES_DIR");
    qunsetenv("SORVANE_RESOURCES_DIR");
    const Bundle bundle = Bundle::mainBundle();
    qputenv("SORVANE_RESOURCES_DIR", old);
    EXPECT_EQ(bundle.bundleIdentifier(), u"com.brisvale.Sorvane"_s);
    EXPECT_EQ(bundle.version(), QStringLiteral(SORVANE_VERSION));
    // Test programs live in <build>/tests, a sibling of bin/ and share/.
    const QString expected =
        QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../share/sorvane"_s);
    EXPECT_EQ(bundle.resourcesPath(), expected);
    const QString build = qEnvironmentVariable("SORVANE_BUILD_DIR");
    if (!build.isEmpty()) {
        EXPECT_EQ(QDir(bundle.resourcesPath()).canonicalPath(),
                  QDir(build + u"/share/sorvane"_s).canonicalPath());
    }
}

TEST(MainBundle, ResourceFolderCanBeRedirected) {
    Sandbox sandbox;
    const QString folder = sandbox.makeFolder(sandbox.homePath(u"res"_s));
    sandbox.makeFile(folder + u"/AppData.xml"_s, "<applist/>");
    qputenv("SORVANE_RESOURCES_DIR", QFile::encodeName(folder));
    const Bundle bundle = Bundle::mainBundle();
    qunsetenv("SORVANE_RESOURCES_DIR");
    EXPECT_EQ(bundle.pathForResource(u"AppData"_s, u"xml"_s), folder + u"/AppData.xml"_s);
}

// Icons that cannot be read give way to the generic one (ICNS and PNG icons
// that can be read are checked with dropped applications in test_packager).
class BundleIcon : public BundleTest {
protected:
    QString appWithIcon(const QString& iconFile, const QString& fileName, const QByteArray& bytes) {
        const QString app =
            testbundles::makeBundle(sandbox.homePath(u"Painter.app"_s),
                                    {{u"CFBundleIdentifier"_s, u"com.example.Painter"_s},
                                     {u"CFBundleIconFile"_s, iconFile}});
        sandbox.makeFile(app + u"/Contents/Resources/"_s + fileName, bytes);
        return app;
    }
};

TEST_F(BundleIcon, BrokenOrMissingIconFallsBackToTheGenericOne) {
    const QImage generic = FileIcons::genericIcon();
    ASSERT_FALSE(generic.isNull());
    EXPECT_EQ(FileIcons::iconForFile(appWithIcon(u"Broken.icns"_s, u"Broken.icns"_s, "icns")),
              generic);
    EXPECT_EQ(FileIcons::iconForFile(appWithIcon(u"Gone"_s, u"Other.png"_s, "x")), generic);
    EXPECT_EQ(FileIcons::iconForFile(sandbox.makeFile(sandbox.homePath(u"notes.txt"_s), "x")),
              generic);
}

} // namespace
