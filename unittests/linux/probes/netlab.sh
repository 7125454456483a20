#!/usr/bin/env bash
# A small private network for the live probe tests, made inside a user, network and mount namespace
# of its own (no route to the outside at all), then the given command run in it:
#
#   client (this namespace)      router 1 (NAT)            router 2 (NAT)          servers
#   wlan0 10.10.1.2/24 ------- lan1 10.10.1.1  wan1 10.10.2.2 --- lan2 10.10.2.1  wan2 10.10.3.1 --- eth0 10.10.3.2/24
#                                                                                                 10.10.3.3 drops all
#   refusing client            lan3 10.10.4.1
#   wlan1 10.10.4.2/24 -------/
#
# Where the kernel has IPv6, the same links carry it too, routed without address translation (as
# behind an IPv6 router): the client wlan0 2001:db8:1::2/64 and fe80::2, router 1 lan1
# 2001:db8:1::1 and fe80::1 (the client's default route goes via fe80::1, as a router's
# advertisement would set it), router 1 wan1 2001:db8:2::2, router 2 lan2 2001:db8:2::1 and wan2
# 2001:db8:3::1, the servers eth0 2001:db8:3::2 (2001:db8:3::3 drops all); the refusing client
# wlan1 2001:db8:4::2 and fe80::2, router 1 lan3 2001:db8:4::1 and fe80::1. All these addresses are
# usable at once (no duplicate address detection), and so is a link-local address on every other
# interface: a router asks for its neighbours from one, and the ones the kernel makes itself are
# usable only once their detection has ended, a second or two later.
#
# The servers' namespace runs dnsmasq on 10.10.3.2:53 (probe.test is 10.10.3.2, every other name
# under .test does not exist) and the test HTTP server (httpserver.py) on 10.10.3.2:80; nothing
# listens on port 81, and everything sent to 10.10.3.3 is dropped silently. The client's
# /etc/resolv.conf is a bind mount of $PROBE_LAB_DIR/resolv.conf, which names 10.10.3.2, and ICMP
# datagram sockets are allowed ("0 0" in net.ipv4.ping_group_range). The refusing client keeps the
# kernel's default for a new namespace, which refuses them to every group (a thread enters it with
# setns() on $PROBE_LAB_REFUSING_NETNS; the range cannot be narrowed from here, since this user
# namespace maps no group but 0).
#
# Usage: netlab.sh COMMAND [ARGS...]. The command sees PROBE_LAB=1, PROBE_LAB_DIR,
# PROBE_LAB_REFUSING_NETNS, and PROBE_LAB_IPV6=1 when the network has IPv6 (else 0); the script exits with its exit status, or 97 when the network could not
# be made (the reason on stderr).
set -Eeuo pipefail
# The network tools live in the system folders, which a user's PATH may leave out.
export PATH="$PATH:/usr/sbin:/sbin"

if [ "${PROBE_LAB:-}" != 1 ]; then
    export PROBE_LAB=1
    # The script is the first process of a process namespace of its own, so every router, server
    # and the network itself end with it, whatever happens to it (--kill-child: also when the
    # outer unshare is killed).
    exec unshare --user --map-root-user --net --mount --pid --mount-proc --fork --kill-child -- "$0" "$@"
fi

here=$(cd "$(dirname "$0")" && pwd)
PROBE_LAB_DIR=$(mktemp -d /tmp/probe-lab.XXXXXX)
export PROBE_LAB_DIR
pids=()

cleanup() {
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    wait 2>/dev/null || true
    rm -rf "$PROBE_LAB_DIR"
}
trap cleanup EXIT

fail() {
    echo "netlab: $*" >&2
    exit 97
}
# Any step of the set-up that fails means this machine cannot make the network.
trap 'fail "line $LINENO: \"$BASH_COMMAND\" failed"' ERR

