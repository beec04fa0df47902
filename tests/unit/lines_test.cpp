// SPDX-License-Identifier: GPL-2.0-only
// Every line that the capture writes, read back; and text that a packet chose so that it looks like lines.
#include "tools/lines.h"
#include "tools/text_record.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

const std::string checkpoint = "[stage(7): forward] len 60, vlan 5, egress CP, ingress eth0:\n";

std::string described(const std::vector<rendered_field> &fields)
{
	std::string text;
	for (const rendered_field &field : fields) {
		text += (text.empty() ? "" : " ") + std::string(field.name) + "=";
		if (field.kind == field_kind::number || field.kind == field_kind::flag)
			text += std::to_string(field.number);
		else
			text += field.text;
	}
	return text;
}

// "layer name=value …" for each line; "?" for one that is none.
std::string described(const rendered_text &text)
{
	std::string all;
	for (const rendered_line &line : text.lines) {
		if (!line.format)
			all += "?" + std::string(line.text);
		else
			all += std::string(layer_name(line.format->in)) + (line.fields.empty() ? "" : " ") + described(line.fields);
		all += '\n';
	}
	return all;
}

struct example {
	const char *lines, *fields;
};

constexpr char mac_line[] = "  #mac: etype 0800 smac 02:00:5e:10:01:01 dmac ff:ff:ff:ff:ff:ff\n";
constexpr char mac_fields[] = "mac etype=2048 smac=02:00:5e:10:01:01 dmac=ff:ff:ff:ff:ff:ff\n";
constexpr char ip_line[] = "  #ip: sip 10.0.0.1, dip 192.0.2.255, proto 17 hdr len 20\n";
constexpr char ip_fields[] = "ip sip=10.0.0.1 dip=192.0.2.255 proto=17 hdr_len=20\n";
constexpr char ipv6_line[] = "  #ipv6: sip 2001:db8::1\n";
constexpr char ipv6_fields[] = "ipv6 sip=2001:db8::1\n";
constexpr char udp_line[] = "    #udp: sport 68 dport 67 len 326\n";
constexpr char udp_fields[] = "udp sport=68 dport=67 len=326\n";
constexpr char tcp_line[] = "    #tcp: sport 40000 dport 80, seq 4294967295, ack 0, cksum 6d87, hdr len 20\n";
constexpr char tcp_fields[] =
	"tcp sport=40000 dport=80 seq=4294967295 ack=0 cksum=28039 hdr_len=20 fin_flag=0 syn_flag=0 rst_flag=0 "
	"psh_flag=0 ack_flag=0 urg_flag=0\n";

std::string with(std::initializer_list<const char *> parts)
{
	std::string all;
	for (const char *const part : parts)
		all += part;
	return all;
}

// What stands before, the lines, their fields.
struct context_example {
	std::string before, before_fields;
	example here;
};

