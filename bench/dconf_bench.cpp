// The application search's first step on the Linux desktop: the user's dconf
// domains listed and matched against an application's ID and its
// notification domain, beside `dconf dump /` reading the same database as a
// whole process. dconf.sh fills the database (20,000 keys in 2,000
// directories) on a private bus and runs this program in its sandbox.
#include "bench_support.h"

#include "linux/dconf_domain_matcher.h"

#include <benchmark/benchmark.h>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

const QString kApplicationId = u"org.example.Sketcher"_s;
// The application's own directory and the four below it.
constexpr qsizetype kApplicationDomains = 5;

void BM_ListAndMatchDomains(benchmark::State& state) {
    const QString notifications =
        DconfDomainMatcher::notificationDomainOfApplication(kApplicationId);
    for (auto _ : state) {
        DconfDomainMatcher matcher;
        const QList<SVDefaultsDomain> found = matcher.matchesForDomain(kApplicationId);
        benchmark::DoNotOptimize(matcher.matchesForDomain(notifications));
        if (found.size() != kApplicationDomains) {
            state.SkipWithError("the application's domains were not all found");
            return;
        }
    }
}
BENCHMARK(BM_ListAndMatchDomains)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DconfDumpRoot(benchmark::State& state) {
    for (auto _ : state) {
        if (!bench::runQuietly(u"dconf"_s, {u"dump"_s, u"/"_s})) {
            state.SkipWithError("dconf dump / failed");
            return;
        }
    }
}
BENCHMARK(BM_DconfDumpRoot)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

// Only inside dconf.sh's sandbox: without it this would read the real home's
// dconf database.
int main(int argc, char** argv) {
    if (qEnvironmentVariable("SORVANE_DCONF_BENCH_SANDBOX").isEmpty() ||
        qEnvironmentVariable("DCONF_PROFILE").isEmpty()) {
        std::fputs("bench_dconf runs only in the sandbox that bench/dconf.sh sets up\n", stderr);
        return 2;
    }
    bench::silenceLog();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
