#!/usr/bin/env bash
# Package creation and deployment beside the shell. Sorvane captures 200
# defaults domains (a few keys each) and 200 extra files into a self-deploying
# application (bench_packages: PackageCreator, saved through the real
# template zip and unzip), then that application's own program deploys it on
# the terminal (sorvane-deploy --text). The peer is a shell script running the
# same 200 `defaults read` and 200 `defaults write` commands with the same
# defaults program. Rounds are interleaved so that a busy moment of a shared
# machine hits both; medians are printed with their ratio (target: Sorvane
# within 1.2x of the shell). Everything happens in a scratch folder that
# stands for HOME, the system root and the temporary folder.
set -euo pipefail
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$HERE/../build}"
BENCH="$BUILD/bench/bench_packages"
DEFAULTS="$BUILD/libexec/sorvane/defaults"
ROUNDS="${SORVANE_BENCH_ROUNDS:-7}"
for program in "$BENCH" "$DEFAULTS" "$BUILD/share/sorvane/sdkv2.zip"; do
    [ -e "$program" ] || { echo "missing $program: build bench_packages first"; exit 1; }
done
SCRATCH="$(mktemp -d)"
trap 'rm -rf "$SCRATCH"' EXIT
mkdir -p "$SCRATCH/home/Library/Preferences" "$SCRATCH/root" "$SCRATCH/tmp"
export HOME="$SCRATCH/home" SORVANE_SYSTEM_ROOT="$SCRATCH/root" TMPDIR="$SCRATCH/tmp"
unset DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM SORVANE_DEFAULTS_TOOL

# 10 components of 10 domains and 100 applications of one domain, each
# application with two extra files named by a known-applications catalogue.
python3 - "$SCRATCH" "$DEFAULTS" <<'PY'
import os, plistlib, shlex, subprocess, sys
scratch, defaults = sys.argv[1], sys.argv[2]
home = f"{scratch}/home"
domains = [f"com.example.bench.c{c:02d}.d{d:02d}" for c in range(10) for d in range(10)]
apps = [f"com.example.bench.a{a:03d}" for a in range(100)]
for i, domain in enumerate(domains + apps):
    with open(f"{home}/Library/Preferences/{domain}.plist", "wb") as f:
        plistlib.dump({"name": f"setting {i}", "count": i, "ratio": i / 7, "enabled": i % 2 == 0,
                       "recent": [f"item {i}", f"item {i + 1}"]}, f, fmt=plistlib.FMT_XML)
catalogue = ["<applist>"]
for a, app in enumerate(apps):
    folder = f"{home}/Library/BenchApps/{a:03d}"
    os.makedirs(folder)
    with open(f"{folder}/settings.conf", "w") as f:
        f.write(f"app={a}\n" * 20)
    with open(f"{folder}/state.bin", "wb") as f:
        f.write(bytes(range(256)) * 4)
    catalogue.append(f'<app id="{app}"><path>~/Library/BenchApps/{a:03d}/settings.conf</path>'
                     f'<path>~/Library/BenchApps/{a:03d}/state.bin</path></app>')
catalogue.append("</applist>")
with open(f"{scratch}/AppData.xml", "w") as f:
    f.write("\n".join(catalogue))
# The shell's side: the same reads, and writes of the very texts they print.
everything = domains + apps
with open(f"{scratch}/read.sh", "w") as f:
    f.write("".join(f"{shlex.quote(defaults)} read {d} > /dev/null\n" for d in everything))
with open(f"{scratch}/write.sh", "w") as f:
    for d in everything:
        text = subprocess.run([defaults, "read", d], capture_output=True, text=True, check=True).stdout
        f.write(f"{shlex.quote(defaults)} write {d} {shlex.quote(text)}\n")
PY

APP="$SCRATCH/Bench Settings.app"
python3 - "$SCRATCH" "$BENCH" "$APP" "$ROUNDS" <<'PY'
import os, shutil, statistics, subprocess, sys, time
scratch, bench, app, rounds = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4])
catalogue = f"{scratch}/AppData.xml"
create = [bench, catalogue, "10", "10", "100", app]
deploy = [f"{app}/Contents/MacOS/sorvane-deploy", "--text"]
steps = {
    "create": (create, lambda: shutil.rmtree(app, ignore_errors=True)),
    "deploy": (deploy, None),
    "read": (["bash", f"{scratch}/read.sh"], None),
    "write": (["bash", f"{scratch}/write.sh"], None),
}
def run(name):
    command, prepare = steps[name]
    if prepare:
        prepare()
    start = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    elapsed = time.perf_counter() - start
    if done.returncode != 0:
        sys.exit(f"{name} failed ({done.returncode}): {done.stderr.strip()}")
    return elapsed
# A first round warms the caches and checks what the package holds.
for name in steps:
    run(name)
listing = subprocess.run(deploy[:1] + ["--list"], capture_output=True, text=True, check=True).stdout
domains = listing.count("\n    domain ")
files = listing.count("\n    file ")
if (domains, files) != (200, 200):
    sys.exit(f"the package holds {domains} domains and {files} files, not 200 and 200")
times = {name: [] for name in steps}
for _ in range(rounds):
    for name in steps:
        times[name].append(run(name))
median = {name: statistics.median(values) * 1000 for name, values in times.items()}
ours = median["create"] + median["deploy"]
shell = median["read"] + median["write"]
print(f"packages: 200 domains and 200 files, median of {rounds} interleaved rounds")
print(f"  create (capture + self-deploying app) {median['create']:8.1f} ms   "
      f"shell 200 x defaults read  {median['read']:8.1f} ms   ratio {median['create'] / median['read']:.2f}x")
print(f"  deploy (sorvane-deploy --text)        {median['deploy']:8.1f} ms   "
      f"shell 200 x defaults write {median['write']:8.1f} ms   ratio {median['deploy'] / median['write']:.2f}x")
print(f"  create + deploy                       {ours:8.1f} ms   "
      f"shell reads + writes       {shell:8.1f} ms   ratio {ours / shell:.2f}x (target <= 1.2)")
PY

# The deployed values are the captured ones: one domain and one file checked.
"$DEFAULTS" read com.example.bench.a042 | grep -q '"setting 142"' ||
    { echo "deployment check failed: com.example.bench.a042"; exit 1; }
cmp -s "$HOME/Library/BenchApps/042/state.bin" <(python3 -c 'import sys; sys.stdout.buffer.write(bytes(range(256)) * 4)') ||
    { echo "deployment check failed: state.bin"; exit 1; }