std::vector<context_example> all_examples()
{
	const std::string none;
	const std::string eth = mac_line, eth_fields = mac_fields;
	const std::string ip = with({mac_line, ip_line}), ip_read = with({mac_fields, ip_fields});
	const std::string ip6 = with({mac_line, ipv6_line}), ip6_read = with({mac_fields, ipv6_fields});
	const std::string udp = with({mac_line, ip_line, udp_line}), udp_read = with({mac_fields, ip_fields, udp_fields});
	const std::string tcp = with({mac_line, ip_line, tcp_line}), tcp_read = with({mac_fields, ip_fields, tcp_fields});
	const std::string apmsg = eth + "  #apmsg: magic 0xc2c9, version 2, subtype 1\n";
	const std::string apmsg_read = eth_fields + "apmsg magic=49865 version=2 subtype=1\n";
	const std::string session = apmsg + "    #session resp: mac 02:00:00:00:00:01, ip 10.0.0.7\n";
	const std::string session_read = apmsg_read + "apmsg message=session resp mac=02:00:00:00:00:01 ip=10.0.0.7\n";
	const std::string icmp6 = ip6 + "    #icmpv6: type router-advertisement(134) code 0\n";
	const std::string icmp6_read = ip6_read + "icmpv6 type_name=router-advertisement type=134 code=0\n";
	const std::string vxlan = udp + "      #VXLAN Flags: GBP Extension, VXLAN Network ID, Personal Area Network\n";
	const std::string vxlan_read = udp_read + "vxlan gbp_flag=1 network_id_flag=1 pan_flag=1\n";
	const std::string dhcp = udp + "      #dhcp: message-type: request\n", dhcp_read = udp_read + "dhcp op=request\n";
	const std::string dhcpv6 = udp + "      #dhcpv6: message-type: solicit (1), xid 00a0ff\n";
	const std::string dhcpv6_read = udp_read + "dhcpv6 message_type_name=solicit message_type=1 txn_id=41215\n";
	const std::string dns = udp + "      #dns: message-type: standard response, txn id: 258\n";
	const std::string dns_read = udp_read + "dns standard=1 response=1 txn_id=258\n";
	return {
		{none, none, {mac_line, mac_fields}},
		{eth,
		 eth_fields,
		 {"  #vlan 4095, prio 7, etype 8100\n  #vlan 0, prio 0, etype 0800\n",
		  "vlan id=4095 prio=7 etype=33024\nvlan id=0 prio=0 etype=2048\n"}},
		{eth, eth_fields, {"    #snap: sap 4242\n", "snap sap=16962\n"}},
		{eth,
		 eth_fields,
		 {"    #snap: sap aaaa ctl 0300\n           encap 0000 etype 0800/0800\n",
		  "snap sap=43690 ctl=768\nsnap encap=0 etype=2048 proto=2048\n"}},
		{eth,
		 eth_fields,
		 {"  #arp: opcode other(65535), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n",
		  "arp opcode_name=other opcode=65535 sip=10.0.0.1 tip=10.0.0.2 smac=02:00:00:00:00:01 tmac=00:00:00:00:00:00\n"}},
		{eth,
		 eth_fields,
		 {"  #pppoe discovery terminate (a7), session id 17\n",
		  "pppoe stage=discovery code_name=terminate code=167 session_id=17\n"}},
		{eth,
		 eth_fields,
		 {"  #pppoe protocol link-quality-report(0xc025), session id 65535\n",
		  "pppoe stage=protocol protocol_name=link-quality-report protocol=49189 session_id=65535\n"}},
		{eth, eth_fields, {"  #apmsg: magic 0x1234, unsupported magic\n", "apmsg magic=4660\n"}},
		{apmsg,
		 apmsg_read,
		 {"    #session request: mac 02:00:00:00:00:01, ap ip 10.0.0.9\n",
		  "apmsg message=session request mac=02:00:00:00:00:01 ap_ip=10.0.0.9\n"}},
		{apmsg,
		 apmsg_read,
		 {"    #session request: mac 02:00:00:00:00:01, ap ip 10.0.0.9 username a b\n",
		  "apmsg message=session request mac=02:00:00:00:00:01 ap_ip=10.0.0.9 username=a b\n"}},
		{session,
		 session_read,
		 {"                   acl 70, aclname guests, vlan 12, ssid Free, or so\n"
		  "                   dhcp ip 10.0.0.2\n"
		  "                   dhcp ipv6 2001:0db8:0000:0000:0000:0000:0000:0002\n"
		  "                   ap ip 10.0.0.3\n"
		  "                   sessions 2 mcast groups 1\n"
		  "                   username \n"
		  "      #session 001: sip 10.0.0.4, dip 10.0.0.5, nip 0.0.0.0\n"
		  "                    proto 6, sport 1, dport 65535, nport 3, flags a/0/ff\n"
		  "      #session 255: sip 2001:0db8:0000:0000:0000:0000:0000:0004, dip 2001:0db8:0000:0000:0000:0000:0000:0005\n"
		  "                    proto 17, sport 1, dport 2, flags 0/deadbeef/1\n"
		  "      #mcast group 1: ip 239.0.0.1\n",
		  "apmsg acl=70 acl_name=guests vlan=12 ssid=Free, or so\n"
		  "apmsg dhcp_ip=10.0.0.2\n"
		  "apmsg dhcp_ip6=2001:0db8:0000:0000:0000:0000:0000:0002\n"
		  "apmsg ap_ip=10.0.0.3\n"
		  "apmsg session_count=2 mcast_group_count=1\n"
		  "apmsg username=\n"
		  "apmsg number=1 sip=10.0.0.4 dip=10.0.0.5 nip=0.0.0.0\n"
		  "apmsg proto=6 sport=1 dport=65535 nport=3 flags1=10 flags2=0 flags3=255\n"
		  "apmsg number=255 sip=2001:0db8:0000:0000:0000:0000:0000:0004 dip=2001:0db8:0000:0000:0000:0000:0000:0005\n"
		  "apmsg proto=17 sport=1 dport=2 flags1=0 flags2=3735928559 flags3=1\n"
		  "apmsg number=1 ip=239.0.0.1\n"}},
		{apmsg,
		 apmsg_read,
		 {"    #foreign session resp: mac 02:00:00:00:00:01, vlan 256, ssid Free, hap ip 1.1.1.1, hap ip 10.0.0.1, vc ip "
		  "10.0.0.2\n",
		  "apmsg message=foreign session resp mac=02:00:00:00:00:01 vlan=256 ssid=Free, hap ip 1.1.1.1 home_ap_ip=10.0.0.1 "
		  "controller_ip=10.0.0.2\n"}},
		{apmsg,
		 apmsg_read,
		 {"    #hierarchy msg to master: state pot-master/2, uptime 4294967295, ap ip 10.0.0.1\n",
		  "apmsg message=hierarchy msg to master state_name=pot-master state=2 uptime=4294967295 ap_ip=10.0.0.1\n"}},
		{apmsg,
		 apmsg_read,
		 {"    #dns ip map: dns domain count 1, new format\n"
		  "      #dns domain name www.example.test ipv4/v6 count 1,1\n"
		  "                 ip 10.0.0.1\n"
		  "                 ipv6 2001:0db8:0000:0000:0000:0000:0000:0001\n",
		  "apmsg message=dns ip map domain_count=1 format=new\n"
		  "apmsg name=www.example.test ipv4_count=1 ipv6_count=1\n"
		  "apmsg ip=10.0.0.1\n"
		  "apmsg ip=2001:0db8:0000:0000:0000:0000:0000:0001\n"}},
		{ip,
		 ip_read,
		 {"       len 60, id 1, cksum 0, ttl 255, dscp 63\n       dont fragment, last fragment, frag off 65528\n",
		  "ip len=60 id=1 cksum=0 ttl=255 dscp=63\nip dont_fragment=1 more_fragments=0 frag_off=65528\n"}},
		{ip,
		 ip_read,
		 {"       len 60, id 1, cksum beef, ttl 1, dscp 0\n       fragment ok, more fragments, frag off 0\n",
		  "ip len=60 id=1 cksum=48879 ttl=1 dscp=0\nip dont_fragment=0 more_fragments=1 frag_off=0\n"}},
		{ip6,
		 ip6_read,
		 {"         dip ::ffff:10.0.0.1\n"
		  "         hoplimit 64 payload len 0 next hdr 59\n"
		  "  #extension header: type hop-by-hop len 8 next hdr 43\n"
		  "  #extension header: type routing len 1028 next hdr 17\n",
		  "ipv6 dip=::ffff:10.0.0.1\nipv6 hop_limit=64 payload_len=0 next_hdr=59\nipv6 type=hop-by-hop len=8 next_hdr=43\n"
		  "ipv6 type=routing len=1028 next_hdr=17\n"}},
		{ip,
		 ip_read,
		 {"    #icmp: type dst-unreachable(3) code 1 id 0 seq 65535\n"
		  "  #ip: sip 10.0.0.2, dip 10.0.0.1, proto 6 hdr len 24\n",
		  "icmp type_name=dst-unreachable type=3 code=1 id=0 seq=65535\nip sip=10.0.0.2 dip=10.0.0.1 proto=6 "
		  "hdr_len=24\n"}},
		{ip,
		 ip_read,
		 {"    #igmp: type v2-report(22) group 239.1.1.1\n", "igmp type_name=v2-report type=22 group=239.1.1.1\n"}},
		{ip,
		 ip_read,
		 {"    #igmp: type v3-query code 1 nsrc 2 group 0.0.0.0\n"
		  "      #v3-query: source 10.0.0.1\n                 source 10.0.0.2\n",
		  "igmp type_name=v3-query code=1 nsrc=2 group=0.0.0.0\nigmp source=10.0.0.1\nigmp source=10.0.0.2\n"}},
		{ip,
		 ip_read,
		 {"    #igmp: type v3-report ngrp 2\n"
		  "      #v3-report: record type 4 nsrc 1 group 239.1.1.1\n                       source 10.0.0.1\n"
		  "                  record type 3 nsrc 0 group 239.1.1.2\n",
		  "igmp type_name=v3-report ngrp=2\nigmp record_type=4 nsrc=1 group=239.1.1.1\nigmp source=10.0.0.1\n"
		  "igmp record_type=3 nsrc=0 group=239.1.1.2\n"}},
		{icmp6,
		 icmp6_read,
		 {"      #rtr-adv: hop limit 64 flags 0xc0 rlt 1800\n"
		  "        #rtr-adv-prefix-info: plen 64 flags 0xc0 vlft -1 plft 14400\n"
		  "                              prefix 2001:0db8:0001:0002:0000:0000:0000:0000\n"
		  "        #rtr-adv-rdnss: lft 600\n"
		  "                    dns 2001:0db8:0000:0000:0000:0000:0000:0053\n"
		  "        #rtr-adv-option: type 1, len 8\n",
		  "icmpv6 hop_limit=64 flags=192 router_lifetime=1800\n"
		  "icmpv6 option=prefix-info prefix_len=64 flags=192 valid_lifetime=-1 preferred_lifetime=14400\n"
		  "icmpv6 prefix=2001:0db8:0001:0002:0000:0000:0000:0000\n"
		  "icmpv6 option=rdnss lifetime=600\n"
		  "icmpv6 dns=2001:0db8:0000:0000:0000:0000:0000:0053\n"
		  "icmpv6 option=option type=1 len=8\n"}},
		{icmp6, icmp6_read, {"      #echo: id 1 seq 2\n", "icmpv6 id=1 seq=2\n"}},
		{icmp6,
		 icmp6_read,
		 {"      #mld: group ff02:0000:0000:0000:0000:0000:0000:00fb\n",
		  "icmpv6 group=ff02:0000:0000:0000:0000:0000:0000:00fb\n"}},
		{icmp6,
		 icmp6_read,
		 {"      #mld: code 0 nsrc 2 group ff02:0000:0000:0000:0000:0000:0000:0001\n"
		  "      #v3-query: source 2001:0db8:0000:0000:0000:0000:0000:0001\n"
		  "                 source 2001:0db8:0000:0000:0000:0000:0000:0002\n",
		  "icmpv6 mld_code=0 nsrc=2 group=ff02:0000:0000:0000:0000:0000:0000:0001\n"
		  "icmpv6 source=2001:0db8:0000:0000:0000:0000:0000:0001\nicmpv6 "
		  "source=2001:0db8:0000:0000:0000:0000:0000:0002\n"}},
		{icmp6,
		 icmp6_read,
		 {"      #mld: ngrp 2\n"
		  "        #v2-report: record type 4 nsrc 0 group ff02:0000:0000:0000:0000:0000:0000:00fb\n"
		  "                    record type 3 nsrc 1 group ff02:0000:0000:0000:0000:0000:0000:00fc\n"
		  "                       source 2001:0db8:0000:0000:0000:0000:0000:0001\n",
		  "icmpv6 ngrp=2\nicmpv6 record_type=4 nsrc=0 group=ff02:0000:0000:0000:0000:0000:0000:00fb\n"
		  "icmpv6 record_type=3 nsrc=1 group=ff02:0000:0000:0000:0000:0000:0000:00fc\n"
		  "icmpv6 source=2001:0db8:0000:0000:0000:0000:0000:0001\n"}},
		{icmp6,
		 icmp6_read,
		 {"      #nbr-sol: tip 2001:0db8:0000:0000:0000:0000:0000:0001\n",
		  "icmpv6 tip=2001:0db8:0000:0000:0000:0000:0000:0001\n"}},
		{ip,
		 ip_read,
		 {"    #tcp: sport 1 dport 2, seq 3, ack 4, cksum f, hdr len 60, fin, syn, rst, psh, ack, urg\n"
		  "    #tcp: option type 4 len 2 \n"
		  "    #tcp: option type 3 len 3 7\n"
		  "    #tcp: option type 2 len 4 1460\n"
		  "    #tcp: option type 8 len 10 0102030405060708\n",
		  "tcp sport=1 dport=2 seq=3 ack=4 cksum=15 hdr_len=60 fin_flag=1 syn_flag=1 rst_flag=1 psh_flag=1 ack_flag=1 "
		  "urg_flag=1\n"
		  "tcp type=4 len=2\ntcp type=3 len=3 value=7\ntcp type=2 len=4 value=1460\ntcp type=8 len=10 "
		  "value=0102030405060708\n"}},
		{ip, ip_read, {"    #gre: flag 0x2000 proto 6558\n", "gre flags=8192 proto=25944\n"}},
		{vxlan,
		 vxlan_read,
		 {"      #Group Policy ID: 10\n      #VXLAN Network Id: 4660\n      #PAN Id: 16777215\n",
		  "vxlan group_policy_id=10\nvxlan network_id=4660\nvxlan pan_id=16777215\n"}},
		{udp, udp_read, {"      #VXLAN Flags: \n", "vxlan gbp_flag=0 network_id_flag=0 pan_flag=0\n"}},
		{udp, udp_read, {"      #esp: spi: 0x00001001, sequence: 0xffffffff\n", "esp spi=4097 sequence=4294967295\n"}},
		{udp,
		 udp_read,
		 {"      #sip: INVITE sip:a@b SIP/2.0\n      #sip: Via: x\n",
		  "sip line=INVITE sip:a@b SIP/2.0\nsip line=Via: x\n"}},
		{tcp,
		 tcp_read,
		 {"      #http: GET / HTTP/1.1\n      #ftp: 220 ready\n", "http line=GET / HTTP/1.1\nftp line=220 ready\n"}},
		{dhcp,
		 dhcp_read,
		 {"             hardware type: 1, len: 6, hops: 0\n"
		  "             txn id: 0x679a8b15, seconds elapsed: 3\n"
		  "             boot flags: 0x8000\n"
		  "             client ip: 10.0.0.1\n"
		  "             your ip: 10.0.0.2\n"
		  "             next server ip: 10.0.0.3\n"
		  "             relay agent ip: 10.0.0.4\n"
		  "             client mac: 02:00:00:00:00:01\n"
		  "             server host name: boot, 1\n"
		  "             boot file name: a/b\n"
		  "             magic cookie: 0x63825363\n",
		  "dhcp hardware_type=1 hardware_len=6 hops=0\ndhcp txn_id=1738181397 seconds_elapsed=3\ndhcp boot_flags=32768\n"
		  "dhcp client_ip=10.0.0.1\ndhcp your_ip=10.0.0.2\ndhcp next_server_ip=10.0.0.3\ndhcp relay_agent_ip=10.0.0.4\n"
		  "dhcp client_mac=02:00:00:00:00:01\ndhcp server_host_name=boot, 1\ndhcp boot_file_name=a/b\n"
		  "dhcp magic_cookie=1669485411\n"}},
		{dhcp,
		 dhcp_read,
		 {"      #dhcp-option: netmask: 255.255.255.0\n"
		  "      #dhcp-option: router: 10.0.0.1\n"
		  "      #dhcp-option: dns-server: 10.0.0.1,10.0.0.2\n"
		  "      #dhcp-option: dns-name: example.test\n"
		  "      #dhcp-option: requested-ip: 10.0.0.3\n"
		  "      #dhcp-option: message-type: discover\n"
		  "      #dhcp-option: dhcp-server: 10.0.0.4\n"
		  "      #dhcp-option: option-82: Agent Circuit ID: port 1\n"
		  "      #dhcp-option: option-82: Agent Remote  ID: switch\n"
		  "      #dhcp-option: option-82: Type 9, Value: x, y\n"
		  "      #dhcp-option: telvo-vlan: 12\n"
		  "      #dhcp-option: Host Name: \n"
		  "      #dhcp-option: Vendor Class ID: v\n",
		  "dhcp netmask=255.255.255.0\ndhcp router=10.0.0.1\ndhcp dns_servers=10.0.0.1,10.0.0.2\ndhcp "
		  "dns_name=example.test\n"
		  "dhcp requested_ip=10.0.0.3\ndhcp message_type=discover\ndhcp dhcp_server=10.0.0.4\ndhcp circuit_id=port 1\n"
		  "dhcp remote_id=switch\ndhcp type=9 value=x, y\ndhcp vendor_vlan=12\ndhcp host_name=\ndhcp vendor_class=v\n"}},
		{dhcpv6,
		 dhcpv6_read,
		 {"      #dhcpv6-option: client-id duid type ll(3)\n"
		  "      #dhcpv6-option: server-id duid type other(9)\n"
		  "                      duid 00030001\n"
		  "                      ll-addr 02:00:00:00:00:01\n"
		  "      #dhcpv6-option: ia 0000000a\n"
		  "      #dhcpv6-option: temp-ia ffffffff\n"
		  "      #dhcpv6-option: ia-addr 2001:0db8:0000:0000:0000:0000:0000:0001\n"
		  "      #dhcpv6-option: server-addr 2001:0db8:0000:0000:0000:0000:0000:0002\n"
		  "      #dhcpv6-option: preference 255\n"
		  "      #dhcpv6-option: elapsed-time 655350 ms\n"
		  "      #dhcpv6-option: dns 2001:0db8:0000:0000:0000:0000:0000:0003\n"
		  "                      dns 2001:0db8:0000:0000:0000:0000:0000:0004\n"
		  "      #dhcpv6-option: client-fqdn host (flag 1) (flag 4)\n"
		  "      #dhcpv6-option: status-code 2,no address, sorry\n"
		  "      #dhcpv6-option: req-opt dns-server(23), other(24)\n",
		  "dhcpv6 client_duid_type_name=ll client_duid_type=3\ndhcpv6 server_duid_type_name=other server_duid_type=9\n"
		  "dhcpv6 duid=00030001\ndhcpv6 link_layer_address=02:00:00:00:00:01\ndhcpv6 ia_id=10\ndhcpv6 "
		  "temp_ia_id=4294967295\n"
		  "dhcpv6 ia_address=2001:0db8:0000:0000:0000:0000:0000:0001\n"
		  "dhcpv6 server_address=2001:0db8:0000:0000:0000:0000:0000:0002\n"
		  "dhcpv6 preference=255\ndhcpv6 elapsed_ms=655350\ndhcpv6 ip=2001:0db8:0000:0000:0000:0000:0000:0003\n"
		  "dhcpv6 ip=2001:0db8:0000:0000:0000:0000:0000:0004\ndhcpv6 client_fqdn=host (flag 1) client_fqdn_flags=4\n"
		  "dhcpv6 status_code=2 status_message=no address, sorry\ndhcpv6 requested_options=dns-server(23), other(24)\n"}},
		{dhcpv6,
		 dhcpv6_read,
		 {"                      duid \n      #dhcpv6-option: req-opt \n", "dhcpv6 duid=\ndhcpv6 requested_options=\n"}},
		{dns,
		 dns_read,
		 {"             domain name: a, type: A(1), class: IN(1), type: AAAA(28), class: other(255)\n"
		  "             domain IP: 10.0.0.1, ttl -1\n"
		  "             domain name response: host.example.test, ttl 2147483647\n"
		  "             domain IP: 2001:0db8:0000:0000:0000:0000:0000:0001, ttl 0\n",
		  "dns name=a, type: A(1), class: IN(1) type_name=AAAA type=28 class_name=other class=255\n"
		  "dns ip=10.0.0.1 ttl=-1\ndns name=host.example.test ttl=2147483647\n"
		  "dns ip=2001:0db8:0000:0000:0000:0000:0000:0001 ttl=0\n"}},
		{udp,
		 udp_read,
		 {"      #dns: message-type: other query, txn id: 65535\n"
		  "             response code: not implemented(4)\n"
		  "             query count: 2, answer count 0\n",
		  "dns standard=0 response=0 txn_id=65535\ndns response_code_name=not implemented response_code=4\n"
		  "dns query_count=2 answer_count=0\n"}},
	};
}

