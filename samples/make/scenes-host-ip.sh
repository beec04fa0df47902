# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# IPv4 and IPv6 themselves: neighbours, groups, fragments, errors.

# lan NAMES... - a switch in a namespace of its own, everyone on eth0.
lan() {
	local n
	new_ns lan
	in_ns lan ip link add br0 type bridge mcast_snooping 0
	in_ns lan ip link set br0 up
	for n; do
		join "$n" eth0 lan "to-$n"
		in_ns lan ip link set "to-$n" master br0
	done
}

forwarding() {
	in_ns "$1" sysctl -qw net.ipv4.ip_forward=1 net.ipv4.icmp_ratelimit=0 \
		net.ipv6.conf.all.forwarding=1 net.ipv6.icmp.ratelimit=0
}

# chain [6] - a, two routers r and s, b.
chain() {
	local n
	for n in a r s b; do new_ns "$n" 6; done
	join a eth0 r eth0
	join r eth1 s eth0
	join s eth1 b eth0
	addr a eth0 192.0.2.1/24 2001:db8:1::1/64
	addr r eth0 192.0.2.254/24 2001:db8:1::fe/64
	addr r eth1 198.51.100.1/24 2001:db8:2::1/64
	addr s eth0 198.51.100.2/24 2001:db8:2::2/64
	addr s eth1 203.0.113.254/24 2001:db8:3::fe/64
	addr b eth0 203.0.113.1/24 2001:db8:3::1/64
	forwarding r
	forwarding s
	in_ns b sysctl -qw net.ipv4.icmp_ratelimit=0 net.ipv6.icmp.ratelimit=0
	in_ns a ip route add default via 192.0.2.254
	in_ns a ip -6 route add default via 2001:db8:1::fe
	in_ns r ip route add 203.0.113.0/24 via 198.51.100.2
	in_ns r ip -6 route add 2001:db8:3::/64 via 2001:db8:2::2
	in_ns s ip route add 192.0.2.0/24 via 198.51.100.1
	in_ns s ip -6 route add 2001:db8:1::/64 via 2001:db8:2::1
	in_ns b ip route add default via 203.0.113.254
	in_ns b ip -6 route add default via 2001:db8:3::fe
	sleep 2
	in_ns a ping -q -c 1 -W 2 203.0.113.1 >/dev/null
	in_ns a ping -q -c 1 -W 2 2001:db8:3::1 >/dev/null
}

make_ping6() {
	pair 6
	sleep 2
	capture ping6 a eth0
	in_ns a ping -q -c 2 -i 0.3 2001:db8::2 >/dev/null
	in_ns a ping -q -c 1 -F 0xabcde -Q 0xb8 -s 200 2001:db8::2 >/dev/null
	in_ns a ping -q -c 1 -W 1 ff02::1%eth0 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 -N name 2001:db8::2 >/dev/null || true
	captured icmp6
}

# Detection of a duplicate address, announcements, solicitation, redirect-free.
make_ndp() {
	local n
	new_ns a 6
	new_ns b 6
	join a eth0 b eth0
	addr b eth0 2001:db8::2/64
	for n in a b; do
		in_ns "$n" sysctl -qw net.ipv6.conf.eth0.accept_dad=1 \
			net.ipv6.conf.eth0.ndisc_notify=1
	done
	sleep 2
	capture ndp a eth0
	in_ns a ip addr add 2001:db8::1/64 dev eth0
	sleep 2
	in_ns a ip addr add 2001:db8::2/64 dev eth0 # taken by b
	sleep 2
	in_ns a ip addr del 2001:db8::2/64 dev eth0
	in_ns a ndisc6 -1 -q -r 1 2001:db8::2 eth0 >/dev/null || true
	in_ns a ndisc6 -1 -q -r 1 -w 500 2001:db8::77 eth0 >/dev/null || true
	in_ns b ip link set eth0 address 02:00:5e:10:01:22 # announced
	sleep 1
	in_ns a ping -q -c 1 2001:db8::2 >/dev/null || true
	captured 'icmp6 and not ip6[48] = 143'
}

