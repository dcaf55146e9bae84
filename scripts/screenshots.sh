#!/usr/bin/env bash
# Photographs the demo under Xvfb: the demo sandbox and private bus come from
# demo.sh, the windows are driven by sorvane_screenshots. On each settings
# system: the Application tab before and after an application is chosen, the
# components, the check before a check, its result sheet and its failures,
# the packager in creation and in deployment mode and an alert; on the macOS
# home folder (the default) the self-deploying package's window too, on the
# Linux desktop ("linux") the application chooser. The Linux desktop's
# pictures are named linux-*.png; "both" takes both sets.
# Usage: screenshots.sh BUILD_DIR OUTPUT_FOLDER [macos|linux|both]
set -euo pipefail
BUILD="$(cd "$1" && pwd)"; OUT="$(mkdir -p "$2" && cd "$2" && pwd)"
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
MODE="${3:-macos}"
case "$MODE" in
    macos) DEMO_ARGS=() ;;
    linux) DEMO_ARGS=(linux) ;;
    both) "$0" "$1" "$2" macos && exec "$0" "$1" "$2" linux ;;
    *) echo "usage: $0 BUILD_DIR OUTPUT_FOLDER [macos|linux|both]" >&2; exit 2 ;;
esac

# A sandbox of its own, so that a demo someone runs meanwhile is left alone.
DEMO="$BUILD/screenshots-demo-$MODE"
export SORVANE_DEMO_DIR="$DEMO"
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

# Room for the main window (1000x680) and the packager (960x600).
Xvfb :77 -screen 0 1040x720x24 -nolisten tcp &
xvfb=$!
sleep 1
if [ "$MODE" = linux ]; then
    APP="$XDG_DATA_HOME/flatpak/exports/share/applications/org.videolan.VLC.desktop"
    # Damaged settings files of made-up applications, so that the check has
    # failures to show.
    mkdir -p "$XDG_CONFIG_HOME/notekeeper" "$XDG_CONFIG_HOME/tiler"
    printf '{\n  "theme": "dark",\n  "fontSize": 12,,\n}\n' > "$XDG_CONFIG_HOME/notekeeper/settings.json"
    printf '<?xml version="1.0"?>\n<bookmarks>\n  <bookmark href="file:///srv"/>\n' \
        > "$XDG_CONFIG_HOME/notekeeper/bookmarks.xml"
    printf '[Layout]\ncolumns=3\n[Keys\nleft=h\n' > "$XDG_CONFIG_HOME/tiler/tiler.conf"
else
    APP="$HOME/Applications/Notekeeper.app"
fi
DISPLAY=:77 QT_QPA_PLATFORM=xcb "$BUILD/tests/sorvane_screenshots" "$APP" "$OUT"
echo "Screenshots in $OUT"
