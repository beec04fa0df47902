# SPDX-License-Identifier: GPL-2.0-only
# shellcheck shell=dash
# The network of the tests. The forwarder is the initial namespace; the others are held by a sleeping process each.
#
#        left                      forwarder                      right
#   +--------------+      +----------------------------+      +------------+
#   | l0  10.1.0.2 |------| west 10.1.0.1              |      |            |
#   |     fd01::2  |      |      fd01::1               |      |            |
#   | l0.7         |......| west.7        east 10.2.0.1|------| r0 10.2.0.2|
#   |     10.7.0.2 |      |      10.7.0.1      fd02::1 |      |    fd02::2 |
#   +--------------+      |                            |      +------------+
#                         | br0 (the CLI's, no ports)  |
#                         |                            |         collector
#                         |               coll 10.9.0.1|------| c0 10.9.0.2|
#                         +----------------------------+      +------------+
#
# debug_pkt_datapath watches west and east.

routes="-r 10.1.0.0/16=west -r fd01::/64=west -r 10.7.0.0/16=west.7 -r 10.2.0.0/16=east -r fd02::/64=east"

in_left() { nsenter -t "$left" -n "$@"; }
in_right() { nsenter -t "$right" -n "$@"; }
in_collector() { nsenter -t "$collector" -n "$@"; }

has_own_namespace() {
	[ "$(readlink "/proc/$1/ns/net")" != "$(readlink /proc/self/ns/net)" ]
}

hold_namespace() {
	unshare -n sleep 100000 >/dev/null 2>&1 &
	holder=$!
	# The process must have its own namespace before anything is put there.
	wait_until "no namespace" has_own_namespace $holder
}

quiet() {
	# No messages of the stack's own: what is on the wires is what the tests put there.
	for each in all default; do
		"$@" sh -c "echo 0 >/proc/sys/net/ipv6/conf/$each/accept_dad; echo 0 >/proc/sys/net/ipv6/conf/$each/router_solicitations;
			echo 0 >/proc/sys/net/ipv6/conf/$each/accept_ra"
	done
}

network_up() {
	hold_namespace && left=$holder
	hold_namespace && right=$holder
	hold_namespace && collector=$holder
	# A burst of fragments must find room: what the stack itself loses would look like the module's loss.
	echo 100000 >/proc/sys/net/core/netdev_max_backlog
	in_collector sh -c 'echo 100000000 >/proc/sys/net/ipv4/ipfrag_high_thresh'
	quiet sh -c 'exec "$@"' sh
	quiet in_left
	quiet in_right
	quiet in_collector
	probe veth west l0 "$left" && probe veth east r0 "$right" && probe veth coll c0 "$collector" || fail "no devices"
	brctl addbr br0
	vconfig add west 7 >/dev/null
	in_left vconfig add l0 7 >/dev/null
	ip address add 10.1.0.1/16 dev west
	ip address add fd01::1/64 dev west
	ip address add 10.7.0.1/16 dev west.7
	ip address add 10.2.0.1/16 dev east
	ip address add fd02::1/64 dev east
	ip address add 10.9.0.1/16 dev coll
	in_left ip address add 10.1.0.2/16 dev l0
	in_left ip address add fd01::2/64 dev l0
	in_left ip address add 10.7.0.2/16 dev l0.7
	in_right ip address add 10.2.0.2/16 dev r0
	in_right ip address add fd02::2/64 dev r0
	in_collector ip address add 10.9.0.2/16 dev c0
	for each in lo br0 west west.7 east coll; do ip link set $each up; done
	for each in lo l0 l0.7; do in_left ip link set $each up; done
	for each in lo r0; do in_right ip link set $each up; done
	for each in lo c0; do in_collector ip link set $each up; done
	in_left ip route add default via 10.1.0.1
	in_left ip -6 route add default via fd01::1
	in_right ip route add default via 10.2.0.1
	in_right ip -6 route add default via fd02::1
	echo 1 >/proc/sys/net/ipv4/ip_forward
	echo 1 >/proc/sys/net/ipv6/conf/all/forwarding
	# Neighbours are known and the links have settled before anything is watched.
	wait_until "the forwarder does not forward" in_left ping -c 1 -W 1 10.2.0.2 >/dev/null
	wait_until "the forwarder does not forward IPv6" in_left ping6 -c 1 -W 1 fd02::2 >/dev/null
	wait_until "no way to the collector" in_collector ping -c 1 -W 1 10.9.0.1 >/dev/null
	sleep 1
	echo "left=$left right=$right collector=$collector" >/tmp/namespaces
}

# All that network_up made is gone afterwards, but for br0: each message that was delivered keeps a reference to it.
network_down() {
	ip link delete west
	ip link delete east
	ip link delete coll
	kill "$left" "$right" "$collector"
	equal "devices left" "" "$(ls /sys/class/net | grep -E '^(west|east|coll|l0|r0|c0)')"
}

capture_up() {
	load
	insmod /modules/debug_pkt_datapath.ko devices=west,east "$@" || fail "debug_pkt_datapath does not load"
}

capture_down() {
	rmmod debug_pkt_datapath || fail "debug_pkt_datapath does not unload"
	unload
}

# An empty buffer on every CPU.
reset_buffers() {
	for cpu in $(seq 0 $(($(nproc) - 1))); do
		taskset -c "$cpu" sh -c "echo 1 >$set_buff"
	done
}

flush() {
	echo 1 >/sys/module/debug_pkt_datapath/parameters/flush
}

# wait_for_listener PORT: until somebody on the right listens there.
wait_for_listener() {
	wait_until "nobody listens on port $1" is_listening "$1"
}

is_listening() {
	in_right cat /proc/net/tcp /proc/net/tcp6 | grep -q ":$(printf %04X "$1") .* 0A "
}

# begin_probe COMMAND…: a probe that looks on, its answer to come with end_probe.
begin_probe() {
	rm -f /tmp/probe
	probe "$@" >/tmp/probe 2>&1 &
	watcher=$!
	wait_until "the probe does not start" grep -qs ready /tmp/probe
}

# The probe waits for what is under way; its answer's last line stays in $answer.
end_probe() {
	kill -TERM "$watcher"
	if ! wait "$watcher"; then
		cat /tmp/probe >&3
		fail "the probe does not agree"
	fi
	answer=$(tail -n 1 /tmp/probe)
	say "  $answer"
}

# value NAME: one number of the answer.
value() {
	echo " $answer" | sed -n "s/.* $1=\([0-9]*\).*/\1/p"
}

# The network stands from the first test that needs it to the last.
if [ -e /tmp/namespaces ]; then
	. /tmp/namespaces
else
	network_up
fi