rendered_text parse_lines(const std::string &text)
{
	return parse_text(text);
}

} // namespace

TEST(lines, every_line_of_a_decoder)
{
	for (const context_example &each : all_examples()) {
		const std::string content = checkpoint + each.before + each.here.lines;
		const rendered_text text = parse_lines(content);
		EXPECT_EQ(described(text), each.before_fields + each.here.fields);
		EXPECT_FALSE(text.doubtful) << content;
		EXPECT_FALSE(text.cut);
	}
}

TEST(lines, no_format_is_without_an_example)
{
	std::set<const line_format *> seen;
	for (const context_example &each : all_examples()) {
		const std::string content = checkpoint + each.before + each.here.lines;
		for (const rendered_line &line : parse_lines(content).lines)
			seen.insert(line.format);
	}
	for (const line_format &format : all_line_formats())
		EXPECT_TRUE(format.in == layer::head || seen.count(&format)) << format.form;
}

TEST(lines, heads)
{
	const struct {
		const char *text;
		text_kind kind;
		const char *fields;
	} heads[] = {
		{"\nASAP received packet from br0 ([cpu 3] timestamp (2026-1-2 03:04:05:000006))\n"
		 "[rx_one(12): asap entry] len 60, vlan 4094, egress vlan 12, ingress eth0:\n",
		 text_kind::capture,
		 "tag=ASAP device=br0 cpu=3 time=2026-1-2 03:04:05:000006 function=rx_one line=12 label=asap entry len=60 "
		 "vlan=4094 "
		 "egress=vlan 12 ingress=eth0"},
		{"\nASFP received packet from eth1 ([cpu 0] timestamp (1970-1-1 00:00:00:999999))\n"
		 "[rx(-1): asfp entry] len 60, egress pbr-nhl 60, ingress eth0: \n",
		 text_kind::capture,
		 "tag=ASFP device=eth1 cpu=0 time=1970-1-1 00:00:00:999999 function=rx line=-1 label=asfp entry len=60 "
		 "egress=pbr-nhl 60 "
		 "ingress=eth0"},
		{"[f(1): out] len 0, vlan 0, egress unknown, ingress wlan0.100:\n", text_kind::checkpoint,
		 "function=f line=1 label=out len=0 vlan=0 egress=unknown ingress=wlan0.100"},
		{"[f(1):] len 0, egress CP, ingress a: \n", text_kind::checkpoint,
		 "function=f line=1 label= len=0 egress=CP ingress=a"},
		{"OTHER[done(99)] process done(timestamp (2106-12-31 23:59:59:000000))\n", text_kind::done,
		 "tag=OTHER function=done line=99 time=2106-12-31 23:59:59:000000"},
		{"len 60, vlan 1, egress cluster, ingress eth0:\n", text_kind::exported,
		 "len=60 vlan=1 egress=cluster ingress=eth0"},
	};
	for (const auto &each : heads) {
		const rendered_text text = parse_text(each.text);
		EXPECT_EQ(text.kind, each.kind) << each.text;
		EXPECT_EQ(described(text.head), each.fields);
		EXPECT_TRUE(text.lines.empty());
		EXPECT_FALSE(text.doubtful);
	}
}

