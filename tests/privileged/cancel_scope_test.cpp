// A plain user who starts a check of its own and cancels it, over and over,
// while another caller's check runs: only its own check ends.
#include "unprivileged_helper_fixture.h"

#include "privileged/link_to_helper_tool.h"

#include <signal.h>

#include <thread>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

TEST_F(UnprivilegedHelperTest, ACancelStopsOnlyTheCallersOwnCheck) {
    constexpr int kFiles = 300;
    const QString victims = bus_->systemRoot() + u"/Library/Preferences"_s;
    for (int i = 0; i < kFiles; ++i)
        writeFile(victims + u"/f%1.plist"_s.arg(i, 3, 10, QLatin1Char('0')),
                  i % 100 == 0 ? slowPropertyList() : QByteArray("{a = 1;}"));
    const QString own = bus_->home() + u"/Library/Preferences"_s;
    writeFile(own + u"/mine.plist"_s, "{a = 1;}", UnprivilegedCaller::kNobody);

    std::optional<SorvaneHelperProtocol::PlistResults> results;
    std::thread victim([&] { results = link_->checkPlistsAtUrl(QUrl::fromLocalFile(victims)); });
    // The victim's check is held running while the attack goes on.
    const pid_t held = stopWorkerOf(0);
    QJsonArray attack;
    for (int round = 0; round < 5; ++round) {
        attack.append(UnprivilegedCaller::send(P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(own)}));
        attack.append(UnprivilegedCaller::call(P::kCancelPlistCheck, {}));
        attack.append(UnprivilegedCaller::sleep(0.05));
        attack.append(UnprivilegedCaller::call(P::kCancelPlistCheck, {}));
    }
    const QJsonArray answers = caller_->run(attack);
    if (held > 0)
        ::kill(held, SIGCONT);
    victim.join();

    ASSERT_GT(held, 0) << "the victim's check was not caught running";
    ASSERT_EQ(answers.size(), attack.size()) << "the attack did not run";
    for (const QJsonValue& answer : answers)
        EXPECT_FALSE(answer.toObject().contains(u"error"_s))
            << answer.toObject().value(u"message"_s).toString().toStdString();
    ASSERT_TRUE(results.has_value());
    EXPECT_EQ(results->size(), kFiles);
}
