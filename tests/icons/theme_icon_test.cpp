#include "platform/file_icons.h"

#include "sandbox.h"
#include "test_bundles.h"

#include <QIcon>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A private icon theme in the sandbox with one picture for plain text, so
// the look-up never depends on the themes installed on the machine.
class ThemeIcons : public ::testing::Test {
protected:
    void SetUp() override {
        oldPaths_ = QIcon::themeSearchPaths();
        oldTheme_ = QIcon::themeName();
        oldFallback_ = QIcon::fallbackThemeName();
        const QString themes = sandbox.makeFolder(sandbox.homePath(u"icons"_s));
        sandbox.makeFile(themes + u"/probe/index.theme"_s, "[Icon Theme]\nName=Probe\n"
                                                           "Directories=32x32/mimetypes\n\n"
                                                           "[32x32/mimetypes]\nSize=32\n"
                                                           "Context=MimeTypes\nType=Fixed\n");
        sandbox.makeFile(themes + u"/probe/32x32/mimetypes/text-plain.png"_s,
                         testbundles::pngBytes(32, Qt::magenta));
        sandbox.makeFile(themes + u"/probe/32x32/mimetypes/inode-directory.png"_s,
                         testbundles::pngBytes(32, Qt::darkYellow));
        QIcon::setThemeSearchPaths({themes});
        QIcon::setFallbackThemeName(u"probe"_s);
        QIcon::setThemeName(u"probe"_s);
    }
    void TearDown() override {
        QIcon::setThemeSearchPaths(oldPaths_);
        QIcon::setFallbackThemeName(oldFallback_);
        QIcon::setThemeName(oldTheme_);
    }

    Sandbox sandbox;

private:
    QStringList oldPaths_;
    QString oldTheme_;
    QString oldFallback_;
};

TEST_F(ThemeIcons, FilesGetTheThemePictureForTheirType) {
    const QString notes = sandbox.makeFile(sandbox.homePath(u"notes.txt"_s), "plain words\n");
    ASSERT_FALSE(FileIcons::themeIconForFile(notes).isNull());
    const QImage icon = FileIcons::iconForFile(notes);
    ASSERT_EQ(icon.size(), QSize(32, 32));
    EXPECT_EQ(icon.pixelColor(16, 16), QColor(Qt::magenta));
}

TEST_F(ThemeIcons, UnknownTypesGetTheGenericIcon) {
    const QString blob =
        sandbox.makeFile(sandbox.homePath(u"blob.zzq"_s), QByteArray("\x00\x01", 2));
    EXPECT_TRUE(FileIcons::themeIconForFile(blob).isNull());
    EXPECT_EQ(FileIcons::iconForFile(blob), FileIcons::genericIcon());
}

TEST_F(ThemeIcons, BundleIconWinsOverTheTheme) {
    const QString folder = sandbox.makeFolder(sandbox.homePath(u"Plain.app"_s));
    EXPECT_EQ(FileIcons::iconForFile(folder).pixelColor(3, 3), QColor(Qt::darkYellow));

    const QString app = testbundles::makeBundle(
        sandbox.homePath(u"Reader.app"_s),
        {{u"CFBundleIdentifier"_s, u"com.example.Reader"_s}, {u"CFBundleIconFile"_s, u"r.png"_s}});
    sandbox.makeFile(app + u"/Contents/Resources/r.png"_s, testbundles::pngBytes(20, Qt::cyan));
    const QImage icon = FileIcons::iconForFile(app);
    ASSERT_EQ(icon.size(), QSize(20, 20));
    EXPECT_EQ(icon.pixelColor(3, 3), QColor(Qt::cyan));
}

} // namespace