# A namespace of its own for a router or a server: a process that sleeps in it; the variable named
# by the argument is given its pid.
new_node() {  # variable
    unshare --net sleep infinity </dev/null >/dev/null 2>&1 &
    local pid=$! i
    pids+=("$pid")
    # Its namespace exists once the process has left ours.
    for i in $(seq 100); do
        if [ "$(readlink "/proc/$pid/ns/net")" != "$(readlink /proc/self/ns/net)" ]; then
            printf -v "$1" %s "$pid"
            return 0
        fi
        sleep 0.01
    done
    fail "cannot make a network namespace for $1"
}
in_node() {  # pid command...
    local pid=$1
    shift
    nsenter --target "$pid" --net -- "$@"
}
# Waits until something listens on the port (tcp or udp) in the node.
wait_listening() {  # pid proto port
    local i
    for i in $(seq 100); do
        if in_node "$1" ss -Hln --"$2" "sport = :$3" | grep -q .; then
            return 0
        fi
        sleep 0.02
    done
    cat "$PROBE_LAB_DIR"/*.log >&2 || true
    fail "nothing listens on $2 port $3"
}
nat_router() {  # pid outside-interface
    in_node "$1" sh -c 'echo 1 > /proc/sys/net/ipv4/ip_forward'
    in_node "$1" nft -f - <<EOF
table ip nat {
    chain postrouting {
        type nat hook postrouting priority srcnat;
        oifname "$2" masquerade
    }
}
EOF
}

for need in ip:iproute2 ss:iproute2 nft:nftables dnsmasq:dnsmasq-base nsenter:util-linux; do
    command -v "${need%%:*}" >/dev/null || fail "the program ${need%%:*} is missing (Debian package ${need#*:})"
done
[ -x /usr/bin/python3 ] || fail "/usr/bin/python3 is missing (Debian package python3)"

ip link set lo up || fail "cannot bring up lo"
echo "0 0" >/proc/sys/net/ipv4/ping_group_range || fail "cannot allow ICMP datagram sockets"

new_node router1
new_node router2
new_node servers
new_node refusing

# Client to router 1.
ip link add name wlan0 type veth peer name lan1 || fail "cannot make veth pairs"
ip link set lan1 netns "$router1"
ip addr add 10.10.1.2/24 dev wlan0
ip link set wlan0 up
ip route add default via 10.10.1.1

# Router 1 to router 2.
in_node "$router1" ip link add name wan1 type veth peer name lan2
in_node "$router1" ip link set lan2 netns "$router2"
in_node "$router1" ip link set lo up
in_node "$router1" ip addr add 10.10.1.1/24 dev lan1
in_node "$router1" ip addr add 10.10.2.2/24 dev wan1
in_node "$router1" ip link set lan1 up
in_node "$router1" ip link set wan1 up
in_node "$router1" ip route add default via 10.10.2.1
nat_router "$router1" wan1

# The refusing client to router 1.
in_node "$router1" ip link add name lan3 type veth peer name wlan1
in_node "$router1" ip link set wlan1 netns "$refusing"
in_node "$router1" ip addr add 10.10.4.1/24 dev lan3
in_node "$router1" ip link set lan3 up
in_node "$refusing" ip link set lo up
in_node "$refusing" ip addr add 10.10.4.2/24 dev wlan1
in_node "$refusing" ip link set wlan1 up
in_node "$refusing" ip route add default via 10.10.4.1
export PROBE_LAB_REFUSING_NETNS="/proc/$refusing/ns/net"

# Router 2 to the servers.
in_node "$router2" ip link add name wan2 type veth peer name eth0
in_node "$router2" ip link set eth0 netns "$servers"
in_node "$router2" ip link set lo up
in_node "$router2" ip addr add 10.10.2.1/24 dev lan2
in_node "$router2" ip addr add 10.10.3.1/24 dev wan2
in_node "$router2" ip link set lan2 up
in_node "$router2" ip link set wan2 up
nat_router "$router2" wan2

# The servers.
in_node "$servers" ip link set lo up
in_node "$servers" ip addr add 10.10.3.2/24 dev eth0
in_node "$servers" ip addr add 10.10.3.3/24 dev eth0
in_node "$servers" ip link set eth0 up
in_node "$servers" ip route add default via 10.10.3.1
in_node "$servers" nft -f - <<EOF
table inet blackhole {
    chain input {
        type filter hook input priority filter;
        ip daddr 10.10.3.3 drop
    }
}
EOF

# IPv6, where the kernel has it.
export PROBE_LAB_IPV6=0
if [ -d /proc/sys/net/ipv6 ]; then
    for node in self "$router1" "$router2" "$servers" "$refusing"; do
        at=()
        [ "$node" = self ] || at=(nsenter --target "$node" --net --)
        "${at[@]}" sh -c 'echo 0 > /proc/sys/net/ipv6/conf/all/disable_ipv6 &&
                          echo 0 > /proc/sys/net/ipv6/conf/default/disable_ipv6'
    done
    in_node "$router1" sh -c 'echo 1 > /proc/sys/net/ipv6/conf/all/forwarding'
    in_node "$router2" sh -c 'echo 1 > /proc/sys/net/ipv6/conf/all/forwarding'

    ip -6 addr add 2001:db8:1::2/64 dev wlan0 nodad
    ip -6 addr add fe80::2/64 dev wlan0 nodad
    ip -6 route add default via fe80::1 dev wlan0
    in_node "$router1" ip -6 addr add 2001:db8:1::1/64 dev lan1 nodad
    in_node "$router1" ip -6 addr add fe80::1/64 dev lan1 nodad
    in_node "$router1" ip -6 addr add 2001:db8:4::1/64 dev lan3 nodad
    in_node "$router1" ip -6 addr add fe80::1/64 dev lan3 nodad
    in_node "$router1" ip -6 addr add 2001:db8:2::2/64 dev wan1 nodad
    in_node "$router1" ip -6 addr add fe80::2:2/64 dev wan1 nodad
    in_node "$router1" ip -6 route add default via 2001:db8:2::1 dev wan1
    in_node "$refusing" ip -6 addr add 2001:db8:4::2/64 dev wlan1 nodad
    in_node "$refusing" ip -6 addr add fe80::2/64 dev wlan1 nodad
    in_node "$refusing" ip -6 route add default via fe80::1 dev wlan1
    in_node "$router2" ip -6 addr add 2001:db8:2::1/64 dev lan2 nodad
    in_node "$router2" ip -6 addr add 2001:db8:3::1/64 dev wan2 nodad
    in_node "$router2" ip -6 addr add fe80::2:1/64 dev lan2 nodad
    in_node "$router2" ip -6 addr add fe80::3:1/64 dev wan2 nodad
    in_node "$router2" ip -6 route add 2001:db8:1::/64 via 2001:db8:2::2 dev lan2
    in_node "$router2" ip -6 route add 2001:db8:4::/64 via 2001:db8:2::2 dev lan2
    in_node "$servers" ip -6 addr add 2001:db8:3::2/64 dev eth0 nodad
    in_node "$servers" ip -6 addr add 2001:db8:3::3/64 dev eth0 nodad
    in_node "$servers" ip -6 addr add fe80::3:2/64 dev eth0 nodad
    in_node "$servers" ip -6 route add default via 2001:db8:3::1 dev eth0
    in_node "$servers" nft add rule inet blackhole input ip6 daddr 2001:db8:3::3 drop
    PROBE_LAB_IPV6=1
fi

in_node "$servers" dnsmasq --keep-in-foreground --conf-file=/dev/null --no-hosts --no-resolv \
    --user= --group= --pid-file= --bind-interfaces --listen-address=10.10.3.2 --port=53 \
    --local=/test/ --address=/probe.test/10.10.3.2 --log-facility="$PROBE_LAB_DIR/dnsmasq.log" &
pids+=("$!")
in_node "$servers" /usr/bin/python3 "$here/httpserver.py" 10.10.3.2 80 2>"$PROBE_LAB_DIR/http.log" &
pids+=("$!")

echo "nameserver 10.10.3.2" >"$PROBE_LAB_DIR/resolv.conf"
mount --bind "$PROBE_LAB_DIR/resolv.conf" /etc/resolv.conf || fail "cannot bind-mount /etc/resolv.conf"

wait_listening "$servers" udp 53
wait_listening "$servers" tcp 80

trap - ERR
status=0
"$@" || status=$?
exit "$status"