TEST(lines, what_is_no_head)
{
	for (const char *const each : {
		     "x\n",
		     "\n",
		     "\n\n",
		     "\nUOL received packet from eth0 ([cpu 0] timestamp (2026-1-2 03:04:05:000006))\n",
		     "\nUOL received packet from eth0 ([cpu 0] timestamp (2026-13-2 03:04:05:000006))\n[f(1): x] len 1, vlan 0, "
		     "egress CP, "
		     "ingress e:\n",
		     "\nUOL received packet from eth0 ([cpu 0] timestamp (2026-1-02 03:04:05:000006))\n[f(1): x] len 1, vlan 0, "
		     "egress CP, "
		     "ingress e:\n",
		     "[f(01): x] len 1, vlan 0, egress CP, ingress e:\n",
		     "[f(1): x] len 1, vlan 0, egress CP, ingress e:x\n",
	     }) {
		const rendered_text text = parse_text(each);
		EXPECT_EQ(text.kind, text_kind::unknown) << each;
		EXPECT_TRUE(text.doubtful);
	}
	EXPECT_TRUE(parse_text("").lines.empty());
}

TEST(lines, numbers_are_as_they_print)
{
	for (const char *const each :
	     {"  #vlan 01, prio 0, etype 0800\n", "  #vlan +1, prio 0, etype 0800\n", "  #vlan 4294967296, prio 0, etype 0800\n",
	      "  #vlan 1, prio 0, etype 800\n", "  #vlan 1, prio 0, etype 0800 \n", "  #vlan 1, prio 0, etype 080G\n",
	      "  #vlan -1, prio 0, etype 0800\n"}) {
		const std::string content = checkpoint + mac_line + each;
		const rendered_text text = parse_text(content);
		EXPECT_EQ(described(text), mac_fields + ("?" + std::string(each)));
		EXPECT_TRUE(text.doubtful);
	}
}

