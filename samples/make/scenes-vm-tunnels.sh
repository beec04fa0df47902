# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# Tunnels, IPsec and extension headers of the kernel, played in the emulated machine.

# Plain, then with key, checksum and sequence number; IPv4 and IPv6 inside.
make_gre() {
	local n
	pair 6
	in_ns a ip tunnel add plain mode gre remote 192.0.2.2 local 192.0.2.1
	in_ns b ip tunnel add plain mode gre remote 192.0.2.1 local 192.0.2.2
	in_ns a ip tunnel add full mode gre remote 192.0.2.2 local 192.0.2.1 \
		key 0x1020304 csum seq
	in_ns b ip tunnel add full mode gre remote 192.0.2.1 local 192.0.2.2 \
		key 0x1020304 csum seq
	for n in a b; do
		in_ns "$n" ip link set plain up
		in_ns "$n" ip link set full up
	done
	addr a plain 198.51.100.1/24
	addr b plain 198.51.100.2/24
	addr a full 203.0.113.1/24 2001:db8:1::1/64
	addr b full 203.0.113.2/24 2001:db8:1::2/64
	sleep 2
	capture gre a eth0
	in_ns a ping -q -c 2 -i 0.3 198.51.100.2 >/dev/null
	in_ns a ping -q -c 1 203.0.113.2 >/dev/null
	in_ns a ping -q -c 1 2001:db8:1::2 >/dev/null
	captured proto gre
}

# Ethernet inside, over IPv4 and over IPv6.
make_gretap() {
	local n
	pair 6
	in_ns a ip link add tap4 address 02:00:5e:20:00:01 type gretap \
		remote 192.0.2.2 local 192.0.2.1
	in_ns b ip link add tap4 address 02:00:5e:20:00:02 type gretap \
		remote 192.0.2.1 local 192.0.2.2
	in_ns a ip link add tap6 address 02:00:5e:20:06:01 type ip6gretap \
		remote 2001:db8::2 local 2001:db8::1 key 7
	in_ns b ip link add tap6 address 02:00:5e:20:06:02 type ip6gretap \
		remote 2001:db8::1 local 2001:db8::2 key 7
	for n in a b; do
		in_ns "$n" sysctl -qw net.ipv6.conf.tap4.disable_ipv6=1 \
			net.ipv6.conf.tap6.disable_ipv6=1
		in_ns "$n" ip link set tap4 up
		in_ns "$n" ip link set tap6 up
	done
	addr a tap4 198.51.100.1/24
	addr b tap4 198.51.100.2/24
	addr a tap6 203.0.113.1/24
	addr b tap6 203.0.113.2/24
	capture gretap a eth0
	in_ns a ping -q -c 2 -i 0.3 198.51.100.2 >/dev/null
	in_ns a ping -q -c 2 -i 0.3 203.0.113.2 >/dev/null
	captured 'proto gre or (ip6 and not icmp6)'
}

# IPv4 in IPv4, IPv6 in IPv4, IPv4 in IPv6, IPv6 in IPv6.
make_ipip() {
	local n t
	pair 6
	in_ns a ip tunnel add t44 mode ipip remote 192.0.2.2 local 192.0.2.1
	in_ns b ip tunnel add t44 mode ipip remote 192.0.2.1 local 192.0.2.2
	in_ns a ip tunnel add t64 mode sit remote 192.0.2.2 local 192.0.2.1
	in_ns b ip tunnel add t64 mode sit remote 192.0.2.1 local 192.0.2.2
	in_ns a ip -6 tunnel add t6 mode any remote 2001:db8::2 local 2001:db8::1
	in_ns b ip -6 tunnel add t6 mode any remote 2001:db8::1 local 2001:db8::2
	for n in a b; do
		for t in t44 t64 t6; do
			in_ns "$n" ip link set "$t" up
		done
	done
	addr a t44 198.51.100.1/24
	addr b t44 198.51.100.2/24
	addr a t64 2001:db8:4::1/64
	addr b t64 2001:db8:4::2/64
	addr a t6 203.0.113.1/24 2001:db8:6::1/64
	addr b t6 203.0.113.2/24 2001:db8:6::2/64
	sleep 2
	capture ipip a eth0
	in_ns a ping -q -c 1 198.51.100.2 >/dev/null
	in_ns a ping -q -c 1 2001:db8:4::2 >/dev/null
	in_ns a ping -q -c 1 203.0.113.2 >/dev/null
	in_ns a ping -q -c 1 2001:db8:6::2 >/dev/null
	captured 'ip proto 4 or ip proto 41 or ip6 proto 4 or ip6 proto 41 or ip6 proto 60'
}

