# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# TCP and the applications above TCP and UDP.

# Connections that open, close, are refused and are cut, with the options of
# the moment, then without any.
make_tcp() {
	pair
	in_ns a ping -q -c 1 192.0.2.2 >/dev/null
	capture tcp a eth0
	bg ip netns exec b python3 "$HERE/tcp.py" serve
	wait_for 5 in_ns b sh -c 'ss -ltn | grep -q :7000'
	in_ns a python3 "$HERE/tcp.py" 192.0.2.2
	in_ns a sysctl -qw net.ipv4.tcp_timestamps=0 net.ipv4.tcp_sack=0 \
		net.ipv4.tcp_window_scaling=0
	in_ns a python3 "$HERE/tcp.py" 192.0.2.2 close
	captured tcp
}

# The congestion bits, an urgent byte, a cut and a refusal, over IPv6.
make_tcp6() {
	pair 6
	in_ns a ping -q -c 1 2001:db8::2 >/dev/null
	in_ns a sysctl -qw net.ipv4.tcp_ecn=1
	in_ns b sysctl -qw net.ipv4.tcp_ecn=1
	capture tcp6 a eth0
	bg ip netns exec b python3 "$HERE/tcp.py" serve
	wait_for 5 in_ns b sh -c 'ss -ltn | grep -q :7000'
	in_ns a python3 "$HERE/tcp.py" 2001:db8::2 urgent reset refused
	captured tcp
}

make_http() {
	pair
	mkdir -p "$TMP/www"
	echo '<html><body>It works.</body></html>' >"$TMP/www/index.html"
	capture http a eth0
	bg ip netns exec b python3 -m http.server -d "$TMP/www" 80
	wait_for 5 in_ns b sh -c 'ss -ltn | grep -q :80'
	in_ns a curl -s -o /dev/null http://192.0.2.2/
	in_ns a curl -s -o /dev/null -I http://192.0.2.2/missing
	in_ns a curl -s -o /dev/null -d 'name=value&more=text' http://192.0.2.2/form
	captured tcp
}

make_https() {
	pair
	openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
		-subj /CN=www.example.test -days 30 -keyout "$TMP/key.pem" \
		-out "$TMP/cert.pem" 2>/dev/null
	capture https a eth0
	bg ip netns exec b openssl s_server -quiet -accept 443 -www \
		-key "$TMP/key.pem" -cert "$TMP/cert.pem"
	wait_for 5 in_ns b sh -c 'ss -ltn | grep -q :443'
	in_ns a curl -sk -o /dev/null --resolve www.example.test:443:192.0.2.2 \
		https://www.example.test/
	captured tcp
}

# A failed login, then a list by a connection that the client opens; a file by
# a connection that the server opens.
ftp_server() {
	pair
	mkdir -p "$TMP/ftp" "$TMP/empty"
	chmod 755 "$TMP" "$TMP/ftp"
	echo 'Some text to fetch.' >"$TMP/ftp/readme.txt"
	cat >"$TMP/vsftpd.conf" <<-END
		listen=YES
		background=NO
		anonymous_enable=YES
		anon_root=$TMP/ftp
		local_enable=YES
		secure_chroot_dir=$TMP/empty
		port_enable=YES
		connect_from_port_20=YES
		seccomp_sandbox=NO
		isolate_network=NO
		isolate=NO
		dirmessage_enable=NO
	END
	bg ip netns exec b vsftpd "$TMP/vsftpd.conf"
	wait_for 5 in_ns b sh -c 'ss -ltn | grep -q :21'
}

make_ftp() {
	ftp_server
	capture ftp a eth0
	in_ns a curl -s -u nobody:wrong ftp://192.0.2.2/ >/dev/null || true
	in_ns a curl -s ftp://192.0.2.2/ >/dev/null
	captured tcp
}

make_ftp_active() {
	ftp_server
	capture ftp-active a eth0
	in_ns a curl -s -P - --disable-eprt ftp://192.0.2.2/readme.txt >/dev/null
	captured tcp
}