TEST(lines, a_cut_text_ends_with_a_line_that_is_none)
{
	const std::string content = checkpoint + mac_line + "  #vlan 12, prio 0, etype 0800" + std::string(1, '\0');
	const rendered_text text = parse_text(content);
	EXPECT_TRUE(text.cut);
	EXPECT_FALSE(text.doubtful);
	EXPECT_EQ(described(text), mac_fields + std::string("?  #vlan 12, prio 0, etype 0800\n"));
}

// A packet's words with line breaks in them.
class packet_words : public testing::Test {
protected:
	const std::string before = checkpoint + mac_line + ip_line + udp_line;
	const std::string before_fields = with({mac_fields, ip_fields, udp_fields});
};

TEST_F(packet_words, lines_that_cannot_stand_there_stay_words)
{
	const std::string content = before + "      #dhcp: message-type: request\n"
					     "      #dhcp-option: Host Name: a\n"
					     "  #ip: sip 6.6.6.6, dip 7.7.7.7, proto 6 hdr len 20\n"
					     "\n"
					     "      #dhcp-option: dns-name: evil\n"
					     "      #dhcp-option: Vendor Class ID: v\n";
	const rendered_text text = parse_text(content);
	EXPECT_EQ(described(text), before_fields + "dhcp op=request\n"
						   "dhcp host_name=a\n  #ip: sip 6.6.6.6, dip 7.7.7.7, proto 6 hdr len 20\n\n"
						   "      #dhcp-option: dns-name: evil\n"
						   "dhcp vendor_class=v\n");
	EXPECT_TRUE(text.doubtful);
	EXPECT_TRUE(text.has_packet_text);
}

