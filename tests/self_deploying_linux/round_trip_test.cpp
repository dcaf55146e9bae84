// A self-deploying package file made by one user with the real sorvanectl and
// run by another from a download folder, with PATH=/usr/bin:/bin and nothing
// of Sorvane in its environment: what arrives is exactly what was packed.
#include "self_deploying_fixture.h"

using namespace Qt::StringLiterals;

TEST_F(SelfDeployingFixture, EveryValueArrivesWithItsTypeAndEveryFileByteForByte) {
    const auto user = receiver();
    ASSERT_TRUE(user->dump(kNotes).contains(u"stale=true"_s));
    const ProgramRun run = runCopy(*user, {u"--yes"_s});
    ASSERT_EQ(run.status, 0) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(u"Deployed all 6 settings and files."_s)) << run.out.toStdString();

    const State arrived = stateOf(*user);
    const State packed = stateOf(*maker_);
    EXPECT_EQ(arrived.notes, packed.notes);
    EXPECT_EQ(arrived.sketch, packed.sketch);
    EXPECT_TRUE(arrived.sketch.contains(u"pen='round'"_s));
    EXPECT_EQ(arrived.paintStore, packed.paintStore);
    ASSERT_FALSE(packed.paintStore.isEmpty());
    EXPECT_EQ(arrived.files, packed.files);
    // Types are kept: dconf prints each value back as it was written.
    for (const QString& key : {u"ubig"_s, u"small"_s, u"window/geometry"_s, u"window/maybe"_s,
                               u"empty"_s, u"greeting"_s})
        EXPECT_EQ(user->dconf({u"read"_s, kNotes + key}).out,
                  maker_->dconf({u"read"_s, kNotes + key}).out)
            << key.toStdString();
    // The domain was replaced, and nothing else was touched.
    EXPECT_FALSE(arrived.notes.contains(u"stale"_s));
    EXPECT_EQ(arrived.other, u"[/]\nkeep=1\n"_s);
}

TEST_F(SelfDeployingFixture, ListShowsEveryItemAndWritesNothing) {
    const auto user = receiver();
    const State before = stateOf(*user);
    const ProgramRun run = runCopy(*user, {u"--list"_s});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    for (const QString& expected :
         {u"1 component, 2 applications, 3 settings domains, 3 files"_s,
          u"Component Notes — Notes"_s, u"settings org.example.Notes  (16 keys)"_s,
          u"Application Sketch (org.example.Sketch)"_s, u"settings org.example.Sketch  (2 keys)"_s,
          u"file ~/.config/sketch/Grüße.bin  (7 bytes)"_s, u"file ~/.sketchrc"_s,
          u"Application Paint (org.example.Paint)"_s,
          u"settings flatpak:org.example.Paint  (2 keys)"_s, user->home()})
        EXPECT_TRUE(run.out.contains(expected)) << expected.toStdString() << "\n"
                                                << run.out.toStdString();
    EXPECT_EQ(stateOf(*user), before);
}

TEST_F(SelfDeployingFixture, SorvanectlReadsThePackageInsideTheFile) {
    const auto user = receiver();
    QProcessEnvironment sorvane = user->bareEnvironment(qEnvironmentVariable("PATH"));
    sorvane.insert(u"SORVANE_SETTINGS"_s, u"linux"_s);
    sorvane.insert(u"SORVANE_RESOURCES_DIR"_s, path(u"resources"_s));
    const ProgramRun inspect =
        user->run(sorvanectl(), {u"package"_s, u"inspect"_s, selfDeploying()}, sorvane);
    ASSERT_EQ(inspect.status, 0) << inspect.err.toStdString();
    EXPECT_TRUE(inspect.out.startsWith(selfDeploying())) << inspect.out.toStdString();
    EXPECT_TRUE(inspect.out.contains(u"Sketch (org.example.Sketch)"_s))
        << inspect.out.toStdString();

    const ProgramRun deploy =
        user->run(sorvanectl(), {u"package"_s, u"deploy"_s, selfDeploying()}, sorvane);
    ASSERT_EQ(deploy.status, 0) << deploy.out.toStdString() << deploy.err.toStdString();
    State expected = stateOf(*maker_);
    expected.other = u"[/]\nkeep=1\n"_s;
    EXPECT_EQ(stateOf(*user), expected);
}

namespace {

struct UsageCase {
    QStringList arguments;
    int status;
    QString said; // on standard output, or standard error for a failure
};

void PrintTo(const UsageCase& usage, std::ostream* out) {
    *out << usage.arguments.join(u' ').toStdString();
}

class Usage : public SelfDeployingFixture, public testing::WithParamInterface<UsageCase> {};

} // namespace

TEST_P(Usage, SaysWhatItDoesAndWritesNothing) {
    const auto user = receiver();
    const State before = stateOf(*user);
    const ProgramRun run = runCopy(*user, GetParam().arguments);
    EXPECT_EQ(run.status, GetParam().status);
    EXPECT_TRUE((run.out + run.err).contains(GetParam().said))
        << run.out.toStdString() << run.err.toStdString();
    EXPECT_EQ(stateOf(*user), before);
}

INSTANTIATE_TEST_SUITE_P(
    SelfDeploying, Usage,
    testing::Values(UsageCase{{u"--help"_s}, 0, u"-y, --yes    deploy without asking"_s},
                    UsageCase{{u"-h"_s}, 0, u"Exit status: 0 deployed"_s},
                    UsageCase{{u"--yes"_s, u"--force"_s}, 2, u"unknown option --force"_s},
                    UsageCase{{u"now"_s}, 2, u"unknown option now"_s}));

TEST_F(SelfDeployingFixture, TheProgramAloneCarriesNoPackage) {
    const auto user = receiver();
    const ProgramRun run = user->run(deployProgram(), {u"--yes"_s}, user->bareEnvironment());
    EXPECT_EQ(run.status, 3);
    EXPECT_TRUE(run.err.contains(u"carries no package"_s)) << run.err.toStdString();
}