# group_scene FILE QUERIER-OPTION SETTING@GROUP... - queries of a bridge on one
# side, joins and leaves of a program on the other.
group_scene() {
	local file=$1 querier=$2 value
	shift 2
	new_ns a 6
	new_ns b 6
	join a eth0 b eth0
	addr a eth0 192.0.2.1/24
	sleep 1
	capture "$file" a eth0
	# shellcheck disable=SC2086 # words on purpose
	in_ns b ip link add br0 address 02:00:5e:10:00:99 type bridge \
		mcast_snooping 1 mcast_querier 1 mcast_query_use_ifaddr 1 \
		mcast_query_interval 500 mcast_startup_query_interval 300 \
		mcast_query_response_interval 100 mcast_last_member_interval 50 $querier
	in_ns b ip link set eth0 master br0
	addr b br0 192.0.2.2/24
	in_ns b ip link set br0 up
	sleep 2
	for value in "$@"; do
		in_ns a sysctl -qw "${value%@*}"
		in_ns a python3 "$HERE/join.py" "${value#*@}"
		sleep 0.7
	done
}

make_igmp() {
	local v=net.ipv4.conf.all.force_igmp_version
	group_scene igmp 'mcast_igmp_version 3' $v=1@239.1.1.1 $v=2@239.1.1.2 \
		$v=3@239.1.1.3 $v=3@232.1.1.4,192.0.2.77 "$v=3@239.1.1.5,!192.0.2.78"
	in_ns b ip link set br0 type bridge mcast_igmp_version 2
	sleep 5
	# The bridge's own membership is not part of the scene.
	captured 'igmp and not (src 192.0.2.2 and dst 224.0.0.22)'
}

make_mld() {
	local v=net.ipv6.conf.eth0.force_mld_version
	group_scene mld 'mcast_mld_version 2' $v=1@ff05::1:1 $v=2@ff05::1:2 \
		$v=2@ff35::1:4,2001:db8::77 "$v=2@ff05::1:5,!2001:db8::78"
	in_ns b ip link set br0 type bridge mcast_mld_version 1
	sleep 5
	captured 'ip6[6] = 0 and not (ether src 02:00:5e:10:00:99 and dst ff02::16)'
}

# Large echoes in fragments, don't-fragment clear and a datagram of UDP.
make_fragments() {
	pair 6
	capture fragments a eth0
	in_ns a ping -q -c 1 -s 4000 -M dont 192.0.2.2 >/dev/null
	in_ns a sh -c 'head -c 3000 /dev/zero | socat -u -b 3000 - UDP4:192.0.2.2:9'
	in_ns a ping -q -c 1 -s 4000 2001:db8::2 >/dev/null
	in_ns a sh -c 'head -c 3000 /dev/zero | socat -u -b 3000 - UDP6:[2001:db8::2]:9' || true
	captured 'not arp and (ip or ip6[6] = 44 or icmp6[0] = 1)'
}

# Routers tell of hops exhausted, the end of a port without a program.
make_traceroute() {
	chain
	capture traceroute a eth0
	in_ns a traceroute -n -q 1 -N 1 203.0.113.1 >/dev/null
	in_ns a traceroute -n -q 1 -N 1 -I 203.0.113.1 >/dev/null
	in_ns a traceroute -n -q 1 -N 1 -T -p 81 203.0.113.1 >/dev/null
	captured 'not arp and not icmp6'
	capture traceroute6 a eth0
	in_ns a traceroute -6 -n -q 1 -N 1 2001:db8:3::1 >/dev/null
	in_ns a traceroute -6 -n -q 1 -N 1 -I 2001:db8:3::1 >/dev/null
	captured 'not arp and not (icmp6 and ip6[40] > 132)'
}

