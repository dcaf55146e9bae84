#!/usr/bin/env bash
# Times the privileged helper against the same work done in-process and
# prints each figure as a ratio to its peer.
set -euo pipefail
BUILD="${SORVANE_BUILD_DIR:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build}"
OUT="$(mktemp)"
trap 'rm -f "$OUT"' EXIT
"$BUILD/bench/bench_helper" --benchmark_out="$OUT" --benchmark_out_format=json
/usr/bin/python3 - "$OUT" <<'PY'
import json, sys
runs = {b["name"].split("/")[0]: b for b in json.load(open(sys.argv[1]))["benchmarks"]}
def t(name):
    return runs[name]["real_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[runs[name]["time_unit"]]
pairs = [("BM_GetVersionThroughHelper", "BM_GetVersionInProcess"),
         ("BM_GetVersionThroughHelper", "BM_BusPing"),
         ("BM_Delete1000FilesThroughHelper", "BM_Delete1000FilesInProcess"),
         ("BM_Check5000PlistsThroughHelper", "BM_Check5000PlistsInProcess")]
print("\nhelper benchmark ratios (same run):")
for a, b in pairs:
    print(f"  {a}: {t(a)*1e3:.3f} ms vs {b}: {t(b)*1e3:.4f} ms  -> {t(a)/t(b):.1f}x")
PY
