// Application file discovery over a synthetic Library of 50,000 entries, and
// resolving "~/Library/*/Plug-Ins/*/??.vst3" over a synthetic plug-in tree,
// each beside find(1) listing the same folders in the same run.
#include "bench_support.h"

#include "platform/library_folders.h"
#include "search/sv_data.h"
#include "search/sv_file_search_tool.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <benchmark/benchmark.h>

namespace {

const QString kIdentifier = QStringLiteral("com.example.tool");

void fillFolder(const QString& folder, int entries, int seed) {
    QDir().mkpath(folder);
    for (int i = 0; i < entries; ++i) {
        const QString name = QStringLiteral("com.maker%1.app%2").arg(seed).arg(i);
        if (i % 5 == 0) {
            QDir().mkdir(folder + QLatin1Char('/') + name);
        } else {
            QFile file(folder + QLatin1Char('/') + name +
                       (i % 2 ? QStringLiteral(".plist") : QStringLiteral(".db")));
            file.open(QIODevice::WriteOnly);
        }
    }
    // A few entries that belong to the application.
    QDir().mkdir(folder + QStringLiteral("/Tool"));
    QDir().mkdir(folder + QLatin1Char('/') + kIdentifier + QStringLiteral(".savedState"));
}

// The folders that application file discovery lists, in its order.
QStringList discoveryFolders() {
    const QString home = LibraryFolders::homeFolder() + QStringLiteral("/Library");
    const QString container =
        home + QStringLiteral("/Containers/") + kIdentifier + QStringLiteral("/Data/Library");
    const QString local = LibraryFolders::underSystemRoot(QStringLiteral("/Library"));
    return {home + QStringLiteral("/Preferences"),
            container + QStringLiteral("/Preferences"),
            local + QStringLiteral("/Preferences"),
            home + QStringLiteral("/Caches"),
            home + QStringLiteral("/Saved Application State"),
            container + QStringLiteral("/Caches"),
            container + QStringLiteral("/Saved Application State"),
            local + QStringLiteral("/Caches")};
}

struct DiscoveryLibrary {
    QStringList folders;
    DiscoveryLibrary() {
        bench::makeScratch(QStringLiteral("discovery"));
        folders = discoveryFolders();
        int seed = 0;
        for (const QString& folder : folders)
            fillFolder(folder, 50000 / folders.size(), seed++);
    }
};

const DiscoveryLibrary& discoveryLibrary() {
    static const DiscoveryLibrary library;
    return library;
}

void BM_ApplicationFileDiscovery(benchmark::State& state) {
    discoveryLibrary();
    SVFileSearchTool tool;
    for (auto _ : state) {
        auto preferences =
            tool.preferenceFilesForApplicationName(QStringLiteral("Tool.app"), kIdentifier);
        auto caches = tool.cacheFilesForApplicationName(QStringLiteral("Tool.app"), kIdentifier);
        benchmark::DoNotOptimize(preferences);
        benchmark::DoNotOptimize(caches);
    }
}
BENCHMARK(BM_ApplicationFileDiscovery)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_FindDiscoveryFolders(benchmark::State& state) {
    QStringList arguments = discoveryLibrary().folders;
    arguments << QStringLiteral("-maxdepth") << QStringLiteral("1");
    for (auto _ : state) {
        if (!bench::runQuietly(QStringLiteral("find"), arguments))
            state.SkipWithError("find failed");
    }
}
BENCHMARK(BM_FindDiscoveryFolders)->UseRealTime()->Unit(benchmark::kMillisecond);

struct PluginTree {
    QStringList listedFolders; // what the expression lists, for find
    PluginTree() {
        const QString library =
            bench::makeScratch(QStringLiteral("plugins")) + QStringLiteral("/home/Library");
        listedFolders << library;
        for (int maker = 0; maker < 300; ++maker) {
            const QString folder = library + QStringLiteral("/Maker%1").arg(maker);
            QDir().mkpath(folder);
            if (maker % 3 != 0)
                continue;
            const QString plugins = folder + QStringLiteral("/Plug-Ins");
            listedFolders << plugins;
            for (int kind = 0; kind < 10; ++kind) {
                const QString kindFolder = plugins + QStringLiteral("/Kind%1").arg(kind);
                QDir().mkpath(kindFolder);
                listedFolders << kindFolder;
                for (int entry = 0; entry < 30; ++entry) {
                    QFile file(kindFolder + QStringLiteral("/Plugin%1.%2")
                                                .arg(entry)
                                                .arg(entry % 2 ? QStringLiteral("vst3")
                                                               : QStringLiteral("component")));
                    file.open(QIODevice::WriteOnly);
                }
            }
        }
    }
};

const PluginTree& pluginTree() {
    static const PluginTree tree;
    return tree;
}

void BM_ResolveVst3Expression(benchmark::State& state) {
    pluginTree();
    SVData data;
    for (auto _ : state) {
        auto found = data.resultsOfSearch(QStringLiteral("~/Library/*/Plug-Ins/*/??.vst3"));
        if (found.size() != 100 * 10 * 15)
            state.SkipWithError("unexpected result count");
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(BM_ResolveVst3Expression)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_FindVst3Folders(benchmark::State& state) {
    QStringList arguments = pluginTree().listedFolders;
    arguments << QStringLiteral("-maxdepth") << QStringLiteral("1") << QStringLiteral("-name")
              << QStringLiteral("*.vst3");
    for (auto _ : state) {
        if (!bench::runQuietly(QStringLiteral("find"), arguments))
            state.SkipWithError("find failed");
    }
}
BENCHMARK(BM_FindVst3Folders)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    bench::silenceLog();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
