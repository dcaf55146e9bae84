#!/usr/bin/env bash
# Photographs each tab of the demo under Xvfb: the demo sandbox and private
# bus come from demo.sh, the window is driven by sorvane_screenshots.
# Usage: screenshots.sh BUILD_DIR OUTPUT_FOLDER
set -euo pipefail
BUILD="$(cd "$1" && pwd)"; OUT="$(mkdir -p "$2" && cd "$2" && pwd)"
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

rm -f "$BUILD/demo/ready"
"$ROOT/scripts/demo.sh" "$BUILD" --no-app &
demo=$!
trap 'kill $demo $xvfb 2>/dev/null || true' EXIT
for _ in $(seq 300); do [ -f "$BUILD/demo/ready" ] && break; sleep 0.1; done
set -a; . "$BUILD/demo/environment"; set +a

Xvfb :77 -screen 0 1000x680x24 -nolisten tcp &
xvfb=$!
sleep 1
DISPLAY=:77 QT_QPA_PLATFORM=xcb "$BUILD/tests/sorvane_screenshots" \
    "$HOME/Applications/Notekeeper.app" "$OUT"
echo "Screenshots in $OUT"
