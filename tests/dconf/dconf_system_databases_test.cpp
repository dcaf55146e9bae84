// The system databases' key files and locks, edited as text under the
// sandbox's system root; "dconf compile" checks that the result still builds.
#include "dconf_sandbox.h"
#include "sandbox.h"

#include "linux/dconf_system_databases.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kEditor = "# Site defaults for the text editor\n"
                           "[org/gnome/TextEditor]\n"
                           "# keep the theme dark\n"
                           "style-scheme='Adwaita-dark'\n"
                           "show-line-numbers = true\n"
                           "\n"
                           "[org/gnome/TextEditorPlugins]\n"
                           "enabled=true\n"
                           "\n"
                           "# Desktop\n"
                           "[org/gnome/desktop/interface]\n"
                           "gtk-theme='Adwaita'\n"
                           "[org/gnome/TextEditor/plugins/spell]\n"
                           "lang='de'\n";
const QByteArray kEditorAfter = "# Site defaults for the text editor\n"
                                "\n"
                                "[org/gnome/TextEditorPlugins]\n"
                                "enabled=true\n"
                                "\n"
                                "# Desktop\n"
                                "[org/gnome/desktop/interface]\n"
                                "gtk-theme='Adwaita'\n";
// Keys whose names hold slashes reach into the domain from a group above it.
const QByteArray kMixed = "[org/gnome]\n"
                          "TextEditor/tabs=2\n"
                          "other=1\n"
                          "[/]\n"
                          "org/gnome/TextEditor/wrap=true\n";
const QByteArray kMixedAfter = "[org/gnome]\n"
                               "other=1\n";
const QByteArray kOther = "[org/gnome/desktop/background]\n"
                          "picture-uri='file:///x.png'\n";
const QByteArray kLocks = "# locks\n"
                          "/org/gnome/TextEditor/style-scheme\n"
                          "/org/gnome/TextEditorPlugins/enabled\n"
                          "/org/gnome/desktop/interface/gtk-theme\n"
                          "/org/gnome/TextEditor/\n";
const QByteArray kLocksAfter = "# locks\n"
                               "/org/gnome/TextEditorPlugins/enabled\n"
                               "/org/gnome/desktop/interface/gtk-theme\n";
const QByteArray kLocal = "[org/gnome/TextEditor]\n"
                          "indent=4\n";

class DconfSystemDatabasesTest : public ::testing::Test {
protected:
    void SetUp() override {
        site_ = sandbox_.rootPath(u"etc/dconf/db/site.d"_s);
        sandbox_.makeFile(site_ + u"/00-editor"_s, kEditor);
        sandbox_.makeFile(site_ + u"/10-other"_s, kOther);
        sandbox_.makeFile(site_ + u"/20-mixed"_s, kMixed);
        sandbox_.makeFile(site_ + u"/locks/00-locks"_s, kLocks);
        sandbox_.makeFile(sandbox_.rootPath(u"etc/dconf/db/local.d/00-local"_s), kLocal);
    }

    static QByteArray contentOf(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
    }
    static ino_t inodeOf(const QString& path) {
        struct stat status {};
        return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_ino : 0;
    }
    // What the database built from a .d folder holds, as dconf dumps it.
    QString compiledDump(const QString& databaseFolder) const {
        DconfSandbox& dconf = *DconfSandbox::instance();
        const QString output = sandbox_.path() + u"/compiled"_s;
        const DconfSandbox::Run compiled = dconf.dconf({u"compile"_s, output, databaseFolder});
        if (compiled.exitCode != 0)
            return u"<dconf compile failed: "_s + compiled.err + u'>';
        const QString profile = sandbox_.makeFile(sandbox_.path() + u"/compiled.profile"_s,
                                                  "file-db:" + QFile::encodeName(output) + '\n');
        return dconf.dconf({u"dump"_s, u"/"_s}, {}, profile).out;
    }

    Sandbox sandbox_;
    QString site_;
};

