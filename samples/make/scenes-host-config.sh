# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# Name service and address configuration.

# dnsmasq_in NS WORDS... - the server, without the machine's own settings.
dnsmasq_in() {
	local ns=$1
	shift
	bg ip netns exec "$ns" dnsmasq --keep-in-foreground --conf-file=/dev/null \
		--user=root --pid-file= --no-resolv --no-hosts --log-facility=- \
		--dhcp-leasefile="$TMP/leases-$ns" "$@"
	sleep 1
}

dhcp_options=(
	'--dhcp-option=option:router,192.0.2.254'
	'--dhcp-option=option:dns-server,192.0.2.53,192.0.2.54'
	'--dhcp-option=option:ntp-server,192.0.2.123'
	'--dhcp-option=option:domain-search,example.test,corp.test'
	'--dhcp-option=option:classless-static-route,10.0.0.0/8,192.0.2.253'
	'--dhcp-option=option:mtu,1400'
	'--dhcp-option=option:log-server,192.0.2.5'
	'--dhcp-option=vendor:,1,10.1.2.3'
	'--dhcp-boot=boot.img,tftp.example.test,192.0.2.69'
	'--domain=example.test'
)

# A lease from end to end, a refusal, and an INFORM.
make_dhcp() {
	new_ns a
	new_ns b
	join a eth0 b eth0
	addr b eth0 192.0.2.2/24
	capture dhcp a eth0
	dnsmasq_in b --port=0 --dhcp-range=192.0.2.100,192.0.2.120,10m --no-ping \
		--dhcp-authoritative "${dhcp_options[@]}"
	bg ip netns exec a udhcpc -f -i eth0 -x hostname:printer -O search -O staticroutes \
		-O mtu -V sample-client -F printer.example.test -s "$HERE/dhcp-script"
	wait_for 10 in_ns a ip -4 route get 192.0.2.2
	sleep 1
	bg_signal USR1 # renew
	sleep 1
	bg_signal USR2 # release
	sleep 1
	addr a eth0 192.0.2.9/24
	in_ns a dhcping -q -i -c 192.0.2.9 -s 192.0.2.2 -h 02:00:5e:10:01:01 || true
	in_ns a dhcping -q -r -c 10.9.9.9 -s 192.0.2.2 -h 02:00:5e:10:01:01 || true
	captured port 67 or port 68
}

# Seen on the server's side of a relay that adds its option.
make_dhcp_relay() {
	new_ns a
	new_ns r
	new_ns b
	join a eth0 r eth0
	join r eth1 b eth0
	addr r eth0 192.0.2.254/24
	addr r eth1 198.51.100.1/24
	addr b eth0 198.51.100.2/24
	in_ns b ip route add 192.0.2.0/24 via 198.51.100.1
	capture dhcp-relay b eth0
	dnsmasq_in b --port=0 --no-ping \
		--dhcp-range=192.0.2.100,192.0.2.120,255.255.255.0,10m "${dhcp_options[@]}"
	bg ip netns exec r dhcrelay -4 -d -a -id eth0 -iu eth1 -pf "$TMP/relay.pid" 198.51.100.2
	sleep 1
	in_ns a udhcpc -q -n -i eth0 -s "$HERE/dhcp-script" >/dev/null 2>&1
	captured port 67 or port 68
}

# Answers of all kinds, over UDP and TCP, with and without EDNS.
make_dns() {
	pair
	dnsmasq_in b --local=/example.test/ --local=/2.0.192.in-addr.arpa/ \
		--host-record=www.example.test,192.0.2.80,2001:db8::80 \
		--host-record=many.example.test,192.0.2.11 \
		--host-record=many.example.test,192.0.2.12 \
		--host-record=many.example.test,192.0.2.13 \
		--cname=web.example.test,www.example.test \
		--cname=alias.example.test,web.example.test \
		--mx-host=example.test,mail.example.test,10 \
		--srv-host=_sip._udp.example.test,sip.example.test,5060,1,2 \
		--txt-record=example.test,"v=spf1 -all",second \
		--naptr-record=example.test,100,10,s,SIP+D2U,,_sip._udp.example.test \
		--caa-record=example.test,0,issue,ca.example.test \
		--local-ttl=300
	capture dns a eth0
	ask() { in_ns a dig @192.0.2.2 +tries=1 +timeout=2 "$@" >/dev/null; }
	ask +noedns www.example.test A
	ask www.example.test AAAA
	ask -x 192.0.2.80
	ask nothing.example.test A
	ask +noedns elsewhere.test A
	ask alias.example.test A
	ask many.example.test A
	ask example.test MX
	ask example.test TXT
	ask example.test NAPTR
	ask example.test CAA
	ask _sip._udp.example.test SRV
	ask +dnssec +cd +ad example.test SOA
	ask +opcode=NOTIFY example.test SOA
	ask version.bind CH TXT
	captured port 53
	capture dns-tcp a eth0
	ask +tcp www.example.test A
	captured port 53
}

