#!/usr/bin/env bash
# Starts Sorvane against a sandbox: a home folder and a system root with sample
# bundles, domains, caches and damaged property lists, and a private D-Bus with
# the privileged helper (installed into the sandbox, never the system) and a
# stand-in polkit that allows every action. Reboots go to /bin/true.
# Usage: demo.sh BUILD_DIR [--no-app]   (--no-app: set up, print the
# environment, and wait; used by the screenshot script)
set -euo pipefail
BUILD="$(cd "$1" && pwd)"; shift
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
DEMO="$BUILD/demo"

rm -rf "$DEMO"
mkdir -p "$DEMO/bus" "$DEMO/prefix/share/dbus-1/system-services" "$DEMO/prefix/share/dbus-1/system.d"
python3 "$ROOT/scripts/demo_sandbox.py" "$DEMO"

cat > "$DEMO/bus/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=$DEMO/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$DEMO/prefix/share/dbus-1/system-services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <includedir>$DEMO/prefix/share/dbus-1/system.d</includedir>
</busconfig>
CONF

export HOME="$DEMO/home" SORVANE_SYSTEM_ROOT="$DEMO/system" SORVANE_SETTINGS=macos
export SORVANE_REBOOT_TOOL=/bin/true SORVANE_PKEXEC_TOOL=/bin/false
export SORVANE_HELPER_PREFIX="$DEMO/prefix"
# The sandbox home is not in the user database: the helper is told at start-up
# that it counts as a user's home.
export SORVANE_HELPER_TEST_HOME="$DEMO/home"

pids=()
cleanup() { kill "${pids[@]}" 2>/dev/null || true; }
trap cleanup EXIT

exec 3< <(dbus-daemon --config-file="$DEMO/bus/bus.conf" --nofork --print-address=1)
pids+=($!)
read -r ADDRESS <&3
export SORVANE_HELPER_BUS="$ADDRESS" DBUS_SYSTEM_BUS_ADDRESS="$ADDRESS"

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
echo "Sample applications are in $HOME/Applications."
if [ "${1:-}" = "--no-app" ]; then
    env | grep -E '^(HOME|SORVANE_|DBUS_SYSTEM)' > "$DEMO/environment"
    echo "ready" > "$DEMO/ready"
    wait "${pids[0]}"
else
    "$BUILD/bin/sorvane"
fi
