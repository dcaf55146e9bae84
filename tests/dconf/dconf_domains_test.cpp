// Listing, replacing and removing the user's dconf domains on the private bus.
#include "dconf_fixture.h"

#include <QDir>
#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace {

using DconfDomainsTest = DconfFixture;

// A system database that sets keys in directories the user also uses.
QString listingSystemProfile(DconfSandbox& sandbox) {
    return sandbox.systemProfile(u"listing"_s, {{u"00-site"_s, "[org/sorvane/listing/systemonly]\n"
                                                               "a=1\n\n"
                                                               "[org/sorvane/listing/mixed]\n"
                                                               "a=1\n\n"
                                                               "[org/sorvane/listing/shadowed]\n"
                                                               "a=1\n"}});
}

TEST_F(DconfDomainsTest, ListsDirectoriesWithUserValuesOnly) {
    const QString profile = listingSystemProfile(sandbox());
    ASSERT_FALSE(profile.isEmpty());
    dconfWrite(u"/org/sorvane/listing/mixed/b"_s, u"2"_s);
    dconfWrite(u"/org/sorvane/listing/shadowed/a"_s, u"2"_s);
    dconfWrite(u"/org/sorvane/listing/user/k"_s, u"'x'"_s);
    dconfWrite(u"/org/sorvane/listing/user/deep/er/k"_s, u"true"_s);
    dconfWrite(u"/org/sorvane/ext/dock@x.org/k"_s, u"1"_s);
    dconfWrite(u"/rootkey"_s, u"1"_s);
    // The system database is in effect: dconf reads its value.
    ASSERT_EQ(dconfRead(u"/org/sorvane/listing/systemonly/a"_s, profile), u"1"_s);

    useProfile(profile);
    const std::optional<QStringList> listed = domains.userDomains();
    ASSERT_TRUE(listed.has_value());
    EXPECT_EQ(*listed,
              QStringList({u"org.sorvane.ext.dock@x%2Eorg"_s, u"org.sorvane.listing.mixed"_s,
                           u"org.sorvane.listing.shadowed"_s, u"org.sorvane.listing.user"_s,
                           u"org.sorvane.listing.user.deep.er"_s}));
}

TEST_F(DconfDomainsTest, ReadsUserValuesWithoutSystemDefaults) {
    const QString profile = listingSystemProfile(sandbox());
    ASSERT_FALSE(profile.isEmpty());
    dconfWrite(u"/org/sorvane/listing/mixed/b"_s, u"2"_s);
    useProfile(profile);
    EXPECT_EQ(domains.read(u"org.sorvane.listing.mixed"_s), u"[/]\nb=2\n"_s);
    EXPECT_EQ(domains.read(u"org.sorvane.listing.systemonly"_s), QString());
    // dconf's own dump shows the defaults as well.
    EXPECT_EQ(dconfDump(u"/org/sorvane/listing/mixed/"_s, profile), u"[/]\na=1\nb=2\n"_s);
}

TEST_F(DconfDomainsTest, NothingWhenDconfCannotBeRead) {
    dconfWrite(u"/org/sorvane/unreadable/k"_s, u"1"_s);
    useProfile(sandbox().folder() + u"/no-such.profile"_s);
    EXPECT_EQ(domains.userDomains(), std::nullopt);
    EXPECT_EQ(domains.read(u"org.sorvane.unreadable"_s), std::nullopt);

    // A user database that is no file at all.
    useProfile(sandbox().userProfile());
    const QString database = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/dconf/user"_s;
    ASSERT_TRUE(QFile::rename(database, database + u".aside"_s));
    ASSERT_TRUE(QDir().mkdir(database));
    EXPECT_EQ(domains.userDomains(), std::nullopt);
    ASSERT_TRUE(QDir().rmdir(database));
    ASSERT_TRUE(QFile::rename(database + u".aside"_s, database));
    EXPECT_EQ(domains.userDomains(), QStringList{u"org.sorvane.unreadable"_s});
}