# sa SRC DST SPI MODE PROTO WORDS... - one direction, known to both sides.
sa() {
	local src=$1 dst=$2 spi=$3 mode=$4 proto=$5 n
	shift 5
	for n in a b; do
		in_ns "$n" ip xfrm state add src "$src" dst "$dst" proto "$proto" spi "$spi" \
			mode "$mode" reqid "$((spi))" "$@"
	done
}

# policies PROTO MODE A B SEL-A SEL-B SPI-AB SPI-BA
policies() {
	local n d1 d2
	for n in a b; do
		d1=out d2=in
		[ "$n" = a ] || d1=in d2=out
		in_ns "$n" ip xfrm policy add src "$5" dst "$6" dir "$d1" tmpl \
			src "$3" dst "$4" proto "$1" mode "$2" reqid "$(($7))"
		in_ns "$n" ip xfrm policy add src "$6" dst "$5" dir "$d2" tmpl \
			src "$4" dst "$3" proto "$1" mode "$2" reqid "$(($8))"
	done
}

key_enc=0x000102030405060708090a0b0c0d0e0f
key_auth=0x101112131415161718191a1b1c1d1e1f2021222324252627

# Encrypted, transport mode over IPv4 and tunnel mode over IPv6.
make_esp() {
	pair 6
	sa 192.0.2.1 192.0.2.2 0x1001 transport esp \
		enc 'cbc(aes)' $key_enc auth-trunc 'hmac(sha1)' $key_auth 96
	sa 192.0.2.2 192.0.2.1 0x1002 transport esp \
		enc 'cbc(aes)' $key_enc auth-trunc 'hmac(sha1)' $key_auth 96
	policies esp transport 192.0.2.1 192.0.2.2 192.0.2.1/32 192.0.2.2/32 0x1001 0x1002
	addr a lo 2001:db8:a::1/128
	addr b lo 2001:db8:b::1/128
	in_ns a ip route add 2001:db8:b::1 via 2001:db8::2 src 2001:db8:a::1
	in_ns b ip route add 2001:db8:a::1 via 2001:db8::1 src 2001:db8:b::1
	sa 2001:db8::1 2001:db8::2 0x6001 tunnel esp \
		enc 'cbc(aes)' $key_enc auth-trunc 'hmac(sha1)' $key_auth 96
	sa 2001:db8::2 2001:db8::1 0x6002 tunnel esp \
		enc 'cbc(aes)' $key_enc auth-trunc 'hmac(sha1)' $key_auth 96
	policies esp tunnel 2001:db8::1 2001:db8::2 2001:db8:a::1/128 2001:db8:b::1/128 \
		0x6001 0x6002
	capture esp a eth0
	in_ns a ping -q -c 2 -i 0.3 192.0.2.2 >/dev/null
	in_ns a ping -q -c 2 -i 0.3 2001:db8:b::1 >/dev/null
	captured esp
}

