#!/usr/bin/env bash
# A cleaning with its backup beside the same cleaning without one, on both
# settings systems. The application has 200 domains and a preferences folder
# of 2,000 files; both cleanings delete them with Sorvane's own defaults
# program, one after keeping them in a backup package for undo. Rounds are
# interleaved so that a busy moment of a shared machine hits both; the medians
# are printed with their ratio (target: the backup adds no more than 50%).
# Everything happens in scratch folders standing for HOME, the XDG folders and
# the system root; the Linux desktop's dconf is a private session bus that
# activates the real dconf-service.
set -euo pipefail
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
BUILD="${SORVANE_BUILD_DIR:-$HERE/../build}"
BENCH="$BUILD/bench/bench_cleaning_backup"
SERVICE=/usr/libexec/dconf-service
ROUNDS="${SORVANE_BENCH_ROUNDS:-5}"
DOMAINS="${SORVANE_BENCH_DOMAINS:-200}"
FILES="${SORVANE_BENCH_FILES:-2000}"
for program in "$BENCH" "$BUILD/libexec/sorvane/defaults" "$BUILD/libexec/sorvane/dconf-defaults" \
    "$SERVICE"; do
    [ -x "$program" ] || { echo "missing $program: build bench_cleaning_backup first"; exit 1; }
done
for tool in dconf dbus-daemon dbus-send; do
    command -v "$tool" > /dev/null || { echo "$tool is not installed" >&2; exit 1; }
done
unset DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM SORVANE_DEFAULTS_TOOL DBUS_SYSTEM_BUS_ADDRESS

"$BENCH" macos "$DOMAINS" "$FILES" "$ROUNDS"

# shellcheck source=dconf_sandbox.sh
source "$HERE/dconf_sandbox.sh"

"$BENCH" linux "$DOMAINS" "$FILES" "$ROUNDS"
