#!/usr/bin/env bash
# The Linux desktop's dconf domains on a database of 20,000 keys in 2,000
# directories, each figure a ratio to dconf(1) doing the same work in the same
# run:
#   - the user's domains listed, as `defaults domains`, and listed and matched
#     for one application in-process (bench_dconf), beside `dconf dump /`;
#   - `defaults read` and `defaults write` of one 50-key domain (a subtree of
#     five directories) beside `dconf dump` and `dconf load` of its path.
# Everything runs in a sandbox: temporary HOME, XDG folders and system root,
# a profile of our own and a private session bus that activates the real
# dconf-service.
set -euo pipefail
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$HERE/../build}"
OURS="$BUILD/libexec/sorvane/dconf-defaults"
BENCH="$BUILD/bench/bench_dconf"
SERVICE=/usr/libexec/dconf-service
for tool in dconf dbus-daemon dbus-send hyperfine python3; do
    command -v "$tool" > /dev/null || { echo "$tool is not installed" >&2; exit 1; }
done
for program in "$OURS" "$BENCH" "$SERVICE"; do
    [ -x "$program" ] || { echo "$program is missing" >&2; exit 1; }
done

export SORVANE_DCONF_BENCH_SANDBOX=1
unset SORVANE_SETTINGS DBUS_SYSTEM_BUS_ADDRESS
# shellcheck source=dconf_sandbox.sh
source "$HERE/dconf_sandbox.sh"

# 400 applications, each a domain of five directories with ten keys apiece
# (its own, window/, window/state/, plugins/, plugins/spell/), one key of
# each of ten GVariant types per directory. Names carry no trailing digits, as
# the loose match would take "App1" and "App2" for versions of one
# application. org.example.Sketcher is the domain read and written; its
# second text differs in every value, so that each timed write really
# changes the database.
python3 - "$SCRATCH" <<'PY'
import itertools, sys
scratch = sys.argv[1]
SUBDIRS = ["", "window", "window/state", "plugins", "plugins/spell"]
SYLLABLES = ["Bra", "Cel", "Dor", "Fen", "Gal", "Hum", "Ira", "Jol", "Kev", "Lum",
             "Mor", "Nix", "Ols", "Pav", "Quo", "Rid", "Sol", "Tav", "Ulm", "Vex"]
names = ["Sketcher"] + ["".join(pair) for pair in itertools.product(SYLLABLES, repeat=2)][:399]

def value(app, d, k, changed):
    n = app * 1000 + d * 10 + k + (7 if changed else 0)
    return [
        f"'text {n} for \"app\" {app}'",
        f"{n}",
        f"uint32 {n}",
        f"int64 {n * 100000}",
        f"{n}.25",
        "true" if n % 2 else "false",
        f"['one-{n}', 'two', 'three']",
        f"({n}, 'pair')",
        f"{{'width': <{n}>, 'name': <'w{n}'>}}",
        f"byte 0x{n % 256:02x}",
    ][k]

# A domain's groups as `dconf dump` prints them: "[/]" for its own directory
# when prefix is empty, else paths relative to the loaded directory.
def groups(app, prefix, changed):
    out = []
    for d, sub in enumerate(SUBDIRS):
        group = (prefix + sub).strip("/") or "/"
        keys = [f"key-{k:02d}={value(app, d, k, changed)}" for k in range(10)]
        out.append(f"[{group}]\n" + "\n".join(keys) + "\n")
    return "\n".join(out)

with open(f"{scratch}/all.ini", "w") as f:
    for app, name in enumerate(names):
        f.write(groups(app, f"org/example/{name}/", False) + "\n")
for text, changed in [("original", False), ("changed", True)]:
    with open(f"{scratch}/{text}.ini", "w") as f:
        f.write(groups(0, "", changed))
PY
dconf load / < "$SCRATCH/all.ini"

DOMAIN=org.example.Sketcher
DIR=/org/example/Sketcher/
# Both tools must see the same database before anything is timed.
domain_count="$("$OURS" domains | tr ',' '\n' | wc -l)"
key_count="$(dconf dump / | grep -c '=')"
if [ "$domain_count" -ne 2000 ] || [ "$key_count" -ne 20000 ]; then
    echo "the sandbox holds $domain_count domains and $key_count keys, not 2,000 and 20,000" >&2
    exit 1