TEST_F(DconfDomainsTest, WriteReplacesTheWholeSubtree) {
    dconfWrite(u"/org/sorvane/TextEditor/a"_s, u"1"_s);
    dconfWrite(u"/org/sorvane/TextEditor/b"_s, u"2"_s);
    dconfWrite(u"/org/sorvane/TextEditor/sub/c"_s, u"3"_s);
    dconfWrite(u"/org/sorvane/TextEditorPlugins/x"_s, u"4"_s);
    QString error;
    ASSERT_TRUE(domains.write(u"org.sorvane.TextEditor"_s, u"[/]\na=5\nd='new'\n\n[other]\ne=6\n"_s,
                              &error))
        << qPrintable(error);
    EXPECT_EQ(dconfDump(u"/org/sorvane/TextEditor/"_s), u"[/]\na=5\nd='new'\n\n[other]\ne=6\n"_s);
    EXPECT_EQ(dconfRead(u"/org/sorvane/TextEditor/b"_s), QString());
    EXPECT_EQ(dconfRead(u"/org/sorvane/TextEditor/sub/c"_s), QString());
    // A sibling whose name starts the same is another domain.
    EXPECT_EQ(dconfRead(u"/org/sorvane/TextEditorPlugins/x"_s), u"4"_s);
}

struct BadText {
    const char* name;
    QString text;
    QStringList complaint; // words the error must hold
};

class DconfBadTextTest : public DconfFixture, public ::testing::WithParamInterface<BadText> {};

TEST_P(DconfBadTextTest, WritesNothingAndSaysWhere) {
    dconfWrite(u"/org/sorvane/kept/a"_s, u"1"_s);
    dconfWrite(u"/org/sorvane/kept/sub/b"_s, u"'two'"_s);
    const QString before = dconfDump(u"/org/sorvane/kept/"_s);
    QString error;
    EXPECT_FALSE(domains.write(u"org.sorvane.kept"_s, GetParam().text, &error));
    for (const QString& word : GetParam().complaint)
        EXPECT_TRUE(error.contains(word)) << qPrintable(error) << " lacks " << qPrintable(word);
    EXPECT_FALSE(error.contains(u'\n')) << qPrintable(error);
    EXPECT_EQ(dconfDump(u"/org/sorvane/kept/"_s), before);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DconfBadTextTest,
    ::testing::Values(BadText{"out_of_range",
                              u"[/]\na=2\nb=int16 99999\n"_s,
                              {u"line 3"_s, u"[/] b"_s, u"int16 99999"_s}},
                      BadText{"unterminated",
                              u"[/]\na=2\n\n[sub]\n  k = 'open\n"_s,
                              {u"line 5"_s, u"[sub] k"_s, u"'open"_s}},
                      BadText{"bare_word", u"[/]\nk=hello\n"_s, {u"line 2"_s, u"[/] k"_s}},
                      BadText{"bad_group",
                              u"[/]\na=2\n[sub//x]\nk=1\n"_s,
                              {u"line 4"_s, u"[sub//x] k"_s, u"invalid key path"_s}},
                      BadText{"not_a_key_file",
                              u"[/]\na=2\njust words\n"_s,
                              {u"not a key file"_s, u"just words"_s}}),
    [](const ::testing::TestParamInfo<BadText>& row) { return std::string(row.param.name); });

TEST_F(DconfDomainsTest, RemoveResetsTheSubtreeAndKeepsSystemValues) {
    const QString profile =
        sandbox().systemProfile(u"removal"_s, {{u"00-site"_s, "[org/sorvane/removal]\nsys=7\n"}});
    ASSERT_FALSE(profile.isEmpty());
    dconfWrite(u"/org/sorvane/removal/a"_s, u"1"_s);
    dconfWrite(u"/org/sorvane/removal/sub/b"_s, u"2"_s);
    dconfWrite(u"/org/sorvane/removals/c"_s, u"3"_s);
    useProfile(profile);
    QString error;
    ASSERT_TRUE(domains.remove(u"org.sorvane.removal"_s, &error)) << qPrintable(error);
    EXPECT_EQ(dconfDump(u"/org/sorvane/removal/"_s), QString());
    EXPECT_EQ(dconfRead(u"/org/sorvane/removals/c"_s), u"3"_s);
    EXPECT_EQ(dconfRead(u"/org/sorvane/removal/sys"_s, profile), u"7"_s);
    EXPECT_EQ(domains.userDomains(), QStringList{u"org.sorvane.removals"_s});
}

