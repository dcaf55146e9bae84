#include "ctl_world.h"

#include "platform/defaults_store.h"
#include "platform/tool_locations.h"
#include "private_bus.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// One private bus with the real helper installed and a stand-in polkit for the
// whole test program (starting them is the slow part), made by the first test
// that needs it and stopped after the last test.
class HelperBus : public testing::Environment {
public:
    static PrivateBus* bus(QString* problem) {
        if (!bus_) {
            bus_ = std::make_unique<PrivateBus>();
            if (!bus_->isRunning() || !bus_->startPolkit() || !bus_->allowUnknownActions(true) ||
                bus_->installHelper(ToolLocations::helperTool()) != 0)
                problem_ = bus_->lastError().isEmpty() ? u"the helper could not be installed"_s
                                                       : bus_->lastError();
        }
        *problem = problem_;
        return bus_.get();
    }
    void TearDown() override { bus_.reset(); }

private:
    static inline std::unique_ptr<PrivateBus> bus_;
    static inline QString problem_;
};

[[maybe_unused]] testing::Environment* const helperBus =
    testing::AddGlobalTestEnvironment(new HelperBus);

// Every test gets the bus's home and system root emptied and Tool.app with a
// domain of the user's and one of root's.
class WithHelper : public testing::Test {
protected:
    void SetUp() override {
        QString problem;
        bus_ = HelperBus::bus(&problem);
        ASSERT_TRUE(problem.isEmpty()) << qPrintable(problem);
        ASSERT_TRUE(bus_->allowUnknownActions(true));
        for (const QString& folder : {bus_->home(), bus_->systemRoot()}) {
            QDir(folder).removeRecursively();
            QDir().mkpath(folder);
        }
        world = std::make_unique<CtlWorld>(bus_->home(), bus_->systemRoot());
        world->setHelperBus(bus_->address());
        world->makeApp(u"Tool.app"_s, u"com.example.tool"_s);
        const PlistValue some = CtlWorld::dict({{u"k"_s, PlistValue::fromInteger(1)}});
        world->writeDomain(u"com.example.tool"_s, some);
        world->writeDomain(u"zz.last"_s, some);
        world->writeRootDomain(u"com.example.tool"_s, some);
    }

    bool rootDomainExists() const {
        return DefaultsStore(world->rootPath(u"root"_s)).domainExists(u"com.example.tool"_s);
    }
    QString app() const { return world->homePath(u"Applications/Tool.app"_s); }

    PrivateBus* bus_ = nullptr;
    std::unique_ptr<CtlWorld> world;
};

TEST_F(WithHelper, SearchFindsRootsDomainThroughIt) {
    const CtlRun run = world->runJson({u"search"_s, app()});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    EXPECT_TRUE(run.err.isEmpty()) << qPrintable(run.err);
    EXPECT_TRUE(run.json[u"helper"_s][u"reachable"_s].toBool());
    const QJsonArray domains = run.json[u"domains"_s].toArray();
    ASSERT_EQ(domains.size(), 2);
    EXPECT_EQ(domains[0][u"level"_s].toString(), u"root"_s);
    EXPECT_EQ(domains[0][u"reason"_s][u"kind"_s].toString(), u"identifier"_s);
    EXPECT_EQ(domains[1][u"level"_s].toString(), u"user"_s);
}

TEST_F(WithHelper, CleanDeletesRootsDomainThroughIt) {
    const CtlRun run = world->runJson({u"clean"_s, app()});
    ASSERT_EQ(run.status, 0) << qPrintable(run.err);
    EXPECT_FALSE(rootDomainExists());
    EXPECT_FALSE(world->domainExists(u"com.example.tool"_s));
    EXPECT_EQ(run.json[u"summary"_s].toString(), u"2 items were deleted. There were 0 errors."_s);
}

TEST_F(WithHelper, CleanReportsWhatItRefusedAsStillThere) {
    // Root's domains may be listed but not deleted.
    ASSERT_TRUE(bus_->allowUnknownActions(false));
    ASSERT_TRUE(bus_->setAllowedActions({u"com.brisvale.Sorvane.Helper.read-domains"_s}));
    const CtlRun run = world->runJson({u"clean"_s, app()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(rootDomainExists());
    EXPECT_FALSE(world->domainExists(u"com.example.tool"_s));
    const QJsonArray domains = run.json[u"domains"_s].toArray();
    ASSERT_EQ(domains.size(), 2);
    EXPECT_FALSE(domains[0][u"deleted"_s].toBool());
    EXPECT_TRUE(domains[1][u"deleted"_s].toBool());
    EXPECT_EQ(run.json[u"counter"_s][u"errors"_s].toInt(), 1);
    EXPECT_LT(run.elapsedMs, 5000);
}

struct FolderCase {
    const char* name;
    const char* option;
    bool system;
};

void PrintTo(const FolderCase& c, std::ostream* os) {
    *os << c.name;
}

class CheckThroughHelper : public WithHelper, public testing::WithParamInterface<FolderCase> {};

TEST_P(CheckThroughHelper, ListsAndDeletesTheDamaged) {
    const QString folder = GetParam().system ? world->rootPath(u"Library/Preferences"_s)
                                             : world->homePath(u"Library/Preferences"_s);
    const QString damaged = world->makeFile(folder + u"/broken.plist"_s, "<plist><dict>");
    const CtlRun run =
        world->runJson({u"check"_s, QString::fromUtf8(GetParam().option), u"--delete"_s});
    EXPECT_EQ(run.status, 1) << qPrintable(run.err);
    EXPECT_TRUE(run.err.isEmpty()) << qPrintable(run.err);
    EXPECT_EQ(run.json[u"checkedBy"_s].toString(), u"helper"_s);
    EXPECT_EQ(run.json[u"folder"_s].toString(), folder);
    const QJsonArray failures = run.json[u"failures"_s].toArray();
    ASSERT_EQ(failures.size(), 1);
    EXPECT_EQ(failures[0][u"path"_s].toString(), damaged);
    EXPECT_TRUE(failures[0][u"deleted"_s].toBool());
    EXPECT_FALSE(QFile::exists(damaged));
}

INSTANTIATE_TEST_SUITE_P(Folders, CheckThroughHelper,
                         testing::Values(FolderCase{"User", "--user", false},
                                         FolderCase{"System", "--system", true}));

TEST_F(WithHelper, ACheckTheHelperRefusesIsAFailure) {
    ASSERT_TRUE(bus_->allowUnknownActions(false));
    ASSERT_TRUE(bus_->setAllowedActions({}));
    const CtlRun run = world->run({u"check"_s, u"--system"_s});
    EXPECT_EQ(run.status, 1);
    ASSERT_EQ(run.errLines().size(), 1) << qPrintable(run.err);
    EXPECT_TRUE(run.err.contains(u"the helper did not check"_s));
}

} // namespace
