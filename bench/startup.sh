#!/usr/bin/env bash
# Start-to-first-paint of the whole sorvane program (it quits after its first
# paint under SORVANE_EXIT_AFTER_FIRST_PAINT), beside a bare Qt window doing
# the same, in the same run, under Xvfb; in a scratch home and system root.
set -euo pipefail
BUILD="$(cd "${SORVANE_BUILD_DIR:-$(dirname "$0")/../build}" && pwd)"
scratch="$(mktemp -d)"
Xvfb :78 -screen 0 1280x800x24 -nolisten tcp & xvfb=$!
trap 'kill $xvfb; rm -rf "$scratch"' EXIT
sleep 1
mkdir -p "$scratch/home" "$scratch/root"
export DISPLAY=:78 QT_QPA_PLATFORM=xcb HOME="$scratch/home" SORVANE_SYSTEM_ROOT="$scratch/root"
export SORVANE_EXIT_AFTER_FIRST_PAINT=1 SORVANE_HELPER_BUS="unix:path=$scratch/no-bus"
export SORVANE_PKEXEC_TOOL=/bin/false
python3 - "$BUILD/bin/sorvane" "$BUILD/bench/bench_bare_window" <<'PY'
import statistics, subprocess, sys, time
def run(program):
    times = []
    for _ in range(15):
        start = time.perf_counter()
        subprocess.run([program], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        times.append((time.perf_counter() - start) * 1000)
    return statistics.median(times)
ours, peer = run(sys.argv[1]), run(sys.argv[2])
print(f"start to first paint: Sorvane {ours:.0f} ms, bare Qt window {peer:.0f} ms, ratio {ours / peer:.2f}x (goal: under 500 ms)")
PY
