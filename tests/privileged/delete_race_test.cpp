// Swaps a folder for a link to a canary outside the allowed places while the
// real helper deletes the tree around it: the canary must survive every run.
#include "helper_link_fixture.h"

#include "privileged/helper_protocol.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

void makeTree(const QString& folder, int files) {
    QDir().mkpath(folder + u"/inner/deeper"_s);
    for (int i = 0; i < files; ++i) {
        QFile file(folder + (i % 2 ? u"/inner/f%1"_s : u"/inner/deeper/f%1"_s).arg(i));
        if (file.open(QIODevice::WriteOnly))
            file.write("x");
    }
}

} // namespace

TEST_F(HelperLinkTest, SwappingAFolderForALinkNeverReachesOutside) {
    installHelper();
    const QString outside = bus_->folder() + u"/outside"_s;
    QDir().mkpath(outside + u"/inner/deeper"_s);
    const QString canaries[] = {outside + u"/inner/canary"_s, outside + u"/inner/deeper/canary"_s};
    for (const QString& canary : canaries) {
        QFile file(canary);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("canary");
    }
    const QString tree = bus_->home() + u"/Library/Caches/tree"_s;
    QDBusConnection connection = QDBusConnection::connectToBus(bus_->address(), u"racer"_s);
    long swaps = 0;
    int runs = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    // A few seconds at most, and at least a few thousand swaps.
    while (runs < 200 && (elapsed.elapsed() < 3000 || swaps < 5000) && elapsed.elapsed() < 10000) {
        ++runs;
        makeTree(tree + u"/swap"_s, 40);
        const QByteArray folder = QFile::encodeName(tree);
        ASSERT_EQ(::symlinkat(QFile::encodeName(outside).constData(), AT_FDCWD,
                              (folder + "/link").constData()),
                  0);
        std::atomic<bool> stop{false};
        std::atomic<long> done{0};
        std::thread swapper([&] {
            while (!stop.load()) {
                if (::renameat2(AT_FDCWD, (folder + "/swap").constData(), AT_FDCWD,
                                (folder + "/link").constData(), RENAME_EXCHANGE) == 0)
                    ++done;
                else
                    std::this_thread::yield();
            }
        });
        QDBusMessage call = QDBusMessage::createMethodCall(P::kLabel, P::kObjectPath, P::kInterface,
                                                           P::kDeleteFileAtUrl);
        call.setArguments({u"file://"_s + tree});
        const QDBusMessage reply = connection.call(call, QDBus::Block, 20000);
        stop = true;
        swapper.join();
        swaps += done.load();
        ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
        for (const QString& canary : canaries)
            ASSERT_TRUE(QFileInfo::exists(canary))
                << "run " << runs << " reached " << canary.toStdString();
        // A run the race made fail leaves some of the tree: clear it here.
        QDir(tree).removeRecursively();
        ::unlink(folder.constData());
    }
    QDBusConnection::disconnectFromBus(u"racer"_s);
    EXPECT_GT(swaps, 1000) << "the race did not happen often enough to mean anything";
    std::printf("%d runs, %ld swaps\n", runs, swaps);
}
