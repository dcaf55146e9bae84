#!/usr/bin/env bash
# The settings check of the Linux desktop over a synthetic ~/.config of 10,000
# files (about 100 MB of JSON, KDE rc files, desktop entries, .ini/.conf, XML,
# property lists and a dconf database, a few damaged), timed in one run beside:
#   - the validators a user would run over the same files, chosen by name:
#     `python3 -m json.tool` (one process per file: it takes one file),
#     `xmllint --noout` and `desktop-file-validate` (batched by xargs: both
#     take many files, which is the faster and fairer way to run them), and
#     GLib's GKeyFile loading every keyfile, rc, .ini and .conf file (batched);
#   - a bare read: every file below the folder listed and read whole by a
#     plain C++ loop.
# Sorvane runs on one and on two CPUs; the rest run as they come, one process
# at a time. Nothing outside the build folder and a scratch folder is touched.
set -euo pipefail
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$HERE/../build}"
BENCH="$BUILD/bench/bench_config_check"
GLIB_LOAD="$BUILD/bench/bench_glib_keyfile_load"
DATA="$BUILD/bench-data/config-home"
CONFIG="$DATA/.config"

for tool in dconf xmllint desktop-file-validate; do
    if ! command -v "$tool" > /dev/null; then
        echo "config_check.sh: $tool is missing (./build.sh bench installs it)" >&2
        exit 1
    fi
done
# Debian's own interpreter, as a user runs it; a version manager's shim in
# PATH would add its own start-up to every file.
PY=python3
[ -x /usr/bin/python3 ] && PY=/usr/bin/python3

scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
export HOME="$scratch/home" XDG_CONFIG_HOME="$scratch/home/.config" \
    XDG_DATA_HOME="$scratch/home/.local/share" XDG_CACHE_HOME="$scratch/home/.cache" \
    XDG_STATE_HOME="$scratch/home/.local/state"
mkdir -p "$HOME"

# The folder is written once and again whenever its generator changes.
stamp="$(sha256sum "$HERE/make_config_corpus.py" | cut -d' ' -f1)"
if [ "$(cat "$DATA/.generator" 2> /dev/null || true)" != "$stamp" ]; then
    echo "Writing the benchmark folder..."
    rm -rf "$DATA"
    mkdir -p "$DATA"
    python3 "$HERE/make_config_corpus.py" "$DATA"
    echo "$stamp" > "$DATA/.generator"
fi
echo "Folder: $(find "$CONFIG" -type f | wc -l) files, $(du -sm "$CONFIG" | cut -f1) MB;" \
    "$(nproc) CPUs, load average $(cut -d' ' -f1 /proc/loadavg) at the start"

# The files each validator is given, chosen by name as a user would.
lists="$scratch/lists"
mkdir -p "$lists"
find "$CONFIG" -type f -name '*.json' -print0 > "$lists/json"
find "$CONFIG" -type f \( -name '*.xml' -o -name '*.xbel' \) -print0 > "$lists/xml"
find "$CONFIG" -type f -name '*.desktop' -print0 > "$lists/desktop"
find "$CONFIG" -type f \( -name '*rc' -o -name kdeglobals -o -name '*.ini' -o -name '*.conf' \) \
    -print0 > "$lists/keyfile"
count() { tr -cd '\0' < "$lists/$1" | wc -c; }

# Sorvane first: its warm-up run also warms the page cache for everyone.
read -r _ _ s1 checked f1 < <("$BENCH" check 1 "$CONFIG")
read -r _ t2 s2 _ f2 < <("$BENCH" check 2 "$CONFIG")
read -r _ _ bare files _ < <("$BENCH" read 1 "$CONFIG")
declare -A ours
for kind in json xml desktop keyfile; do
    read -r _ _ "ours[$kind]" _ _ < <("$BENCH" files 1 "$lists/$kind")
done
# A figure counts only when the work was done: every file read, nearly all of
# them checked, the damaged ones found, and the same verdicts on both runs.
if [ "${files:-0}" -ne 10000 ] || [ "${checked:-0}" -lt 9000 ] || [ "${f1:-0}" -eq 0 ] ||
    [ "$f1" != "${f2:-}" ] || [ -z "${ours[keyfile]:-}" ]; then
    echo "config_check.sh: a run went wrong: read ${files:-?} files, checked ${checked:-?}," \
        "failed ${f1:-?} on 1 CPU and ${f2:-?} on ${t2:-?}" >&2
    exit 1
fi

# The best of `runs` timed runs of a command, in seconds; a validator that
# finds a damaged file fails, which is its answer, not an error here.
timed() {
    local runs="$1" best="" start end
    shift
    for ((run = 0; run < runs; run++)); do
        start=$(date +%s.%N)
        "$@" || true
        end=$(date +%s.%N)
        best=$(awk -v a="$start" -v b="$end" -v c="$best" \
            'BEGIN { t = b - a; if (c == "" || t < c) c = t; printf "%.4f", c }')
    done
    echo "$best"
}

