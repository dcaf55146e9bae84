#include "ctl_world.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

// An application "Tool SE" with something for every rule that matches.
void makeToolWorld(const CtlWorld& world) {
    world.makeApp(u"Tool SE.app"_s, u"com.example.tool"_s);
    const PlistValue some = CtlWorld::dict({{u"k"_s, PlistValue::fromString(u"v"_s)}});
    world.writeDomain(u"com.example.tool"_s, some);
    world.writeDomain(u"com.example.tool.helper"_s, some);
    world.writeDomain(u"com.example.toolbox"_s, some);
    // The defaults program's last name keeps its line end: a bystander goes last.
    world.writeDomain(u"zz.last"_s, some);
    for (const char* folder :
         {"Library/Preferences/Tool SE", "Library/Caches/com.example.tool",
          "Library/Saved Application State/com.example.tool.savedState",
          "Library/Containers/com.example.tool/Data/Library/Preferences/com.example.tool",
          "Library/Containers/com.example.tool/Data/Library/Caches/Tool SE",
          "Library/Containers/com.example.tool/Data/Library/Saved Application "
          "State/com.example.tool.savedState",
          "Library/Application Support/Tool", "Library/Logs/Tool"})
        world.makeFolder(world.homePath(QString::fromUtf8(folder)));
    world.makeFile(world.homePath(u"Library/Preferences/Tool"_s));
    world.makeFile(world.homePath(u"Library/Application Support/Tool Plug-Ins/a.plugin"_s));
    world.makeFile(world.homePath(u"Library/HTTPStorages/com.example.tool.cookies"_s));
    // Not the application's: another name, and a saved state of another case.
    world.makeFolder(world.homePath(u"Library/Caches/Toolbox"_s));
    world.makeFolder(
        world.homePath(u"Library/Saved Application State/com.example.TOOL.savedState"_s));
}

struct ReasonCase {
    const char* section; // "domains", "preferenceFiles" or "caches"
    const char* item;    // a domain, or a path below the home folder
    const char* kind;
    const char* detail;
    bool container;
};

void PrintTo(const ReasonCase& c, std::ostream* os) {
    *os << c.section << ": " << c.item;
}

class SearchReasons : public testing::TestWithParam<ReasonCase> {};

