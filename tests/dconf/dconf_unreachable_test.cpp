// Changes when dconf is out of reach. libdconf keeps its first session bus
// connection for the life of the process, so each case runs in a child
// process of this program whose own client reaches no dconf service; the
// values are set and checked there with the real dconf program on a bus that
// has one.
#include "dconf_fixture.h"

using namespace Qt::StringLiterals;

namespace {

const QString kDomain = u"org.sorvane.unreachable"_s;
const QString kPath = u"/org/sorvane/unreachable/"_s;
const QByteArray kValues = "[/]\na=1\n\n[sub]\nb='two'\n";

// Runs in the child only (it is disabled in a normal run).
TEST(DconfUnreachableChild, DISABLED_ChangesFailAndLoseNothing) {
    DconfSandbox& sandbox = *DconfSandbox::instance();
    ASSERT_TRUE(sandbox.isReady());
    ASSERT_NE(DconfSandbox::reach(), DconfSandbox::Reach::Private);
    const DconfSandbox::Run load = sandbox.dconf({u"load"_s, kPath}, kValues);
    ASSERT_EQ(load.exitCode, 0) << qPrintable(load.err);

    const DconfDomains domains;
    QString error;
    EXPECT_FALSE(domains.write(kDomain, u"[/]\nc=3\n"_s, &error));
    std::cout << "write: " << qPrintable(error) << '\n';
    EXPECT_TRUE(error.startsWith(u"Cannot write "_s + kDomain + u": dconf is not reachable: "_s))
        << qPrintable(error);
    EXPECT_FALSE(error.contains(u'\n'));
    error.clear();
    EXPECT_FALSE(domains.remove(kDomain, &error));
    EXPECT_TRUE(error.startsWith(u"Cannot delete "_s + kDomain + u": dconf is not reachable: "_s))
        << qPrintable(error);

    // Reading needs no service: the values are all there.
    EXPECT_EQ(domains.read(kDomain), QString::fromUtf8(kValues));
    EXPECT_EQ(sandbox.dconf({u"dump"_s, kPath}).out, QString::fromUtf8(kValues));
}

struct Reach {
    const char* name;
    const char* reach;
};

class DconfUnreachableTest : public ::testing::TestWithParam<Reach> {};

TEST_P(DconfUnreachableTest, ChangesFailAndLoseNothing) {
    const DconfSandbox::ChildResult child =
        DconfSandbox::runChild(u"DconfUnreachableChild.DISABLED_ChangesFailAndLoseNothing"_s,
                               QString::fromLatin1(GetParam().reach));
    EXPECT_TRUE(child.passed) << qPrintable(child.output);
}

INSTANTIATE_TEST_SUITE_P(Buses, DconfUnreachableTest,
                         ::testing::Values(Reach{"NoDconfService", "no-service"},
                                           Reach{"NoBus", "dead"}),
                         [](const ::testing::TestParamInfo<Reach>& row) {
                             return std::string(row.param.name);
                         });

} // namespace
