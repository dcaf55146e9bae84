#!/usr/bin/env bash
# Sorvane's `defaults` beside GNUstep's `defaults`, as whole processes, in the
# same run: `read` of a small domain, `write` of one key, and `domains` with
# 10,000 domains. Both work in a scratch folder: ours through HOME, GNUstep's
# through GNUSTEP_CONFIG_FILE (it ignores HOME), never a real home folder.
set -euo pipefail
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$HERE/../build}"
OURS="$BUILD/libexec/sorvane/defaults"
THEIRS="$(command -v defaults || true)"
if [ -z "$THEIRS" ] || [ "$THEIRS" = "$OURS" ]; then
    echo "GNUstep's defaults is not installed (gnustep-base-runtime)"; exit 1
fi
SCRATCH="$(mktemp -d)"
trap 'rm -rf "$SCRATCH"' EXIT
mkdir -p "$SCRATCH/home/Library/Preferences" "$SCRATCH/gnustep/Defaults"
cat > "$SCRATCH/gnustep/GNUstep.conf" <<CONF
GNUSTEP_USER_CONFIG_FILE=
GNUSTEP_USER_DIR=$SCRATCH/gnustep
GNUSTEP_USER_DEFAULTS_DIR=$SCRATCH/gnustep/Defaults
CONF
python3 - "$SCRATCH/home/Library/Preferences" "$SCRATCH/gnustep/Defaults" <<'PY'
import plistlib, sys
small = {f"setting{i}": v for i, v in enumerate(
    ["text", 42, 3.5, True, ["a", "b"], {"nested": "value"}, b"\x00\x01", "more text", 7, False])}
for folder in sys.argv[1:]:
    for i in range(10000):
        with open(f"{folder}/com.example.domain{i:05d}.plist", "wb") as f:
            plistlib.dump({"key": f"value {i}", "count": i}, f, fmt=plistlib.FMT_XML)
    with open(f"{folder}/com.example.small.plist", "wb") as f:
        plistlib.dump(small, f, fmt=plistlib.FMT_XML)
PY
export HOME="$SCRATCH/home"
export GNUSTEP_CONFIG_FILE="$SCRATCH/gnustep/GNUstep.conf"
# Both must see the same domain before they are timed.
"$OURS" read com.example.small > /dev/null
"$THEIRS" read com.example.small > /dev/null
JSON="$SCRATCH/result.json"
run() {
    hyperfine -N --warmup 3 --min-runs 20 --export-json "$JSON" "$@" > /dev/null
    python3 - "$JSON" <<'PY'
import json, sys
r = json.load(open(sys.argv[1]))["results"]
ours, theirs = r[0]["mean"], r[1]["mean"]
print(f"  Sorvane {ours*1000:8.2f} ms   GNUstep {theirs*1000:8.2f} ms   "
      f"Sorvane {theirs/ours:6.1f}x faster (target >= 8)")
PY
}
echo "defaults read com.example.small (10 keys):"
run "$OURS read com.example.small" "$THEIRS read com.example.small"
echo "defaults write com.example.small benchKey -int 7:"
run "$OURS write com.example.small benchKey -int 7" "$THEIRS write com.example.small benchKey -int 7"
echo "defaults domains (10,001 domains):"
run "$OURS domains" "$THEIRS domains"