TEST_F(packet_words, breaks_before_the_rest_of_the_line)
{
	const std::string content = before + "      #dns: message-type: standard query, txn id: 1\n"
					     "             domain name: a\n\nb, type: A(1), class: IN(1)\n";
	const rendered_text text = parse_text(content);
	EXPECT_EQ(described(text), before_fields + "dns standard=1 response=0 txn_id=1\n"
						   "dns name=a\n\nb type_name=A type=1 class_name=IN class=1\n");
	EXPECT_TRUE(text.doubtful);
}

TEST_F(packet_words, a_name_that_ends_its_line_early)
{
	const std::string content = before + "      #dns: message-type: standard query, txn id: 1\n"
					     "             domain name: a, type: A(1), class: IN(1)\n"
					     "b, type: AAAA(28), class: IN(1)\n";
	const rendered_text text = parse_text(content);
	EXPECT_EQ(described(text), before_fields + "dns standard=1 response=0 txn_id=1\n"
						   "dns name=a type_name=A type=1 class_name=IN class=1\n"
						   "?b, type: AAAA(28), class: IN(1)\n");
	EXPECT_TRUE(text.doubtful);
}

TEST_F(packet_words, two_ways_to_read_a_line)
{
	const std::string session = checkpoint + mac_line +
				    "  #apmsg: magic 0xc2c9, version 2, subtype 1\n"
				    "    #session resp: mac 02:00:00:00:00:01, ip 10.0.0.7\n";
	const std::string clear = session + "                   acl 1, aclname a, vlan 2, ssid b\n";
	EXPECT_FALSE(parse_text(clear).doubtful);
	const std::string unclear = session + "                   acl 1, aclname a, vlan 2, ssid b, vlan 3, ssid c\n";
	EXPECT_TRUE(parse_text(unclear).doubtful);
}