out="$scratch/out"
mkdir -p "$out"
json_tool_each() {
    local failed=0 file
    while IFS= read -r -d '' file; do
        "$PY" -m json.tool "$file" > /dev/null 2>&1 || failed=$((failed + 1))
    done < "$lists/json"
    echo "$failed" > "$out/json.failed"
}
xmllint_batched() { xargs -0 -a "$lists/xml" xmllint --noout 2> "$out/xml.err"; }
desktop_batched() { xargs -0 -a "$lists/desktop" desktop-file-validate > "$out/desktop.err" 2>&1; }
glib_batched() { xargs -0 -a "$lists/keyfile" "$GLIB_LOAD" 2> "$out/keyfile.err"; }

echo "Timing python3 -m json.tool on $(count json) files, one process each (about a minute or two)..."
peer_json=$(timed 1 json_tool_each)
peer_xml=$(timed 3 xmllint_batched)
peer_desktop=$(timed 3 desktop_batched)
peer_keyfile=$(timed 3 glib_batched)

# Files each validator failed, from its own report.
failed_json=$(cat "$out/json.failed")
failed_xml=$(sed -nE 's/^(.*):[0-9]+: (parser|namespace) error.*/\1/p' "$out/xml.err" | sort -u | wc -l)
failed_desktop=$(sed -nE 's/^(.*): error: .*/\1/p' "$out/desktop.err" | sort -u | wc -l)
failed_keyfile=$(wc -l < "$out/keyfile.err")

sum() { awk 'BEGIN { s = 0; for (i = 1; i < ARGC; i++) s += ARGV[i]; printf "%.4f", s }' "$@"; }
# Sorvane's time over its peer's: below 1 is faster.
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3g", a / b }'; }
ms() { awk -v a="$1" 'BEGIN { printf "%.1f ms", a * 1000 }'; }
peers=$(sum "$peer_json" "$peer_xml" "$peer_desktop" "$peer_keyfile")
batched=$(sum "$peer_xml" "$peer_desktop" "$peer_keyfile")

echo
printf '%-58s %10s  %s\n' "run" "seconds" "failed files"
printf '%-58s %10.4f  %s\n' "Sorvane check, 1 CPU ($checked files checked)" "$s1" "$f1"
printf '%-58s %10.4f  %s\n' "Sorvane check, $t2 CPUs" "$s2" "$f2"
printf '%-58s %10.4f\n' "bare read of every file, 1 CPU ($files files)" "$bare"
printf '%-58s %10.4f  %s\n' "python3 -m json.tool, a process per file ($(count json), 1 run)" \
    "$peer_json" "$failed_json"
printf '%-58s %10.4f  %s\n' "xmllint --noout, batched by xargs ($(count xml))" "$peer_xml" "$failed_xml"
printf '%-58s %10.4f  %s\n' "desktop-file-validate, batched by xargs ($(count desktop))" \
    "$peer_desktop" "$failed_desktop"
printf '%-58s %10.4f  %s\n' "GLib GKeyFile load, batched by xargs ($(count keyfile))" \
    "$peer_keyfile" "$failed_keyfile"
printf '%-58s %10.4f\n' "the four validators together" "$peers"
echo "(GLib refuses KDE's nested groups and [\$e] flags and fontconfig's XML, so it fails"
echo " and stops early on many of its files; the validators skip the dconf database and"
echo " the property lists, which Sorvane checks.)"
echo
echo "settings check vs the four validators: Sorvane $(ms "$s1"), validators $(ms "$peers")," \
    "ratio $(ratio "$s1" "$peers")x (target <= 0.1: ten times faster)"
echo "  on $t2 CPUs: Sorvane $(ms "$s2"), validators $(ms "$peers"), ratio $(ratio "$s2" "$peers")x"
echo "  the batched three alone (no json.tool): Sorvane $(ms "$s1"), validators $(ms "$batched")," \
    "ratio $(ratio "$s1" "$batched")x"
echo "settings check vs a bare read: Sorvane $(ms "$s1"), bare read $(ms "$bare")," \
    "ratio $(ratio "$s1" "$bare")x (goal <= 3)"
echo "each validator beside Sorvane on the same files, 1 CPU:"
for pair in "json:peer_json:python3 -m json.tool per file" "xml:peer_xml:xmllint batched" \
    "desktop:peer_desktop:desktop-file-validate batched" "keyfile:peer_keyfile:GLib batched"; do
    IFS=: read -r kind var label <<< "$pair"
    echo "  $kind: Sorvane $(ms "${ours[$kind]}"), $label $(ms "${!var}")," \
        "ratio $(ratio "${ours[$kind]}" "${!var}")x"
done
