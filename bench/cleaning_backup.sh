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

SCRATCH="$(mktemp -d)"
BUS_PID=""
# The bus activated dconf-service, so it is not our child: it is found by its
# bus name and stopped by its pid before the bus goes.
stop_sandbox() {
    if [ -n "$BUS_PID" ]; then
        local reply service_pid
        reply="$(dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
            org.freedesktop.DBus.GetConnectionUnixProcessID string:ca.desrt.dconf 2> /dev/null ||
            true)"
        service_pid="$(printf '%s\n' "$reply" | awk '/uint32/ { print $2 }')"
        if [ -n "$service_pid" ]; then kill "$service_pid" 2> /dev/null || true; fi
        kill "$BUS_PID" 2> /dev/null || true
    fi
    rm -rf "$SCRATCH"
}
trap stop_sandbox EXIT

export HOME="$SCRATCH/home"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
export XDG_CACHE_HOME="$HOME/.cache" XDG_STATE_HOME="$HOME/.local/state"
export XDG_RUNTIME_DIR="$SCRATCH/runtime"
export SORVANE_SYSTEM_ROOT="$SCRATCH/root"
export DCONF_PROFILE="$SCRATCH/user.profile"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_STATE_HOME" \
    "$XDG_RUNTIME_DIR" "$SORVANE_SYSTEM_ROOT" "$SCRATCH/bus/services"
chmod 700 "$XDG_RUNTIME_DIR"
echo "user-db:user" > "$DCONF_PROFILE"
printf '[D-BUS Service]\nName=ca.desrt.dconf\nExec=%s\n' "$SERVICE" \
    > "$SCRATCH/bus/services/ca.desrt.dconf.service"
cat > "$SCRATCH/bus/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=$SCRATCH/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$SCRATCH/bus/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONF
# The bus (and the dconf-service it starts) inherits the sandbox environment
# exported above, so the service writes the sandbox's database.
{ read -r DBUS_SESSION_BUS_ADDRESS; read -r BUS_PID; } < <(
    dbus-daemon --config-file="$SCRATCH/bus/bus.conf" --fork --print-address=1 --print-pid=1)
export DBUS_SESSION_BUS_ADDRESS

"$BENCH" linux "$DOMAINS" "$FILES" "$ROUNDS"