TEST_F(packet_words, a_second_line_of_its_kind)
{
	const std::string content = before + "      #dhcp: message-type: request\n"
					     "      #dhcp-option: Host Name: a\n"
					     "      #dhcp-option: Host Name: b\n";
	const rendered_text text = parse_text(content);
	EXPECT_EQ(described(text), before_fields + "dhcp op=request\ndhcp host_name=a\n      #dhcp-option: Host Name: b\n");
	EXPECT_TRUE(text.doubtful);
}

TEST_F(packet_words, printable_text_has_no_breaks)
{
	const std::string content = before + "      #sip: INVITE\n  #ip: sip 6.6.6.6, dip 7.7.7.7, proto 6 hdr len 20\n";
	const rendered_text text = parse_text(content);
	EXPECT_FALSE(text.has_packet_text);
	EXPECT_TRUE(text.doubtful);
}

TEST(text_splitter, takes_calls_apart)
{
	const std::string first =
		"\nUOL received packet from eth0 ([cpu 0] timestamp (2026-1-2 03:04:05:000006))\n" + checkpoint + mac_line;
	const std::string done = "UOL[f(1)] process done(timestamp (2026-1-2 03:04:05:000006))\n";
	const std::string parts[] = {first, checkpoint, checkpoint + mac_line, done, first, first, done};
	std::string all;
	for (const std::string &part : parts)
		all += part;
	text_splitter texts(true);
	texts.add(all);
	texts.end();
	text_record record;
	bool is_first = true;
	for (const std::string &part : parts) {
		ASSERT_TRUE(texts.next(record));
		EXPECT_EQ(record.content.text, part);
		EXPECT_EQ(record.start, is_first ? text_start::known : text_start::inferred);
		is_first = false;
	}
	EXPECT_FALSE(texts.next(record));
}

