// How long Sorvane takes to load its three catalogues at start-up, beside
// Qt's own DOM parser reading the same three files (the peer): the loaders'
// cost over a bare parse is what Sorvane adds.
#include "catalogues/sv_known_app.h"
#include "catalogues/sv_os_component.h"
#include "packager/sv_pp_item.h"
#include "platform/bundle.h"

#include <QCoreApplication>
#include <QDomDocument>
#include <QFile>
#include <QLoggingCategory>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

const QStringList kCatalogues{u"AppData"_s, u"SystemData"_s, u"PackagerData"_s};

void BM_LoadAllCatalogues(benchmark::State& state) {
    for (auto _ : state) {
        SVKnownApp::unloadKnownAppData();
        SVKnownApp::loadKnownAppData();
        auto components = SVOSComponent::loadData();
        auto items = SVPPItem::loadData();
        if (!SVKnownApp::knownAppForId(u"com.google.Chrome"_s) || !components || !items)
            state.SkipWithError("a catalogue did not load");
        benchmark::DoNotOptimize(components);
        benchmark::DoNotOptimize(items);
    }
}
BENCHMARK(BM_LoadAllCatalogues)->Unit(benchmark::kMillisecond);

void BM_QtDomParseOfTheSameFiles(benchmark::State& state) {
    const Bundle bundle = Bundle::mainBundle();
    for (auto _ : state) {
        for (const QString& name : kCatalogues) {
            QFile file(bundle.pathForResource(name, u"xml"_s));
            QDomDocument document;
            if (!file.open(QIODevice::ReadOnly) || !document.setContent(file.readAll()))
                state.SkipWithError("a catalogue did not parse");
            benchmark::DoNotOptimize(document);
        }
    }
}
BENCHMARK(BM_QtDomParseOfTheSameFiles)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    // The loaders log one line per load; the terminal is not what is measured.
    QLoggingCategory::setFilterRules(u"sorvane.info=false"_s);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