# Unreachable in its kinds, too big, protocol unknown, timestamps.
make_icmp_errors() {
	chain
	in_ns s ip link set eth1 mtu 1300
	in_ns r ip route add unreachable 203.0.113.64/32
	in_ns r ip route add prohibit 203.0.113.65/32
	capture icmp-errors a eth0
	in_ns a ping -q -c 1 -W 1 203.0.113.64 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 203.0.113.65 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 10.99.0.1 >/dev/null || true
	in_ns a ping -q -c 1 -W 4 203.0.113.99 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 -M "do" -s 1400 203.0.113.1 >/dev/null || true
	in_ns a sh -c 'echo x | socat -u - UDP4:203.0.113.1:9' || true
	in_ns a python3 "$HERE/raw.py" 4 203.0.113.1 253 "$(printf 'data' | od -An -tx1)"
	in_ns a python3 "$HERE/raw.py" 4 203.0.113.1 1 0d000000 12340001 00000a0b 00000000 00000000
	captured icmp or proto 253 or udp
}

make_icmp6_errors() {
	chain
	in_ns s ip link set eth1 mtu 1300
	in_ns r ip -6 route add unreachable 2001:db8:3::64/128
	in_ns r ip -6 route add prohibit 2001:db8:3::65/128
	capture icmp6-errors a eth0
	in_ns a ping -q -c 1 -W 1 2001:db8:3::64 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 2001:db8:3::65 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 2001:db8:ffff::1 >/dev/null || true
	in_ns a ping -q -c 1 -W 4 2001:db8:3::99 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 -M "do" -s 1400 2001:db8:3::1 >/dev/null || true
	in_ns a ping -q -c 1 -W 1 -t 1 2001:db8:3::1 >/dev/null || true
	in_ns a sh -c 'echo x | socat -u - UDP6:[2001:db8:3::1]:9' || true
	in_ns a python3 "$HERE/raw.py" 6 2001:db8:3::1 253 "$(printf 'data' | od -An -tx1)"
	captured 'ip6 and not (icmp6 and ip6[40] > 132)'
}

# The nearer router sends its neighbour to the other one, IPv4 and IPv6.
make_redirect() {
	local n
	for n in a r s; do new_ns "$n" 6; done
	lan a r s
	addr a eth0 192.0.2.1/24 2001:db8:1::1/64
	addr r eth0 192.0.2.253/24 2001:db8:1::fd/64
	addr s eth0 192.0.2.254/24 2001:db8:1::fe/64
	addr s lo 203.0.113.1/32 2001:db8:3::1/128
	forwarding r
	in_ns a ip route add 203.0.113.0/24 via 192.0.2.253
	in_ns r ip route add 203.0.113.0/24 via 192.0.2.254
	sleep 2
	in_ns a ip -6 route add 2001:db8:3::/64 via fe80::5eff:fe10:201 dev eth0
	in_ns r ip -6 route add 2001:db8:3::/64 via fe80::5eff:fe10:301 dev eth0
	capture redirect a eth0
	in_ns a ping -q -c 2 -i 0.3 203.0.113.1 >/dev/null
	in_ns a ping -q -c 2 -i 0.3 2001:db8:3::1 >/dev/null
	captured 'icmp or (icmp6 and (ip6[40] < 130 or ip6[40] = 137))'
}

vxlan_scene() {
	local file=$1
	shift
	pair
	in_ns a ip link add vx address 02:00:5e:30:00:01 type vxlan id 4711 dstport 4789 \
		local 192.0.2.1 remote 192.0.2.2 "$@"
	in_ns b ip link add vx address 02:00:5e:30:00:02 type vxlan id 4711 dstport 4789 \
		local 192.0.2.2 remote 192.0.2.1 "$@"
	in_ns a ip link set vx up
	in_ns b ip link set vx up
	addr a vx 198.51.100.1/24
	addr b vx 198.51.100.2/24
	capture "$file" a eth0
	in_ns a ping -q -c 2 -i 0.3 198.51.100.2 >/dev/null
}

make_vxlan() {
	vxlan_scene vxlan
	captured udp
}

# The group of the policy comes from the mark of the socket.
make_vxlan_gbp() {
	vxlan_scene vxlan-gbp gbp
	in_ns a ping -q -c 2 -i 0.3 -m 1234 198.51.100.2 >/dev/null
	captured udp
}