# Authenticated only: TCP, UDP and echo stay readable; IPv4 and IPv6.
make_ah() {
	pair 6
	sa 192.0.2.1 192.0.2.2 0x2001 transport ah \
		auth-trunc 'hmac(sha1)' $key_auth 96
	sa 192.0.2.2 192.0.2.1 0x2002 transport ah \
		auth-trunc 'hmac(sha1)' $key_auth 96
	policies ah transport 192.0.2.1 192.0.2.2 192.0.2.1/32 192.0.2.2/32 0x2001 0x2002
	sa 2001:db8::1 2001:db8::2 0x6001 transport ah \
		auth-trunc 'hmac(sha1)' $key_auth 96
	sa 2001:db8::2 2001:db8::1 0x6002 transport ah \
		auth-trunc 'hmac(sha1)' $key_auth 96
	policies ah transport 2001:db8::1 2001:db8::2 2001:db8::1/128 2001:db8::2/128 \
		0x6001 0x6002
	# Neighbours are asked for before the policy can protect the question.
	in_ns a ip neigh replace 2001:db8::2 lladdr 02:00:5e:10:01:02 dev eth0
	in_ns b ip neigh replace 2001:db8::1 lladdr 02:00:5e:10:01:01 dev eth0
	capture ah a eth0
	in_ns a ping -q -c 1 192.0.2.2 >/dev/null
	in_ns a ping -q -c 1 2001:db8::2 >/dev/null
	in_ns a socat -u SYSTEM:'echo hello' UDP4:192.0.2.2:9 || true
	in_ns a socat -u SYSTEM:'echo hello' "TCP6:[2001:db8::2]:9" || true
	captured ah
}

# ESP in UDP, both ends' port 4500, tunnel mode; keep-alives, and one message
# of the key exchange behind its four zero bytes.
make_nat_t() {
	local n
	pair
	in_ns a ip link add inner type veth peer name inner2
	in_ns b ip link add inner type veth peer name inner2
	for n in a b; do
		in_ns "$n" ip link set inner up
		in_ns "$n" ip link set inner2 up
	done
	addr a inner 10.20.0.1/24
	addr b inner 10.20.1.1/24
	in_ns a ip route add 10.20.1.0/24 via 192.0.2.2 src 10.20.0.1
	in_ns b ip route add 10.20.0.0/24 via 192.0.2.1 src 10.20.1.1
	sa 192.0.2.1 192.0.2.2 0xc0de0001 tunnel esp \
		encap espinudp 4500 4500 0.0.0.0 \
		enc 'cbc(aes)' $key_enc auth-trunc 'hmac(sha1)' $key_auth 96
	sa 192.0.2.2 192.0.2.1 0xc0de0002 tunnel esp \
		encap espinudp 4500 4500 0.0.0.0 \
		enc 'cbc(aes)' $key_enc auth-trunc 'hmac(sha1)' $key_auth 96
	policies esp tunnel 192.0.2.1 192.0.2.2 10.20.0.0/24 10.20.1.0/24 \
		0xc0de0001 0xc0de0002
	capture nat-t a eth0
	bg ip netns exec a python3 "$HERE/nat-t.py" 192.0.2.1 192.0.2.2
	bg ip netns exec b python3 "$HERE/nat-t.py" 192.0.2.2
	sleep 3
	in_ns a ping -q -c 3 -i 0.3 10.20.1.1 >/dev/null
	# What was unwrapped shows up on the interface a second time.
	captured arp or udp port 4500
}

# Headers that programs ask of the kernel, alone and together.
make_ipv6_ext() {
	pair 6
	in_ns b sysctl -qw net.ipv6.conf.all.seg6_enabled=1 net.ipv6.conf.eth0.seg6_enabled=1
	addr b lo 2001:db8:b::1/128
	in_ns a ip -6 route add 2001:db8:b::1/128 encap seg6 mode inline \
		segs 2001:db8::2 dev eth0
	sleep 2
	in_ns a ping -q -c 1 2001:db8::2 >/dev/null
	capture ipv6-ext a eth0
	in_ns a ping -q -c 1 -W 1 2001:db8:b::1 >/dev/null || true
	in_ns a python3 "$HERE/ext6.py" 2001:db8::2
	captured 'ip6 and not (icmp6 and ip6[40] > 132)'
}
