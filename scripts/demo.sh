#!/usr/bin/env bash
# Starts Sorvane against a sandbox and a private D-Bus with the privileged
# helper (installed into the sandbox, never the system) and a stand-in polkit
# that allows every action. Reboots go to /bin/true. The sandbox is
#   a macOS home folder (the default): a home folder and a system root with
#     sample bundles, domains, caches and damaged property lists;
#   a Linux desktop ("linux"): a home folder whose XDG folders hold the files
#     of sample desktop applications (GTK, KDE, Flatpak, Snap, Electron, a
#     terminal program), and a system root with their desktop entries, icons,
#     /etc/xdg and /var/cache; the real machine's applications stay out of it.
# Usage: demo.sh BUILD_DIR [linux] [--no-app]   (--no-app: set up, print the
# environment, and wait; used by the screenshot script). The sandbox is
# BUILD_DIR/demo (demo-linux), or SORVANE_DEMO_DIR when it is set.
set -euo pipefail
BUILD="$(cd "$1" && pwd)"; shift
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
SETTINGS=macos
if [ "${1:-}" = "linux" ]; then SETTINGS=linux; shift; fi
DEMO="$BUILD/demo"
if [ "$SETTINGS" = linux ]; then DEMO="$BUILD/demo-linux"; fi
DEMO="${SORVANE_DEMO_DIR:-$DEMO}"

rm -rf "$DEMO"
mkdir -p "$DEMO/bus" "$DEMO/prefix/share/dbus-1/system-services" "$DEMO/prefix/share/dbus-1/system.d"
mkdir -p "$DEMO/prefix/share/dbus-1/services"
if [ "$SETTINGS" = linux ]; then
    python3 "$ROOT/scripts/demo_sandbox_linux.py" "$DEMO"
    # The private bus starts Debian's dconf-service, which writes the
    # sandbox's dconf database when Sorvane changes or deletes settings.
    printf '[D-BUS Service]\nName=ca.desrt.dconf\nExec=/usr/libexec/dconf-service\n' \
        > "$DEMO/prefix/share/dbus-1/services/ca.desrt.dconf.service"
else
    python3 "$ROOT/scripts/demo_sandbox.py" "$DEMO"
fi

cat > "$DEMO/bus/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=$DEMO/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$DEMO/prefix/share/dbus-1/system-services</servicedir>
  <servicedir>$DEMO/prefix/share/dbus-1/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <includedir>$DEMO/prefix/share/dbus-1/system.d</includedir>
</busconfig>
CONF

export HOME="$DEMO/home" SORVANE_SYSTEM_ROOT="$DEMO/system" SORVANE_SETTINGS=macos
if [ "$SETTINGS" = linux ]; then
    export SORVANE_SETTINGS=linux
    export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
    export XDG_CACHE_HOME="$HOME/.cache" XDG_STATE_HOME="$HOME/.local/state"
    export XDG_DATA_DIRS="$SORVANE_SYSTEM_ROOT/usr/share"
    export XDG_CONFIG_DIRS="$SORVANE_SYSTEM_ROOT/etc/xdg"
    export XDG_RUNTIME_DIR="$DEMO/runtime"
    mkdir -m 700 -p "$XDG_RUNTIME_DIR"
    # dconf reads the sandbox's user database alone, never the machine's
    # profile and system databases.
    export DCONF_PROFILE="$SORVANE_SYSTEM_ROOT/etc/dconf/profile/user"
    mkdir -p "$(dirname "$DCONF_PROFILE")"
    echo "user-db:user" > "$DCONF_PROFILE"
fi
export SORVANE_REBOOT_TOOL=/bin/true SORVANE_PKEXEC_TOOL=/bin/false
export SORVANE_HELPER_PREFIX="$DEMO/prefix"
# The sandbox home is not in the user database: the helper is told at start-up
# that it counts as a user's home.
export SORVANE_HELPER_TEST_HOME="$DEMO/home"

