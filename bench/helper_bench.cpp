// Measures the price of going through the privileged helper: one version
// round trip, deleting 1,000 files one call at a time, and checking a folder
// of 5,000 property lists, each beside the same work done directly in this
// process. The helper runs on a private bus with python-dbusmock's polkit
// answering every authorization check.
#include "helper/helper_file_operations.h"
#include "helper/plist_check_job.h"
#include "platform/tool_locations.h"
#include "privileged/helper_protocol.h"
#include "privileged/link_to_helper_tool.h"

#include "private_bus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QSemaphore>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

#include <unistd.h>

namespace {

constexpr int kFiles = 1000;

PrivateBus* bus = nullptr;
LinkToHelperTool* helper = nullptr;

QStringList makeFiles(const QString& folder) {
    QDir().mkpath(folder);
    QStringList paths;
    for (int i = 0; i < kFiles; ++i) {
        const QString path = folder + QStringLiteral("/file%1").arg(i);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write("x");
        paths.append(path);
    }
    return paths;
}

void BM_GetVersionThroughHelper(benchmark::State& state) {
    const auto proxy = helper->proxyHelper();
    QSemaphore replied;
    for (auto _ : state) {
        proxy->getVersion([&](int major, int, int) {
            benchmark::DoNotOptimize(major);
            replied.release();
        });
        replied.acquire();
    }
}

// The peer: the same answer from a function call in this process.
__attribute__((noinline)) std::array<int, 3> versionInProcess() {
    return {HelperProtocol::kVersionMajor, HelperProtocol::kVersionMinor,
            HelperProtocol::kVersionPatch};
}

void BM_GetVersionInProcess(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(versionInProcess());
}

// A second peer: the bare bus round trip (to the bus daemon, no helper, no polkit).
void BM_BusPing(benchmark::State& state) {
    QDBusConnection connection =
        QDBusConnection::connectToBus(bus->address(), QStringLiteral("ping"));
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    for (auto _ : state)
        benchmark::DoNotOptimize(connection.call(ping).type());
}

void BM_Delete1000FilesThroughHelper(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const QStringList files =
            makeFiles(bus->systemRoot() + QStringLiteral("/Library/Caches/bench"));
        state.ResumeTiming();
        for (const QString& file : files) {
            if (!helper->deleteFileAtUrl(QUrl::fromLocalFile(file)))
                state.SkipWithError("the helper did not delete a file");
        }
    }
}

// The same checks and descriptor work as the helper's, without the bus.
void BM_Delete1000FilesInProcess(benchmark::State& state) {
    QTemporaryDir folder;
    for (auto _ : state) {
        state.PauseTiming();
        const QStringList files = makeFiles(folder.path() + QStringLiteral("/Library/bench"));
        state.ResumeTiming();
        for (const QString& file : files) {
            QString error;
            const auto target =
                AllowedPlaces(::getuid(), folder.path()).resolve(QFile::encodeName(file), &error);
            if (!target || !HelperFileOperations::deleteItem(*target, &error))
                state.SkipWithError("a file was not deleted");
        }
    }
}

constexpr int kPlists = 5000;

QString makePlistFolder(const QString& folder) {
    QDir().mkpath(folder);
    for (int i = 0; i < kPlists; ++i) {
        QFile file(folder + QStringLiteral("/com.example.app%1.plist").arg(i));
        if (file.open(QIODevice::WriteOnly))
            file.write("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key>"
                       "<string>value</string><key>n</key><integer>42</integer></dict></plist>");
    }
    return folder;
}

void BM_Check5000PlistsThroughHelper(benchmark::State& state) {
    const QString folder = makePlistFolder(bus->systemRoot() + QStringLiteral("/Preferences"));
    for (auto _ : state) {
        const auto results = helper->checkPlistsAtUrl(QUrl::fromLocalFile(folder));
        if (!results || results->size() != kPlists)
            state.SkipWithError("the helper did not check every file");
    }
}

void BM_Check5000PlistsInProcess(benchmark::State& state) {
    QTemporaryDir scratch;
    const QString folder = makePlistFolder(scratch.path() + QStringLiteral("/Preferences"));
    const std::atomic<bool> cancelled{false};
    for (auto _ : state) {
        const auto results =
            PlistCheckJob::run(folder, cancelled, QDeadlineTimer(QDeadlineTimer::Forever));
        if (results.size() != kPlists)
            state.SkipWithError("not every file was checked");
    }
}

BENCHMARK(BM_GetVersionThroughHelper)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BusPing)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetVersionInProcess)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Delete1000FilesThroughHelper)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Delete1000FilesInProcess)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Check5000PlistsThroughHelper)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Check5000PlistsInProcess)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

int main(int argc, char** argv) {
    QTemporaryDir scratch;
    qputenv("HOME", QFile::encodeName(scratch.path()));
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("sorvane.info=false"));

    PrivateBus privateBus;
    if (!privateBus.isRunning() || !privateBus.startPolkit() ||
        !privateBus.allowUnknownActions(true) ||
        privateBus.installHelper(ToolLocations::helperTool()) != 0) {
        std::fprintf(stderr, "cannot set up the private bus: %s\n",
                     qPrintable(privateBus.lastError()));
        return 1;
    }
    qputenv("SORVANE_HELPER_BUS", privateBus.address().toUtf8());
    bus = &privateBus;
    auto helperLink = std::make_unique<LinkToHelperTool>();
    helper = helperLink.get();

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QDBusConnection::disconnectFromBus(QStringLiteral("ping"));
    return 0;
}
