# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# VLANs and PPPoE: not in every kernel, played in the emulated machine.

# One tag, priorities 0 and 5.
make_vlan() {
	local n
	pair
	for n in a b; do
		in_ns "$n" ip link add link eth0 name eth0.100 type vlan id 100 \
			egress-qos-map 0:0 6:5
		in_ns "$n" ip link set eth0.100 up
	done
	addr a eth0.100 198.51.100.1/24
	addr b eth0.100 198.51.100.2/24
	capture vlan a eth0
	in_ns a ping -q -c 2 -i 0.3 198.51.100.2 >/dev/null
	# TOS 16 is the socket priority 6, hence the tag's priority 5.
	in_ns a ping -q -c 2 -i 0.3 -Q 16 198.51.100.2 >/dev/null
	captured
}

# Two and three tags, all of type 0x8100; then an outer tag of type 0x88a8.
make_qinq() {
	local n dev
	pair
	for n in a b; do
		in_ns "$n" ip link add link eth0 name s type vlan id 200 egress-qos-map 0:3
		in_ns "$n" ip link add link s name c type vlan id 30 egress-qos-map 0:1
		in_ns "$n" ip link add link c name dd type vlan id 4
		in_ns "$n" ip link add link eth0 name p type vlan proto 802.1ad id 1000
		in_ns "$n" ip link add link p name q type vlan id 5
		for dev in s c dd p q; do
			in_ns "$n" ip link set dev "$dev" up
		done
	done
	addr a c 198.51.100.1/24
	addr b c 198.51.100.2/24
	addr a dd 203.0.113.1/24
	addr b dd 203.0.113.2/24
	addr a q 10.1.0.1/24
	addr b q 10.1.0.2/24
	capture qinq a eth0
	in_ns a ping -q -c 2 -i 0.3 198.51.100.2 >/dev/null
	in_ns a ping -q -c 1 203.0.113.2 >/dev/null
	in_ns a ping -q -c 1 10.1.0.2 >/dev/null
	captured
}

# ppp_scene FILE SECRETS-FILE SERVER-OPTION - discovery, link control, one
# kind of authentication, IPv4 and IPv6 inside, the end of the session.
ppp_scene() {
	pair 6
	printf '%s\n' '"guest" * "open-sesame" *' >"/etc/ppp/$2"
	chmod 600 "/etc/ppp/$2"
	cat >"$TMP/server-options" <<-END
		$3
		noipdefault
		+ipv6
		ipv6 ::1,::2
		lcp-echo-interval 2
		lcp-echo-failure 3
		nodefaultroute
		noccp
		ms-dns 10.9.0.53
		nobsdcomp
		nodeflate
	END
	capture "$1" a eth0
	bg ip netns exec b pppoe-server -F -I eth0 -O "$TMP/server-options" \
		-C concentrator -S internet -L 10.9.0.1 -R 10.9.0.10 -N 4
	sleep 2
	bg ip netns exec a pppd nodetach noauth nodefaultroute user guest \
		+ipv6 noccp nobsdcomp nodeflate usepeerdns ipparam sample \
		lcp-echo-interval 2 mtu 1492 mru 1492 \
		pty 'pppoe -I eth0 -T 80 -U -S internet'
	wait_for 40 in_ns a ping -q -c 1 -W 1 10.9.0.1
	in_ns a ping -q -c 2 -i 0.3 10.9.0.1 >/dev/null
	in_ns a ping -q -c 2 -i 0.3 fe80::1%ppp0 >/dev/null
	sleep 2
	bg_signal TERM
	sleep 3
	captured ether proto 0x8863 or ether proto 0x8864
}

make_pppoe_pap() { ppp_scene pppoe-pap pap-secrets require-pap; }
make_pppoe_chap() { ppp_scene pppoe-chap chap-secrets require-chap; }