# Stateful: address, the same confirmed, released; then information only.
make_dhcpv6() {
	new_ns a 6
	new_ns b 6
	join a eth0 b eth0
	addr b eth0 2001:db8::2/64
	sleep 2
	capture dhcpv6 a eth0
	dnsmasq_in b --port=0 --dhcp-range=2001:db8::100,2001:db8::1ff,64,10m \
		--dhcp-option="option6:dns-server,[2001:db8::53],[2001:db8::54]" \
		--dhcp-option=option6:domain-search,example.test,corp.test \
		--dhcp-option="option6:ntp-server,[2001:db8::123]" --domain=example.test
	dhc6() {
		in_ns a timeout 20 dhclient -6 -1 -v -cf /dev/null -sf "$HERE/dhcp-script" \
			-lf "$TMP/leases6" -pf "$TMP/dhclient.pid" "$@" eth0 >>"$TMP/bg.log" 2>&1 || true
	}
	: >"$TMP/leases6"
	dhc6
	kill -KILL "$(cat "$TMP/dhclient.pid")"
	dhc6
	dhc6 -r
	: >"$TMP/leases6"
	dhc6 -S
	captured port 546 or port 547
}

# The same behind a relay, seen on the server's side.
make_dhcpv6_relay() {
	new_ns a 6
	new_ns r 6
	new_ns b 6
	join a eth0 r eth0
	join r eth1 b eth0
	addr r eth0 2001:db8:1::1/64
	addr r eth1 2001:db8:2::1/64
	addr b eth0 2001:db8:2::2/64
	in_ns r sysctl -qw net.ipv6.conf.all.forwarding=1
	in_ns b ip route add 2001:db8:1::/64 via 2001:db8:2::1
	sleep 2
	capture dhcpv6-relay b eth0
	dnsmasq_in b --port=0 --dhcp-range=2001:db8:1::100,2001:db8:1::1ff,64,10m \
		--dhcp-option="option6:dns-server,[2001:db8::53]"
	bg ip netns exec r dhcrelay -6 -d -I -pf "$TMP/relay6.pid" \
		-l eth0 -u 2001:db8:2::2%eth1
	sleep 1
	: >"$TMP/leases6"
	in_ns a timeout 20 dhclient -6 -1 -v -cf /dev/null -sf "$HERE/dhcp-script" \
		-lf "$TMP/leases6" -pf "$TMP/dhclient.pid" eth0 >>"$TMP/bg.log" 2>&1
	captured port 546 or port 547
}

# A router with all it can say, asked and unasked, and going away.
make_ra() {
	new_ns a 6
	new_ns b 6
	join a eth0 b eth0
	addr b eth0 2001:db8::2/64
	in_ns b sysctl -qw net.ipv6.conf.all.forwarding=1
	cat >"$TMP/radvd.conf" <<-END
		interface eth0 {
			AdvSendAdvert on;
			MinRtrAdvInterval 3;
			MaxRtrAdvInterval 4;
			AdvManagedFlag on;
			AdvOtherConfigFlag on;
			AdvLinkMTU 1480;
			AdvDefaultPreference high;
			AdvReachableTime 30000;
			AdvRetransTimer 1000;
			prefix 2001:db8::/64 { AdvValidLifetime 7200; AdvPreferredLifetime 3600; };
			prefix 2001:db8:99::/64 { AdvOnLink on; AdvAutonomous off; };
			route 2001:db8:1000::/36 { AdvRoutePreference low; };
			RDNSS 2001:db8::53 2001:db8::54 { AdvRDNSSLifetime 600; };
			DNSSL example.test corp.test { };
		};
	END
	sleep 2
	capture ra a eth0
	bg ip netns exec b radvd -n -C "$TMP/radvd.conf" -p "$TMP/radvd.pid" -m stderr
	sleep 2
	in_ns a rdisc6 -1 -q -r 1 eth0 >/dev/null || true
	sleep 4
	bg_signal TERM
	sleep 1
	captured icmp6
}