# A call from invitation to good-bye, over UDP, then over TCP.
make_sip() {
	pair
	capture sip a eth0
	bg ip netns exec b sipp -sn uas -i 192.0.2.2 -p 5060 -bg -nostdin
	wait_for 5 in_ns b sh -c 'ss -lun | grep -q :5060'
	(cd "$TMP" && in_ns a sipp -sn uac -i 192.0.2.1 -p 5060 -m 1 -d 500 -nostdin \
		-s service 192.0.2.2:5060 >/dev/null 2>&1) || true
	kill "$(pidof -s sipp)"
	sleep 1
	bg ip netns exec b sipp -sn uas -i 192.0.2.2 -p 5060 -t t1 -bg -nostdin
	wait_for 5 in_ns b sh -c 'ss -ltn | grep -q :5060'
	(cd "$TMP" && in_ns a sipp -sn uac -i 192.0.2.1 -p 5060 -t t1 -m 1 -d 500 -nostdin \
		-s service 192.0.2.2:5060 >/dev/null 2>&1) || true
	captured port 5060
}

# Access granted, refused and by challenge-handshake; accounting; status.
make_radius() {
	pair
	mkdir -p "$TMP/raddb"
	cat >"$TMP/raddb/radiusd.conf" <<-END
		prefix = /usr
		logdir = $TMP
		raddbdir = $TMP/raddb
		run_dir = $TMP
		libdir = /usr/lib/freeradius
		security {
			allow_core_dumps = no
			status_server = yes
		}
		log {
			destination = stdout
		}
		thread pool {
			start_servers = 1
			max_servers = 2
		}
		client lab {
			ipaddr = 192.0.2.0/24
			secret = testing123
		}
		modules {
			pap {
			}
			chap {
			}
			always ok {
				rcode = ok
			}
			files {
				usersfile = $TMP/raddb/users
			}
		}
		server default {
			listen {
				type = auth
				ipaddr = *
				port = 1812
			}
			listen {
				type = acct
				ipaddr = *
				port = 1813
			}
			authorize {
				chap
				files
				pap
			}
			authenticate {
				Auth-Type PAP {
					pap
				}
				Auth-Type CHAP {
					chap
				}
			}
			preacct {
				ok
			}
			accounting {
				ok
			}
		}
	END
	cat >"$TMP/raddb/users" <<-END
		guest Cleartext-Password := "open-sesame"
		  Service-Type = Framed-User,
		  Framed-Protocol = PPP,
		  Framed-IP-Address = 10.9.0.10,
		  Framed-IP-Netmask = 255.255.255.0,
		  Framed-MTU = 1492,
		  Session-Timeout = 3600,
		  Class = 0x0102030405,
		  Framed-IPv6-Prefix = 2001:db8:9::/64,
		  Tunnel-Type:1 = VLAN,
		  Tunnel-Medium-Type:1 = IEEE-802,
		  Tunnel-Private-Group-Id:1 = "100",
		  Reply-Message = "Welcome"
	END
	capture radius a eth0
	bg ip netns exec b freeradius -X -d "$TMP/raddb"
	wait_for 10 in_ns b sh -c 'ss -lun | grep -q :1813'
	rad() { in_ns a radclient -q -x -r 1 "$1" "$2" testing123 >>"$TMP/bg.log" 2>&1 || true; }
	base='NAS-IP-Address=192.0.2.1,NAS-Port=7,NAS-Port-Type=Ethernet,NAS-Identifier="edge",Calling-Station-Id="02-00-5E-10-01-01",Called-Station-Id="02-00-5E-10-01-02"'
	echo "User-Name=guest,User-Password=open-sesame,Message-Authenticator=0x00,$base" |
		rad 192.0.2.2:1812 auth
	echo "User-Name=guest,User-Password=wrong,$base" | rad 192.0.2.2:1812 auth
	echo "User-Name=guest,CHAP-Password=open-sesame,$base" | rad 192.0.2.2:1812 auth
	acct="User-Name=guest,Acct-Session-Id=0001,Framed-IP-Address=10.9.0.10,$base"
	echo "Acct-Status-Type=Start,$acct" | rad 192.0.2.2:1813 acct
	echo "Acct-Status-Type=Interim-Update,Acct-Session-Time=60,Acct-Input-Octets=1000,$acct" |
		rad 192.0.2.2:1813 acct
	echo "Acct-Status-Type=Stop,Acct-Session-Time=90,Acct-Terminate-Cause=User-Request,$acct" |
		rad 192.0.2.2:1813 acct
	echo 'Message-Authenticator=0x00' | rad 192.0.2.2:1812 status
	captured udp port 1812 or udp port 1813
}