TEST_F(DconfSystemDatabasesTest, ListsDomainsWithKeysOrLocks) {
    sandbox_.makeFile(sandbox_.rootPath(u"etc/dconf/db/local.d/locks/more"_s),
                      "/org/sorvane/lockedonly/k\n/org/sorvane/lockeddir/\n");
    EXPECT_EQ(
        DconfSystemDatabases().domains(),
        QStringList({u"org.gnome"_s, u"org.gnome.TextEditor"_s,
                     u"org.gnome.TextEditor.plugins.spell"_s, u"org.gnome.TextEditorPlugins"_s,
                     u"org.gnome.desktop.background"_s, u"org.gnome.desktop.interface"_s,
                     u"org.sorvane.lockeddir"_s, u"org.sorvane.lockedonly"_s}));
}

TEST_F(DconfSystemDatabasesTest, PassesOverFilesThatAreNoKeyFiles) {
    sandbox_.makeFile(site_ + u"/30-broken"_s, "not a key file\n");
    sandbox_.makeFile(site_ + u"/.00-swap"_s, "[org/sorvane/swap]\nk=1\n");
    const QStringList found = DconfSystemDatabases().domains();
    EXPECT_TRUE(found.contains(u"org.gnome.desktop.background"_s));
    EXPECT_FALSE(found.contains(u"org.sorvane.swap"_s));
}

TEST_F(DconfSystemDatabasesTest, RemovesExactlyTheDomainsKeysAndLocks) {
    const ino_t otherInode = inodeOf(site_ + u"/10-other"_s);
    QString error;
    ASSERT_TRUE(DconfSystemDatabases().removeDomain(u"org.gnome.TextEditor"_s, &error))
        << qPrintable(error);
    EXPECT_EQ(contentOf(site_ + u"/00-editor"_s), kEditorAfter);
    EXPECT_EQ(contentOf(site_ + u"/20-mixed"_s), kMixedAfter);
    EXPECT_EQ(contentOf(site_ + u"/locks/00-locks"_s), kLocksAfter);
    EXPECT_EQ(contentOf(sandbox_.rootPath(u"etc/dconf/db/local.d/00-local"_s)), QByteArray());
    // A file without the domain is not even rewritten.
    EXPECT_EQ(contentOf(site_ + u"/10-other"_s), kOther);
    EXPECT_EQ(inodeOf(site_ + u"/10-other"_s), otherInode);

    EXPECT_EQ(compiledDump(site_),
              u"[org/gnome]\nother=1\n\n"
              u"[org/gnome/TextEditorPlugins]\nenabled=true\n\n"
              u"[org/gnome/desktop/background]\npicture-uri='file:///x.png'\n\n"
              u"[org/gnome/desktop/interface]\ngtk-theme='Adwaita'\n"_s);
    EXPECT_FALSE(DconfSystemDatabases().domains().contains(u"org.gnome.TextEditor"_s));
}

TEST_F(DconfSystemDatabasesTest, KeepsPermissionsOfRewrittenFiles) {
    const QString path = site_ + u"/00-editor"_s;
    const QFileDevice::Permissions permissions = QFile::ReadOwner | QFile::WriteOwner |
                                                 QFile::ReadUser | QFile::WriteUser |
                                                 QFile::ReadGroup;
    ASSERT_TRUE(QFile::setPermissions(path, permissions));
    QString error;
    ASSERT_TRUE(DconfSystemDatabases().removeDomain(u"org.gnome.TextEditor"_s, &error));
    EXPECT_EQ(QFileInfo(path).permissions(), permissions);
}

TEST_F(DconfSystemDatabasesTest, AnUnreadableKeyFileLeavesEveryFileAsItWas) {
    sandbox_.makeFile(site_ + u"/30-broken"_s, "[org/gnome/TextEditor]\nnot a key line\n");
    QString error;
    EXPECT_FALSE(DconfSystemDatabases().removeDomain(u"org.gnome.TextEditor"_s, &error));
    EXPECT_TRUE(error.contains(u"30-broken"_s)) << qPrintable(error);
    EXPECT_EQ(contentOf(site_ + u"/00-editor"_s), kEditor);
    EXPECT_EQ(contentOf(site_ + u"/20-mixed"_s), kMixed);
    EXPECT_EQ(contentOf(site_ + u"/locks/00-locks"_s), kLocks);
}

} // namespace