TEST(text_splitter, a_cut_text_ends_at_its_size)
{
	std::string cut = checkpoint + mac_line + ip_line + tcp_line;
	while (cut.size() < 4094)
		cut += "      #http: GET / HTTP/1.1\n";
	cut.resize(4094);
	ASSERT_NE(cut.back(), '\n');
	const std::string all = cut + checkpoint;
	text_splitter texts(true);
	texts.add(all);
	texts.end();
	text_record record;
	ASSERT_TRUE(texts.next(record));
	EXPECT_EQ(record.content.text, cut);
	EXPECT_TRUE(record.content.cut);
	ASSERT_TRUE(texts.next(record));
	EXPECT_EQ(record.content.text, checkpoint);
	EXPECT_FALSE(record.content.cut);
}

// As far as a packet's words can reach, what looks like a start may be some of them.
TEST(text_splitter, starts_behind_packet_words_are_doubtful)
{
	const std::string words = checkpoint + mac_line + ip_line + udp_line +
				  "      #dhcp: message-type: request\n      #dhcp-option: Host Name: a\n";
	std::string all = words;
	while (all.size() < 4094)
		all += checkpoint;
	all += checkpoint;
	text_splitter texts(true);
	texts.add(all);
	texts.end();
	text_record record;
	size_t at = 0;
	while (texts.next(record)) {
		EXPECT_EQ(record.start, at == 0     ? text_start::known
					: at < 4094 ? text_start::doubtful
						    : text_start::inferred)
			<< at;
		at += record.content.text.size();
	}
	EXPECT_EQ(at, all.size());
}

TEST(text_splitter, waits_for_more)
{
	text_splitter texts(false);
	text_record record;
	texts.add(checkpoint);
	EXPECT_FALSE(texts.next(record));
	std::string more;
	while (more.size() < 10000)
		more += checkpoint;
	texts.add(more);
	size_t taken = 0;
	while (texts.next(record)) {
		EXPECT_EQ(record.content.text, checkpoint);
		taken += record.content.text.size();
	}
	EXPECT_GT(taken, 0u);
	texts.end();
	while (texts.next(record))
		taken += record.content.text.size();
	EXPECT_EQ(taken, checkpoint.size() + more.size());
}
