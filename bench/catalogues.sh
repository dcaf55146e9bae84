#!/usr/bin/env bash
# Times loading the three shipped catalogues (known applications, system
# components, packager components) beside Qt's DOM parser reading the same
# files, and prints the ratio. Goal: all three in under 20 ms.
set -euo pipefail
BUILD="${SORVANE_BUILD_DIR:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build}"
program="$BUILD/bench/bench_catalogues"
[ -x "$program" ] || cmake --build "$BUILD" --target bench_catalogues -j2
json="$(mktemp)"
trap 'rm -f "$json"' EXIT
# Interleaved repetitions, so that a busy moment of a shared machine hits both.
"$program" --benchmark_repetitions=20 --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true \
    --benchmark_out="$json" --benchmark_out_format=json
python3 - "$json" <<'PY'
import json, sys
runs = {b["run_name"]: b for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("aggregate_name") == "median"}
ours = runs["BM_LoadAllCatalogues"]["real_time"]
peer = runs["BM_QtDomParseOfTheSameFiles"]["real_time"]
print(f"catalogues: load all three {ours:.2f} ms (goal < 20 ms), "
      f"Qt DOM parse of the same files {peer:.2f} ms, ratio {ours / peer:.2f}x")
sys.exit(0 if ours < 20 else 1)
PY
