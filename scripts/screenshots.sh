#!/usr/bin/env bash
# Photographs the demo under Xvfb: the demo sandbox and private bus come from
# demo.sh, the window is driven by sorvane_screenshots. On the macOS home
# folder (the default) each tab; on the Linux desktop ("linux") the
# application chooser and the Application tab of the application chosen.
# Usage: screenshots.sh BUILD_DIR OUTPUT_FOLDER [linux]
set -euo pipefail
BUILD="$(cd "$1" && pwd)"; OUT="$(mkdir -p "$2" && cd "$2" && pwd)"
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
MODE="${3:-macos}"
case "$MODE" in
    macos) DEMO="$BUILD/demo"; DEMO_ARGS=() ;;
    linux) DEMO="$BUILD/demo-linux"; DEMO_ARGS=(linux) ;;
    *) echo "usage: $0 BUILD_DIR OUTPUT_FOLDER [linux]" >&2; exit 2 ;;
esac

demo=""
xvfb=""
cleanup() {
    for pid in $demo $xvfb; do kill "$pid" 2>/dev/null || true; done
}
trap cleanup EXIT

rm -f "$DEMO/ready"
"$ROOT/scripts/demo.sh" "$BUILD" "${DEMO_ARGS[@]}" --no-app &
demo=$!
for _ in $(seq 300); do [ -f "$DEMO/ready" ] && break; sleep 0.1; done
[ -f "$DEMO/ready" ] || { echo "the demo did not come up" >&2; exit 1; }
set -a; . "$DEMO/environment"; set +a

Xvfb :77 -screen 0 1000x680x24 -nolisten tcp &
xvfb=$!
sleep 1
if [ "$MODE" = linux ]; then
    APP="$XDG_DATA_HOME/flatpak/exports/share/applications/org.videolan.VLC.desktop"
else
    APP="$HOME/Applications/Notekeeper.app"
fi
DISPLAY=:77 QT_QPA_PLATFORM=xcb "$BUILD/tests/sorvane_screenshots" "$APP" "$OUT"
echo "Screenshots in $OUT"
