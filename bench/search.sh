#!/usr/bin/env bash
# Application file discovery and path search, each as a ratio to find(1)
# listing the same folders in the same run.
set -euo pipefail
BUILD="${SORVANE_BUILD_DIR:-$(dirname "$0")/../build}"
out="$(mktemp)"
trap 'rm -f "$out"' EXIT
"$BUILD/bench/bench_search" --benchmark_out="$out" --benchmark_out_format=json \
    --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
python3 - "$out" <<'PY'
import json, sys
runs = {b["run_name"].removesuffix("/real_time"): b["real_time"] for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("aggregate_name") == "median"}
for ours, peer, label in [("BM_ApplicationFileDiscovery", "BM_FindDiscoveryFolders", "file discovery (50,000 entries)"),
                          ("BM_ResolveVst3Expression", "BM_FindVst3Folders", "~/Library/*/Plug-Ins/*/??.vst3")]:
    print(f"{label}: Sorvane {runs[ours]:.2f} ms, find {runs[peer]:.2f} ms, ratio {runs[ours] / runs[peer]:.2f}x")
PY