TEST_P(SearchReasons, EachItemSaysWhyItMatched) {
    CtlWorld world;
    makeToolWorld(world);
    const ReasonCase& expected = GetParam();
    const CtlRun run = world.runJson({u"search"_s, world.homePath(u"Applications/Tool SE.app"_s)});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    const bool domains = QString::fromUtf8(expected.section) == u"domains"_s;
    const QString item = domains ? QString::fromUtf8(expected.item)
                                 : world.homePath(QString::fromUtf8(expected.item));
    QList<QJsonObject> found;
    for (const QJsonValue& entry : run.json.value(QString::fromUtf8(expected.section)).toArray()) {
        if (entry[domains ? u"domain"_s : u"path"_s].toString() == item)
            found.append(entry.toObject());
    }
    ASSERT_EQ(found.size(), 1) << qPrintable(item);
    const QJsonObject reason = found.first().value(u"reason"_s).toObject();
    EXPECT_EQ(reason.value(u"kind"_s).toString(), QString::fromUtf8(expected.kind));
    EXPECT_EQ(reason.value(u"detail"_s).toString(), QString::fromUtf8(expected.detail));
    EXPECT_EQ(reason.value(u"container"_s).toBool(), expected.container);
    if (domains) {
        EXPECT_EQ(found.first().value(u"level"_s).toString(), u"user"_s);
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryRule, SearchReasons,
    testing::Values(
        ReasonCase{"domains", "com.example.tool", "identifier", "com.example.tool", false},
        ReasonCase{"domains", "com.example.tool.helper", "catalogueDomain",
                   "com.example.tool.helper", false},
        ReasonCase{"preferenceFiles", "Library/Preferences/Tool SE", "name", "tool se", false},
        ReasonCase{"preferenceFiles", "Library/Preferences/Tool", "suffix", "se", false},
        ReasonCase{"preferenceFiles",
                   "Library/Containers/com.example.tool/Data/Library/Preferences/"
                   "com.example.tool",
                   "identifier", "com.example.tool", true},
        ReasonCase{"preferenceFiles", "Library/Application Support/Tool", "cataloguePath",
                   "~/Library/Application Support/Tool", false},
        ReasonCase{"preferenceFiles", "Library/Application Support/Tool Plug-Ins/a.plugin",
                   "catalogueSearch", "~/Library/Application Support/Tool Plug-Ins/??.plugin",
                   false},
        ReasonCase{"caches", "Library/Caches/com.example.tool", "identifier", "com.example.tool",
                   false},
        ReasonCase{"caches", "Library/Saved Application State/com.example.tool.savedState",
                   "savedState", "com.example.tool", false},
        ReasonCase{"caches", "Library/Containers/com.example.tool/Data/Library/Caches/Tool SE",
                   "name", "tool se", true},
        ReasonCase{"caches",
                   "Library/Containers/com.example.tool/Data/Library/Saved Application "
                   "State/com.example.tool.savedState",
                   "savedState", "com.example.tool", true},
        ReasonCase{"caches", "Library/Logs/Tool", "cataloguePath", "~/Library/Logs/Tool", false},
        ReasonCase{"caches", "Library/HTTPStorages/com.example.tool.cookies", "catalogueSearch",
                   "~/Library/HTTPStorages/com.example.tool??", false}));

TEST(Search, ListsNothingElseAndSaysTheHelperIsMissingOnce) {
    CtlWorld world;
    makeToolWorld(world);
    const CtlRun run = world.runJson({u"search"_s, world.homePath(u"Applications/Tool SE.app"_s)});
    ASSERT_EQ(run.status, 0);
    // Exactly the items above: the domain's own file, "toolbox" and the
    // other-case saved state are not the application's.
    EXPECT_EQ(run.json[u"domains"_s].toArray().size(), 2);
    EXPECT_EQ(run.json[u"preferenceFiles"_s].toArray().size(), 5);
    EXPECT_EQ(run.json[u"caches"_s].toArray().size(), 6);
    EXPECT_EQ(run.json[u"application"_s][u"identifier"_s].toString(), u"com.example.tool"_s);
    EXPECT_EQ(run.json[u"application"_s][u"name"_s].toString(), u"Tool SE"_s);
    EXPECT_FALSE(run.json[u"helper"_s][u"reachable"_s].toBool());
    EXPECT_FALSE(run.json.contains(u"error"_s));
    ASSERT_EQ(run.errLines().size(), 1) << qPrintable(run.err);
    EXPECT_TRUE(run.err.contains(u"helper is not reachable"_s));
    EXPECT_EQ(run.json[u"warnings"_s].toArray().size(), 1);
}

TEST(Search, TextListsTheSectionsWithTheirReasons) {
    CtlWorld world;
    makeToolWorld(world);
    const CtlRun run = world.run({u"search"_s, world.homePath(u"Applications/Tool SE.app"_s)});
    ASSERT_EQ(run.status, 0);
    const QStringList lines = run.out.split(u'\n', Qt::SkipEmptyParts);
    EXPECT_EQ(lines.first(), u"Tool SE.app: com.example.tool"_s);
    EXPECT_TRUE(lines.contains(u"Defaults domains (2):"_s));
    EXPECT_TRUE(lines.contains(u"Preference files (5):"_s));
    EXPECT_TRUE(lines.contains(u"Caches (6):"_s));
    EXPECT_TRUE(lines.contains(u"  %1  (application name less the suffix word \"se\")"_s.arg(
        world.homePath(u"Library/Preferences/Tool"_s))));
    EXPECT_TRUE(lines.contains(
        u"  com.example.tool.helper  (user; catalogue domain \"com.example.tool.helper\")"_s));
    EXPECT_TRUE(
        run.out.contains(u"(application name \"tool se\", in the application's container)"_s));
}

} // namespace