pids=()
ADDRESS=""
cleanup() {
    # The bus starts the helper and dconf-service when they are first called,
    # and they outlive the bus: it is asked for their processes first.
    local activated=() name pid
    if [ -n "$ADDRESS" ]; then
        for name in com.brisvale.Sorvane.Helper ca.desrt.dconf; do
            pid="$(dbus-send --bus="$ADDRESS" --print-reply --dest=org.freedesktop.DBus \
                /org/freedesktop/DBus org.freedesktop.DBus.GetConnectionUnixProcessID \
                "string:$name" 2>/dev/null | awk '/uint32/ { print $2 }')" || true
            if [ -n "$pid" ]; then activated+=("$pid"); fi
        done
    fi
    kill "${activated[@]}" "${pids[@]}" 2>/dev/null || true
}
trap cleanup EXIT

exec 3< <(dbus-daemon --config-file="$DEMO/bus/bus.conf" --nofork --print-address=1)
pids+=($!)
read -r ADDRESS <&3
export SORVANE_HELPER_BUS="$ADDRESS" DBUS_SYSTEM_BUS_ADDRESS="$ADDRESS"
# Sorvane's single-instance service lives on the session bus: the private bus
# stands in for it too, so the demo never touches the desktop's own bus.
export DBUS_SESSION_BUS_ADDRESS="$ADDRESS"

DBUS_SESSION_BUS_ADDRESS="$ADDRESS" /usr/bin/python3 -m dbusmock --session --template polkitd \
    --logfile "$DEMO/bus/polkit.log" &
pids+=($!)
for _ in $(seq 100); do
    dbus-send --bus="$ADDRESS" --print-reply --dest=org.freedesktop.PolicyKit1 \
        /org/freedesktop/PolicyKit1/Authority org.freedesktop.DBus.Mock.AllowUnknown boolean:true \
        >/dev/null 2>&1 && break
    sleep 0.1
done

"$BUILD/libexec/sorvane/sorvane-helper" --install --prefix "$DEMO/prefix" --bus "$ADDRESS"

echo "Demo sandbox: $DEMO (home: $HOME, system root: $SORVANE_SYSTEM_ROOT)"
# The environment of the demo, quoted for a shell to source.
for name in $(compgen -e | grep -E '^(HOME|XDG_|DCONF_|SORVANE_|DBUS_SYSTEM|DBUS_SESSION)'); do
    printf '%s=%q\n' "$name" "${!name}"
done > "$DEMO/environment"
if [ "$SETTINGS" = linux ]; then
    cat <<TRY
Settings system: the Linux desktop of the sandbox. Its applications' entries are in
  $XDG_DATA_DIRS/applications, the Flatpak exports and
  $SORVANE_SYSTEM_ROOT/var/lib/snapd/desktop/applications.
What to try:
  - "Choose Application..." lists the sandbox's applications; type "ka" and press
    Return to choose Kate: its katerc, kate-externaltoolspluginrc, sessions
    (~/.local/share/kate) and the administrator's /etc/xdg/katerc are listed.
  - VLC media player is a Flatpak: its container ~/.var/app/org.videolan.VLC and
    the files an older Debian package left (~/.config/vlc, ~/.cache/vlc).
  - Spotify is a Snap (~/snap/spotify), Visual Studio Code an Electron
    application (~/.config/Code), Htop a terminal program (~/.config/htop).
  - Text Editor, Web and Calculator keep their settings in dconf; the desktop
    keeps Text Editor's and VLC's notification settings there too.
  - Drop a .desktop file from $XDG_DATA_DIRS/applications on the window.
  - The same from another shell while the demo runs:
      set -a; . $DEMO/environment; set +a
      $BUILD/bin/sorvanectl search org.kde.kate
      $BUILD/bin/sorvanectl clean org.videolan.VLC --dry-run
TRY
else
    echo "Sample applications are in $HOME/Applications."
fi
if [ "${1:-}" = "--no-app" ]; then
    echo "ready" > "$DEMO/ready"
    wait "${pids[0]}"
else
    "$BUILD/bin/sorvane"
fi