TEST_F(DconfDomainsTest, ALockedKeyRefusesTheWholeWrite) {
    const QString profile = sandbox().systemProfile(
        u"locked"_s, {{u"00-site"_s, "[org/sorvane/locked]\nk=1\n"}}, "/org/sorvane/locked/k\n");
    ASSERT_FALSE(profile.isEmpty());
    dconfWrite(u"/org/sorvane/locked/a"_s, u"1"_s);
    useProfile(profile);
    QString error;
    EXPECT_FALSE(domains.write(u"org.sorvane.locked"_s, u"[/]\na=2\nk=5\n"_s, &error));
    EXPECT_TRUE(error.startsWith(u"Cannot write org.sorvane.locked: dconf refused the change: "_s))
        << qPrintable(error);
    // Neither the reset nor the other value went through.
    EXPECT_EQ(dconfRead(u"/org/sorvane/locked/a"_s), u"1"_s);

    // A user value set before the lock is no reason to refuse: it stays.
    dconfWrite(u"/org/sorvane/locked/k"_s, u"9"_s);
    ASSERT_TRUE(domains.write(u"org.sorvane.locked"_s, u"[/]\na=2\n"_s, &error))
        << qPrintable(error);
    EXPECT_EQ(dconfDump(u"/org/sorvane/locked/"_s), u"[/]\na=2\nk=9\n"_s);
}

TEST_F(DconfDomainsTest, NamesThatAreNotDomainsAreRefused) {
    dconfWrite(u"/rootkey"_s, u"1"_s);
    QString error;
    EXPECT_FALSE(domains.remove(QString(), &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(domains.write(u"a..b"_s, u"[/]\nk=1\n"_s, &error));
    EXPECT_EQ(domains.read(u"a..b"_s), std::nullopt);
    EXPECT_EQ(dconfRead(u"/rootkey"_s), u"1"_s);
}

TEST_F(DconfDomainsTest, ListsTwentyThousandKeysQuickly) {
    // 2,000 directories of 10 keys each, written as one change.
    QString text;
    for (int dir = 0; dir < 2000; ++dir) {
        text += u"[d%1]\n"_s.arg(dir, 4, 10, QChar(u'0'));
        for (int key = 0; key < 10; ++key)
            text += u"k%1=%2\n"_s.arg(key).arg(dir * 10 + key);
        text += u'\n';
    }
    QString error;
    ASSERT_TRUE(domains.write(u"org.sorvane.bulk"_s, text, &error)) << qPrintable(error);

    QElapsedTimer timer;
    timer.start();
    const std::optional<QStringList> listed = domains.userDomains();
    const qint64 listing = timer.elapsed();
    ASSERT_TRUE(listed.has_value());
    ASSERT_EQ(listed->size(), 2000);
    EXPECT_EQ(listed->first(), u"org.sorvane.bulk.d0000"_s);
    EXPECT_EQ(listed->last(), u"org.sorvane.bulk.d1999"_s);
    timer.restart();
    const std::optional<QString> read = domains.read(u"org.sorvane.bulk"_s);
    const qint64 reading = timer.elapsed();
    EXPECT_EQ(read, text.chopped(1));
    std::cout << "listing took " << listing << " ms, reading " << reading << " ms\n";
    EXPECT_LT(listing, 2000);
    EXPECT_LT(reading, 5000);
}

} // namespace
