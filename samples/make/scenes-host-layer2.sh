# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# Below IP: ARP, bridges, discovery protocols over LLC and SNAP.

# Request and reply; announcements in both forms; a probe for a free address.
make_arp() {
	pair
	capture arp a eth0
	in_ns a arping -q -c 2 -I eth0 192.0.2.2
	in_ns a arping -q -U -c 1 -w 1 -I eth0 192.0.2.1 || true
	in_ns b arping -q -A -c 1 -w 1 -I eth0 192.0.2.2 || true
	in_ns a arping -q -D -c 1 -w 1 -I eth0 192.0.2.77 || true
	in_ns a arping -q -D -c 1 -w 1 -I eth0 192.0.2.2 || true
	captured arp
}

# Echo with two sizes, behind the ARP exchange it starts with.
make_ping() {
	pair
	capture ping a eth0
	in_ns a ping -q -c 3 -i 0.3 192.0.2.2 >/dev/null
	in_ns b ping -q -c 1 -s 0 192.0.2.1 >/dev/null
	in_ns b ping -q -c 1 -s 1000 -p a5 -Q 0xb8 -t 7 192.0.2.1 >/dev/null
	captured
}

# Two bridges, two cables: an election; then the cable in use is cut, and the
# lower bridge tells of the change through the other one.
make_stp() {
	local n
	new_ns a
	new_ns b
	join a eth0 b eth0
	join a eth1 b eth1
	new_ns c
	join b eth2 c eth0 # a bridge reports changes when others are below it
	capture stp b eth1
	for n in a b; do
		in_ns "$n" ip link add br0 type bridge stp_state 1 \
			hello_time 100 forward_delay 200 max_age 600
		in_ns "$n" ip link set eth0 master br0
		in_ns "$n" ip link set eth1 master br0
	done
	in_ns b ip link set eth2 master br0
	in_ns a ip link set br0 type bridge priority 4096
	in_ns a ip link set br0 up
	in_ns b ip link set br0 up
	sleep 5.5
	in_ns a ip link set eth0 down
	sleep 6
	captured stp
}

# One agent, every discovery protocol that it speaks: LLDP has a type of its
# own, the others are 802.3 frames with LLC and SNAP headers.
make_snap() {
	new_ns a
	new_ns b
	join a eth0 b eth0
	addr a eth0 192.0.2.1/24
	mkdir -p /run/lldpd
	capture snap b eth0
	bg ip netns exec a lldpd -d -l -ccc -ee -ff -ss -I eth0 -m 192.0.2.1 \
		-S 'sample host' -P sample
	wait_for 5 lldpcli show chassis
	sleep 1
	lldpcli configure lldp tx-interval 1 >/dev/null
	sleep 1.2
	captured
}