fi
loaded="$("$OURS" read "$DOMAIN")"
if [ "$loaded" != "$(dconf dump "$DIR")" ]; then
    echo "defaults read $DOMAIN and dconf dump $DIR disagree" >&2
    exit 1
fi

show() {
    python3 -c 'import sys
label, ours, peer, peer_name, goal = sys.argv[1], float(sys.argv[2]), float(sys.argv[3]), sys.argv[4], sys.argv[5]
print(f"{label}: Sorvane {ours:.2f} ms, {peer_name} {peer:.2f} ms, ratio {ours / peer:.2f}x ({goal})")' "$@"
}

"$BENCH" --benchmark_out="$SCRATCH/bench.json" --benchmark_out_format=json \
    --benchmark_repetitions=5 --benchmark_report_aggregates_only=true > "$SCRATCH/bench.log" 2>&1 ||
    { cat "$SCRATCH/bench.log" >&2; exit 1; }
mapfile -t medians < <(python3 - "$SCRATCH/bench.json" <<'PY'
import json, sys
runs = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("error_occurred"):
        sys.exit(f"{b['run_name']}: {b.get('error_message')}")
    if b.get("aggregate_name") == "median":
        runs[b["run_name"].split("/")[0]] = b["real_time"]
print(runs["BM_ListAndMatchDomains"])
print(runs["BM_DconfDumpRoot"])
PY
)
show "domains listed and matched for one application, in-process" "${medians[0]}" \
    "${medians[1]}" "dconf dump / (process)" "goal: <= 1.00x"

# Times ours beside dconf's command, both as whole processes, and prints the
# medians of every run. The dconf service and the disk it writes to are
# shared with the rest of the machine, so the two alternate in short rounds
# rather than one running long after the other.
ROUNDS=6
compare() {
    local label="$1" goal="$2" ours="$3" peer="$4" round
    shift 4
    for round in $(seq "$ROUNDS"); do
        local order=(-n ours "$ours" -n peer "$peer")
        [ $((round % 2)) -eq 0 ] && order=(-n peer "$peer" -n ours "$ours")
        # hyperfine's warnings about outliers would drown the figures.
        hyperfine --warmup 2 --runs "$RUNS" "$@" --export-json "$SCRATCH/round$round.json" \
            "${order[@]}" > "$SCRATCH/hyperfine.log" 2>&1 || { cat "$SCRATCH/hyperfine.log" >&2; exit 1; }
    done
    mapfile -t medians < <(python3 - "$SCRATCH"/round*.json <<'PY'
import json, statistics, sys
times = {"ours": [], "peer": []}
for path in sys.argv[1:]:
    for result in json.load(open(path))["results"]:
        times[result["command"]] += result["times"]
for name in ("ours", "peer"):
    print(statistics.median(times[name]) * 1000)
PY
    )
    rm -f "$SCRATCH"/round*.json
    show "$label" "${medians[0]}" "${medians[1]}" "dconf" "$goal"
}

RUNS=15
compare "defaults domains (2,000 domains, 20,000 keys) beside dconf dump /" "goal: <= 1.00x" \
    "$OURS domains" "dconf dump /" -N
compare "defaults read $DOMAIN (50 keys) beside dconf dump $DIR" "goal: <= 1.20x" \
    "$OURS read $DOMAIN" "dconf dump $DIR" -N
# The text reaches each tool from the shell that hyperfine starts (and whose
# start it subtracts) without another process: as an argument for ours, on
# standard input for dconf. Before each run the other text is loaded, so that
# every timed write changes all 50 values and the service rewrites its
# database, as it does for a real change.
export OURS DOMAIN DIR SCRATCH
RUNS=8
# shellcheck disable=SC2016 # expanded by the shell that hyperfine starts
compare "defaults write $DOMAIN (50 keys) beside dconf load $DIR" "goal: <= 1.20x" \
    '"$OURS" write "$DOMAIN" "$(< "$SCRATCH/original.ini")"' \
    'dconf load "$DIR" < "$SCRATCH/original.ini"' \
    --shell=bash --prepare 'dconf load "$DIR" < "$SCRATCH/changed.ini"'
# The timed writes left the domain as it was loaded.
if [ "$("$OURS" read "$DOMAIN")" != "$loaded" ]; then
    echo "after the writes, $DOMAIN does not hold the text written" >&2
    exit 1
fi
