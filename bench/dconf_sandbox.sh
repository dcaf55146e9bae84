# Sourced by the dconf benchmarks: a scratch folder standing for HOME, the XDG
# folders and the system root, a dconf profile of the user database alone, and
# a private session bus that activates the real dconf-service ($SERVICE) with
# that environment. Sets SCRATCH, exports the environment and
# DBUS_SESSION_BUS_ADDRESS, and stops the service and the bus on exit.
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
