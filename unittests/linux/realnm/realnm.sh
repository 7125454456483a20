#!/usr/bin/env bash
# Real NetworkManager (Debian's daemon, not a mock) for the tests of the D-Bus readers, started
# rootless inside a user, network, mount and process namespace of its own, on a private system bus,
# managing only virtual devices; then the given command is run in it:
#
#   this namespace                                     peer (a namespace of its own)
#   lo
#   veth0 10.20.0.2/24 (managed, static, default via 10.20.0.1) ---- peer0 10.20.0.1/24 HTTP :80
#   veth1 (unmanaged) --- veth1p (unmanaged)
#
# Without --connectivity the daemon's connectivity check is off, nothing listens on the peer and
# veth0 is managed but left disconnected. With it, the check is on against the peer's HTTP server
# (portal.py; the file $REALNM_HTTP_MODE says what it answers) and veth0's connection
# "wired-veth0" (static address, default route through the peer) is activated as the daemon starts.
#
# Usage: realnm.sh [--connectivity] COMMAND [ARGS...]. The command sees DBUS_SYSTEM_BUS_ADDRESS,
# REALNM=1, REALNM_CONNECTIVITY (on or off), REALNM_DIR (the keyfile folder "connections" and the
# logs, http.log among them), REALNM_HTTP_MODE, and REALNM_USERS=wide when users other than root
# are mapped. The script exits with the command's status, or 77 (skipped) when the daemon cannot be
# started here, the reason on stderr. When the command fails, the daemon's log follows.
set -Eeuo pipefail
export PATH="$PATH:/usr/sbin:/sbin"
readonly skip=77

skip() {
    echo "realnm: SKIPPED: $*" >&2
    exit "$skip"
}

if [ "${REALNM:-}" != 1 ]; then
    [ -x /usr/sbin/NetworkManager ] ||
        skip "/usr/sbin/NetworkManager is missing (Debian package network-manager)"
    command -v dbus-daemon >/dev/null || skip "dbus-daemon is missing (Debian package dbus)"
    for need in ip:iproute2 ss:iproute2 nsenter:util-linux setpriv:util-linux; do
        command -v "${need%%:*}" >/dev/null || skip "${need%%:*} is missing (Debian package ${need#*:})"
    done
    command -v dbus-send >/dev/null || skip "dbus-send is missing (Debian package dbus-bin)"
    [ -x /usr/bin/python3 ] || skip "/usr/bin/python3 is missing (Debian package python3)"
    why=$(unshare -rnm true 2>&1) || skip "this machine cannot make user namespaces (unshare -rnm: $why)"
    export REALNM=1
    # The first process of a process namespace of its own: the daemon, the bus and the server end
    # with it whatever happens to it (--kill-child: also when unshare is killed).
    if [ "$(id -u)" != 0 ] || ! grep -Eq '^ *0 +0 +4294967295$' /proc/self/uid_map; then
        exec unshare --user --map-root-user --net --mount --pid --mount-proc --fork --kill-child -- "$0" "$@"
    fi
    # Run by root of the machine, the namespace maps the users 0 to 65535 to themselves rather than
    # only root to root, so that a test can also call as a user other than root (NetworkManager
    # lets root read every connection). Only a process outside the namespace may write such a map:
    # a helper writes it into unshare's namespace (this script's pid once exec'd) while the first
    # process inside waits for it.
    export REALNM_USERS=wide
    (
        for _ in $(seq 500); do
            if [ "$(readlink "/proc/$$/ns/user")" != "$(readlink /proc/self/ns/user)" ]; then
                echo "0 0 65536" >"/proc/$$/uid_map" && echo "0 0 65536" >"/proc/$$/gid_map"
                exit
            fi
            sleep 0.01
        done
    ) &
    # shellcheck disable=SC2016 # the inner shell expands these
    exec unshare --user --net --mount --pid --fork --kill-child -- /bin/bash -c '
        for _ in $(seq 500); do
            [ -n "$(cat /proc/self/uid_map)" ] && break
            sleep 0.01
        done
        if [ -z "$(cat /proc/self/uid_map)" ]; then
            echo "realnm: SKIPPED: the users of the namespace could not be mapped" >&2
            exit 77
        fi
        # Becoming root inside clears the parent death signal unshare set: set it again.
        mount -t proc proc /proc && exec setpriv --pdeathsig KILL -- "$@"' realnm "$0" "$@"
fi

here=$(cd "$(dirname "$0")" && pwd)
connectivity=0
REALNM_CONNECTIVITY=off
if [ "${1:-}" = --connectivity ]; then
    connectivity=1
    REALNM_CONNECTIVITY=on
    shift
