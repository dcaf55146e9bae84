#include "platform/defaults_store.h"
#include "platform/plist_codec.h"

#include "sandbox.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

PlistValue sampleDomain() {
    PlistValue domain = PlistValue::dictionary();
    domain.insert(u"zeta"_s, PlistValue::fromInteger(1));
    domain.insert(u"alpha"_s, PlistValue::fromString(u"two"_s));
    return domain;
}

TEST(DefaultsStore, WritesBinaryPrivateFilesAndListsSortedDomains) {
    Sandbox sandbox;
    DefaultsStore store(sandbox.home());
    QString error;
    ASSERT_TRUE(store.writeDomain(u"org.example.b"_s, sampleDomain(), &error)) << qPrintable(error);
    ASSERT_TRUE(store.writeDomain(u"org.example.a"_s, sampleDomain(), &error));
    ASSERT_TRUE(store.writeDomain(DefaultsStore::globalDomain, sampleDomain(), &error));
    sandbox.makeFile(sandbox.homePath(u"Library/Preferences/notes.txt"_s), "x");

    EXPECT_EQ(store.domains(), QStringList({u"org.example.a"_s, u"org.example.b"_s}));
    const QString path = sandbox.homePath(u"Library/Preferences/org.example.a.plist"_s);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().startsWith("bplist00"));
    EXPECT_TRUE(
        QFileInfo::exists(sandbox.homePath(u"Library/Preferences/.GlobalPreferences.plist"_s)));

    const PlistValue read = store.readDomain(u"org.example.a"_s, &error);
    EXPECT_EQ(read, sampleDomain());
    EXPECT_EQ(read.keys(), QStringList({u"zeta"_s, u"alpha"_s}));
}

TEST(DefaultsStore, ReadsXmlAndTextDomains) {
    Sandbox sandbox;
    sandbox.makeFile(sandbox.homePath(u"Library/Preferences/x.plist"_s),
                     "<plist><dict><key>k</key><integer>7</integer></dict></plist>");
    sandbox.makeFile(sandbox.homePath(u"Library/Preferences/t.plist"_s), "{ k = v; }");
    DefaultsStore store(sandbox.home());
    QString error;
    const PlistValue xml = store.readDomain(u"x"_s, &error);
    ASSERT_TRUE(xml.isValid()) << qPrintable(error);
    EXPECT_EQ(xml, PlistCodec::read("{ k = <*I7>; }", &error));
    const PlistValue text = store.readDomain(u"t"_s, &error);
    ASSERT_TRUE(text.isValid()) << qPrintable(error);
    EXPECT_EQ(text.find(u"k"_s)->toString(), u"v"_s);
}

TEST(DefaultsStore, DeleteRemovesOnlyThatDomain) {
    Sandbox sandbox;
    DefaultsStore store(sandbox.home());
    QString error;
    ASSERT_TRUE(store.writeDomain(u"a"_s, sampleDomain(), &error));
    ASSERT_TRUE(store.writeDomain(u"b"_s, sampleDomain(), &error));
    EXPECT_TRUE(store.deleteDomain(u"a"_s, &error));
    EXPECT_EQ(store.domains(), QStringList({u"b"_s}));
    EXPECT_FALSE(store.deleteDomain(u"a"_s, &error));
    EXPECT_EQ(error, u"Domain a does not exist"_s);
}

class RefusedDomainNames : public testing::TestWithParam<const char*> {};

TEST_P(RefusedDomainNames, AreRefusedByEveryOperation) {
    Sandbox sandbox;
    sandbox.makeFile(sandbox.homePath(u"Library/victim.plist"_s), "{ a = b; }");
    DefaultsStore store(sandbox.home());
    const QString name = QString::fromUtf8(GetParam());
    QString error;
    EXPECT_FALSE(store.writeDomain(name, sampleDomain(), &error));
    EXPECT_FALSE(store.deleteDomain(name, &error));
    EXPECT_FALSE(store.readDomain(name, &error).isValid());
    EXPECT_TRUE(QFileInfo::exists(sandbox.homePath(u"Library/victim.plist"_s)));
    EXPECT_TRUE(store.domains().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Names, RefusedDomainNames,
                         testing::Values("", "../victim", "a/b", "..", "x..y"));

} // namespace
