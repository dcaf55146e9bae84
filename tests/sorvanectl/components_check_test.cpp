#include "ctl_world.h"

#include <QFile>
#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QStringList strings(const QJsonValue& array) {
    QStringList result;
    for (const QJsonValue& value : array.toArray())
        result.append(value.toString());
    return result;
}

class Components : public testing::Test {
protected:
    void SetUp() override {
        const PlistValue some = CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}});
        for (const QString& domain :
             {u"com.example.dock"_s, u"com.example.clock.a"_s, u"com.example.clock.b"_s,
              u"com.example.other"_s, u"zz.last"_s})
            world.writeDomain(domain, some);
        desktop = world.makeFile(world.homePath(u"Library/Application Support/Dock/desktop.db"_s));
    }

    CtlWorld world;
    QString desktop;
};

TEST_F(Components, ListShowsTheCatalogueSortedWithWhatExists) {
    const CtlRun run = world.runJson({u"components"_s, u"list"_s});
    ASSERT_EQ(run.status, 0);
    const QJsonArray components = run.json[u"components"_s].toArray();
    ASSERT_EQ(components.size(), 2);
    EXPECT_EQ(components[0][u"name"_s].toString(), u"Clock"_s);
    EXPECT_EQ(strings(components[0][u"domains"_s]), QStringList{u"com.example.clock*"_s});
    EXPECT_EQ(components[1][u"description"_s].toString(), u"Dock layout"_s);
    EXPECT_EQ(strings(components[1][u"files"_s]), QStringList{desktop});
    const CtlRun text = world.run({u"components"_s, u"list"_s});
    EXPECT_EQ(text.out, u"Clock — Menu bar clock\nDock — Dock layout\n"_s);
}

TEST_F(Components, DryRunListsTheMatchesAndChangesNothing) {
    const auto before = world.snapshot();
    const CtlRun run =
        world.runJson({u"components"_s, u"clean"_s, u"--dry-run"_s, u"Clock"_s, u"Dock"_s});
    ASSERT_EQ(run.status, 0);
    EXPECT_EQ(world.snapshot(), before);
    const QJsonArray components = run.json[u"components"_s].toArray();
    ASSERT_EQ(components.size(), 2);
    EXPECT_EQ(components[0][u"domains"_s].toArray().size(), 2);
    EXPECT_EQ(components[1][u"files"_s][0][u"path"_s].toString(), desktop);
    EXPECT_FALSE(run.json.contains(u"counter"_s));
    const CtlRun text = world.run({u"components"_s, u"clean"_s, u"--dry-run"_s, u"Dock"_s});
    EXPECT_EQ(text.out, u"Dry run: nothing is deleted.\nDock:\n  domain com.example.dock  (user)\n"
                        u"  file %1\n"_s.arg(desktop));
    EXPECT_EQ(world.snapshot(), before);
}

TEST_F(Components, CleanDeletesTheirDomainsAndFilesOnly) {
    const CtlRun run = world.runJson({u"components"_s, u"clean"_s, u"Clock"_s, u"Dock"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    for (const QString& domain :
         {u"com.example.dock"_s, u"com.example.clock.a"_s, u"com.example.clock.b"_s})
        EXPECT_FALSE(world.domainExists(domain)) << qPrintable(domain);
    EXPECT_TRUE(world.domainExists(u"com.example.other"_s));
    EXPECT_FALSE(QFile::exists(desktop));
    EXPECT_EQ(run.json[u"summary"_s].toString(), u"4 items were deleted. There were 0 errors."_s);
    EXPECT_TRUE(run.json[u"restartRecommended"_s].toBool());
    EXPECT_TRUE(run.json[u"components"_s][1][u"files"_s][0][u"deleted"_s].toBool());
}

class Check : public testing::Test {
protected:
    void SetUp() override {
        folder = world.homePath(u"Check"_s);
        good = world.makeFile(folder + u"/good.plist"_s,
                              "<plist version=\"1.0\"><dict><key>a</key><string>b</string></dict>"
                              "</plist>");
        damaged = world.makeFile(folder + u"/damaged.plist"_s, "<plist><dict><key>a</key>");
        nested = world.makeFile(folder + u"/sub/nested.plist"_s, "{ a = ");
        world.makeFile(folder + u"/empty.plist"_s, "");
        world.makeFile(folder + u"/com.apple.TimeMachine.plist"_s, "<plist><dict>");
        world.makeFile(folder + u"/notes.txt"_s, "<plist><dict>");
    }

    CtlWorld world;
    QString folder;
    QString good;
    QString damaged;
    QString nested;
};

TEST_F(Check, AFolderIsCheckedWithTheUsersRightsAndListsTheDamaged) {
    const auto before = world.snapshot();
    const CtlRun run = world.runJson({u"check"_s, folder});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.isEmpty()) << qPrintable(run.err);
    EXPECT_EQ(world.snapshot(), before);
    EXPECT_EQ(run.json[u"checkedBy"_s].toString(), u"user"_s);
    EXPECT_EQ(run.json[u"filesScanned"_s].toInt(), 5);
    EXPECT_EQ(run.json[u"summary"_s].toString(), u"5 files were scanned. 2 files had errors."_s);
    const QJsonArray failures = run.json[u"failures"_s].toArray();
    ASSERT_EQ(failures.size(), 2);
    EXPECT_EQ(failures[0][u"path"_s].toString(), damaged);
    EXPECT_EQ(failures[1][u"path"_s].toString(), nested);
    for (const QJsonValue& failure : failures) {
        EXPECT_FALSE(failure[u"message"_s].toString().isEmpty());
        EXPECT_FALSE(failure[u"message"_s].toString().contains(u"Error Domain"_s));
    }
}

TEST_F(Check, DeleteRemovesTheDamagedFilesOnly) {
    const CtlRun run = world.run({u"check"_s, u"--delete"_s, folder});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.out.contains(u"  deleted  "_s + damaged + u": "_s)) << qPrintable(run.out);
    EXPECT_TRUE(run.out.contains(u"2 items were deleted. There were 0 errors."_s));
    EXPECT_FALSE(QFile::exists(damaged));
    EXPECT_FALSE(QFile::exists(nested));
    EXPECT_TRUE(QFile::exists(good));
    EXPECT_TRUE(QFile::exists(folder + u"/com.apple.TimeMachine.plist"_s));
    EXPECT_TRUE(QFile::exists(folder + u"/empty.plist"_s));
    const CtlRun again = world.run({u"check"_s, folder});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, u"3 files were scanned. 0 files had errors.\n"_s);
}

} // namespace