fi
export REALNM_CONNECTIVITY
[ $# -gt 0 ] || { echo "usage: realnm.sh [--connectivity] COMMAND [ARGS...]" >&2; exit 2; }

# The daemon keeps its run state under /run; this one must not see the machine's. Everything of
# this run lives there too, so it goes with the namespace however the run ends.
mount -t tmpfs tmpfs /run || skip "cannot mount a tmpfs on /run in the namespace"
REALNM_DIR=$(mktemp -d /run/realnm.XXXXXX)
export REALNM_DIR
# Users other than root reach the bus's socket in it.
chmod 711 "$REALNM_DIR"
pids=()

cleanup() {
    local pid
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    wait 2>/dev/null || true
    rm -rf "$REALNM_DIR"
}
trap cleanup EXIT

show_logs() {
    local log
    for log in "$REALNM_DIR"/*.log; do
        [ -s "$log" ] || continue
        echo "---- $(basename "$log")" >&2
        tail -n 200 "$log" >&2
    done
}

# Past the checks above the daemon can run here: a step that fails now is a broken launcher or
# daemon, which fails the tests instead of hiding them as skipped.
trap 'show_logs; echo "realnm: line $LINENO: \"$BASH_COMMAND\" failed" >&2; exit 1' ERR

# This namespace's own devices in /sys, read-only: with /sys not writable the daemon takes the
# devices as the kernel lists them instead of waiting for udev, which does not see this namespace.
mount -t sysfs -o ro sysfs /sys
mkdir -p /run/NetworkManager /run/dbus
ip link set lo up
ip link add name veth0 type veth peer name peer0
ip link add name veth1 type veth peer name veth1p
ip link set veth1 up
ip link set veth1p up

# The peer: a namespace with the other end of veth0 and a small HTTP server.
unshare --net sleep infinity </dev/null >/dev/null 2>&1 &
peer=$!
pids+=("$peer")
for _ in $(seq 100); do
    [ "$(readlink "/proc/$peer/ns/net")" != "$(readlink /proc/self/ns/net)" ] && break
    sleep 0.01
done
[ "$(readlink "/proc/$peer/ns/net")" != "$(readlink /proc/self/ns/net)" ]
ip link set peer0 netns "$peer"
nsenter --target "$peer" --net -- ip link set lo up
nsenter --target "$peer" --net -- ip addr add 10.20.0.1/24 dev peer0
nsenter --target "$peer" --net -- ip link set peer0 up

sed "s|@SOCKET@|$REALNM_DIR/system_bus_socket|" "$here/../private-system-bus.conf" >"$REALNM_DIR/bus.conf"

mkdir -p "$REALNM_DIR/connections"
if [ "$connectivity" = 1 ]; then
    check="enabled=true
uri=http://10.20.0.1/check
response=realnm-ok
interval=3600"
    echo full >"$REALNM_DIR/http-mode"
    export REALNM_HTTP_MODE="$REALNM_DIR/http-mode"
    nsenter --target "$peer" --net -- /usr/bin/python3 "$here/portal.py" 10.20.0.1 80 \
        "$REALNM_HTTP_MODE" 2>"$REALNM_DIR/http.log" &
    pids+=("$!")
    # veth0's connection, activated as the daemon starts: a static address and a default route
    # through the peer.
    cat >"$REALNM_DIR/connections/wired-veth0.nmconnection" <<CONF
[connection]
id=wired-veth0
uuid=5f0c6a43-93f1-4a62-9a8e-6c1d1e2f7a01
type=ethernet
interface-name=veth0

[ipv4]
method=manual
address1=10.20.0.2/24,10.20.0.1

[ipv6]
method=disabled
CONF
    chmod 600 "$REALNM_DIR/connections/wired-veth0.nmconnection"
    listening() { nsenter --target "$peer" --net -- ss -Hlnt "sport = :80" | grep -q .; }
    for _ in $(seq 300); do
        listening && break
        sleep 0.01
    done
    listening || { show_logs; echo "realnm: the HTTP server on the peer did not start" >&2; exit 1; }
else
    check="enabled=false"
fi
cat >"$REALNM_DIR/NetworkManager.conf" <<CONF
[main]
plugins=keyfile
auth-polkit=false
dhcp=internal
dns=none
rc-manager=unmanaged
no-auto-default=*

[keyfile]
path=$REALNM_DIR/connections

[connectivity]
$check

# The first section that matches a device decides: veth0 is managed, every other device is not
# (without udev the daemon would manage them all, loopback included).
[device-veth0]
match-device=interface-name:veth0
managed=1

[device-others]
match-device=*
managed=0
CONF

export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$REALNM_DIR/system_bus_socket"
dbus-daemon --config-file="$REALNM_DIR/bus.conf" --nofork --nopidfile >"$REALNM_DIR/dbus.log" 2>&1 &
pids+=("$!")
for _ in $(seq 200); do
    [ -S "$REALNM_DIR/system_bus_socket" ] && break
    sleep 0.01
done

NetworkManager --no-daemon --debug --config="$REALNM_DIR/NetworkManager.conf" \
    --state-file="$REALNM_DIR/NetworkManager.state" >"$REALNM_DIR/NetworkManager.log" 2>&1 &
nm=$!
pids+=("$nm")
# Ready once it answers on the bus and has finished starting (its devices are set up).
startup() {
    dbus-send --system --print-reply --reply-timeout=1000 --dest=org.freedesktop.NetworkManager \
        /org/freedesktop/NetworkManager org.freedesktop.DBus.Properties.Get \
        string:org.freedesktop.NetworkManager string:Startup 2>/dev/null | grep -o 'boolean [a-z]*'
}
# A busy machine (the sanitized suite) may take a while; a daemon that ends or never gets there
# fails the tests.
for _ in $(seq 1500); do
    [ "$(startup)" = "boolean false" ] && break
    kill -0 "$nm" 2>/dev/null || { show_logs; echo "realnm: NetworkManager ended while starting" >&2; exit 1; }
    sleep 0.02
done
[ "$(startup)" = "boolean false" ] || {
    show_logs
    echo "realnm: NetworkManager did not finish starting within 30 s" >&2
    exit 1
}

trap - ERR
status=0
"$@" || status=$?
[ "$status" = 0 ] || [ "$status" = "$skip" ] || show_logs
exit "$status"
