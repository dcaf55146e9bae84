#!/usr/bin/env bash
# The Linux desktop on a synthetic home of 300 applications and 50,000
# entries: one application's file discovery beside find(1) listing the same
# folders, the installed applications listed beside find(1) and cat(1)
# reading the same entries, and the application chooser shown beside a plain
# Qt list of the same names (under Xvfb), warm (the median of repeated runs)
# and on its first opening in a fresh process (the median of several
# processes). Each figure is a ratio to its peer measured in the same run.
set -euo pipefail
BUILD="${SORVANE_BUILD_DIR:-$(dirname "$0")/../build}"
BENCH="$BUILD/bench/bench_linux"
out="$(mktemp -d)"
# The windows are shown on a display of their own, where Qt reads the icon
# theme as on a desktop.
Xvfb :79 -screen 0 1280x800x24 -nolisten tcp & xvfb=$!
trap 'kill $xvfb; rm -rf "$out"' EXIT
sleep 1
export DISPLAY=:79 QT_QPA_PLATFORM=xcb

"$BENCH" --benchmark_out="$out/warm.json" --benchmark_out_format=json \
    --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
# Cold openings alternate between ours and the peer so that both meet the
# same machine.
for run in 1 2 3 4 5 6 7; do
    for name in BM_ChooserFirstOpen BM_PlainListFirstShown; do
        if ! "$BENCH" --cold --benchmark_filter="^$name" \
            --benchmark_out="$out/cold-$name-$run.json" --benchmark_out_format=json \
            >"$out/cold.log" 2>&1; then
            cat "$out/cold.log" >&2
            exit 1
        fi
    done
done

python3 - "$out" <<'PY'
import glob, json, os, statistics, sys
folder = sys.argv[1]

def runs(path):
    for b in json.load(open(path))["benchmarks"]:
        name = b["run_name"].split("/")[0]
        if b.get("error_occurred"):
            sys.exit(f"{name}: {b.get('error_message')}")
        yield name, b

warm = {name: b["real_time"] for name, b in runs(os.path.join(folder, "warm.json"))
        if b.get("aggregate_name") == "median"}
cold = {}
for path in glob.glob(os.path.join(folder, "cold-*.json")):
    for name, b in runs(path):
        cold.setdefault(name, []).append(b["real_time"])
cold = {name: statistics.median(times) for name, times in cold.items()}

def show(label, ours, peer, peer_label, goal=""):
    print(f"{label}: Sorvane {ours:.2f} ms, {peer_label} {peer:.2f} ms, "
          f"ratio {ours / peer:.2f}x{goal}")

show("file discovery of one application (50,000 entries)", warm["BM_LinuxApplicationDiscovery"],
     warm["BM_FindLinuxDiscoveryFolders"], "find -maxdepth 1", " (goal: no slower than find)")
show("listing the 300 installed applications", warm["BM_InstalledApplications"],
     warm["BM_FindAndReadEntries"], "find + cat of the same entries")
show("showing the chooser with them", warm["BM_ChooserShown"], warm["BM_PlainListShown"],
     "plain QListWidget of the names")
show("first opening of the chooser (listing included, fresh process)", cold["BM_ChooserFirstOpen"],
     cold["BM_PlainListFirstShown"], "plain QListWidget's first showing", " (goal: under 100 ms)")
PY
