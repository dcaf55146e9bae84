#!/usr/bin/env bash
# Property-list check of a 10,000-file preferences folder: Sorvane's checker on
# one and two threads, beside (in the same run) a bare libplist loop, Python's
# plistlib in one process, and GNUstep's `plutil -lint` per file on a
# 1,000-file subset.
set -euo pipefail
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$HERE/../build}"
DATA="$BUILD/bench-data/prefs"
SUBSET="$BUILD/bench-data/prefs-1000"
if [ ! -f "$DATA/com.example.app09998.plist" ]; then
    echo "Writing the benchmark folder..."
    rm -rf "$DATA" "$SUBSET"
    python3 "$HERE/make_plist_corpus.py" "$DATA"
fi
if [ ! -d "$SUBSET" ]; then
    mkdir -p "$SUBSET"
    ls "$DATA" | sort | awk 'NR % 10 == 1' | while read -r f; do cp "$DATA/$f" "$SUBSET/"; done
fi
echo "Folder: $(ls "$DATA" | wc -l) files, $(du -sm "$DATA" | cut -f1) MB"
BENCH="$BUILD/bench/bench_plist_check"
read -r _ _ s1 n f1 < <("$BENCH" sorvane 1 "$DATA")
read -r _ _ s2 _ f2 < <("$BENCH" sorvane 2 "$DATA")
read -r _ _ l1 _ lf1 < <("$BENCH" libplist 1 "$DATA")
read -r _ _ l2 _ lf2 < <("$BENCH" libplist 2 "$DATA")
py=$(python3 - "$DATA" <<'PY'
import os, plistlib, sys, time
folder = sys.argv[1]
paths = [os.path.join(folder, n) for n in os.listdir(folder)]
def run():
    bad = 0
    for p in paths:
        try:
            with open(p, "rb") as f:
                plistlib.load(f)
        except Exception:
            bad += 1
    return bad
run()
best = min((lambda t: (run(), time.perf_counter() - t)[1])(time.perf_counter()) for _ in range(2))
print(f"{best:.4f} {run()}")
PY
)
read -r p1 pf <<<"$py"
subset_files=$(ls "$SUBSET" | wc -l)
start=$(date +%s.%N)
for f in "$SUBSET"/*; do plutil -lint - < "$f" > /dev/null 2>&1 || true; done
end=$(date +%s.%N)
gs=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", b - a }')
read -r _ _ sub _ _ < <("$BENCH" sorvane 1 "$SUBSET")
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
echo
printf '%-44s %9s  %s\n' "run" "seconds" "failed files"
printf '%-44s %9.4f  %s\n' "Sorvane checker, 1 thread" "$s1" "$f1 of $n"
printf '%-44s %9.4f  %s\n' "Sorvane checker, 2 threads" "$s2" "$f2"
printf '%-44s %9.4f  %s\n' "bare libplist loop, 1 thread" "$l1" "$lf1"
printf '%-44s %9.4f  %s\n' "bare libplist loop, 2 threads" "$l2" "$lf2"
printf '%-44s %9.4f  %s\n' "Python plistlib, 1 process" "$p1" "$pf"
printf '%-44s %9.4f\n' "GNUstep plutil -lint per file ($subset_files files)" "$gs"
printf '%-44s %9.4f\n' "Sorvane checker, same $subset_files files, 1 thread" "$sub"
echo
echo "Sorvane vs libplist, 1 thread:  $(ratio "$s1" "$l1")x the time (target <= 1.3)"
echo "Sorvane vs libplist, 2 threads: $(ratio "$s2" "$l2")x the time (target <= 1.3)"
echo "plistlib vs Sorvane, 1 thread:  Sorvane $(ratio "$p1" "$s1")x faster (target >= 10)"
echo "plutil vs Sorvane, subset:      Sorvane $(ratio "$gs" "$sub")x faster"
