// The helper deleting a system domain of the Linux desktop: the domain's keys
// and locks leave the dconf databases' key files, and the databases are
// rebuilt from what is left.
#include "helper_link_fixture.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST_F(HelperLinkTest, DeletesASystemDconfDomainAndRebuildsTheDatabase) {
    if (QStandardPaths::findExecutable(u"dconf"_s).isEmpty())
        GTEST_SKIP() << "the dconf program (dconf-cli) is not installed";
    installHelper();
    const QString keys = makeRootFile(u"etc/dconf/db/site.d/00-apps"_s,
                                      "[org/example/editor]\nfont='Mono 11'\n\n"
                                      "[org/example/editor/plugins]\nactive=['spell']\n\n"
                                      "[org/example/viewer]\nzoom=2\n");
    const QString locks = makeRootFile(u"etc/dconf/db/site.d/locks/00-apps"_s,
                                       "/org/example/editor/font\n/org/example/viewer/zoom\n");
    const QString database = bus_->systemRoot() + u"/etc/dconf/db/site"_s;

    EXPECT_TRUE(link_->deleteDefaultsDomain(u"org.example.editor"_s));
    // The blank lines between groups stay; the domain's groups are gone.
    EXPECT_EQ(contents(keys).trimmed(), "[org/example/viewer]\nzoom=2");
    EXPECT_EQ(contents(locks), "/org/example/viewer/zoom\n");
    ASSERT_TRUE(QFileInfo::exists(database)) << "dconf update built no database";

    // The rebuilt database holds what is left, read back by dconf itself.
    QProcess dump;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString profile = tools_.filePath(u"profile"_s);
    QFile profileFile(profile);
    ASSERT_TRUE(profileFile.open(QIODevice::WriteOnly));
    profileFile.write("file-db:" + QFile::encodeName(database) + '\n');
    profileFile.close();
    environment.insert(u"DCONF_PROFILE"_s, profile);
    dump.setProcessEnvironment(environment);
    dump.start(u"dconf"_s, {u"dump"_s, u"/org/example/"_s});
    ASSERT_TRUE(dump.waitForFinished(10000));
    const QByteArray dumped = dump.readAllStandardOutput();
    EXPECT_TRUE(dumped.contains("zoom=2")) << dumped.constData();
    EXPECT_FALSE(dumped.contains("editor")) << dumped.constData();
}
