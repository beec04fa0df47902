// SPDX-License-Identifier: GPL-2.0-only
// Every line that the capture and its decoders write, in the order in which a decoder writes them.
#pragma once

#include "tools/lines.h"

// Types: u decimal, d signed decimal, u3 decimal padded to three digits, x hexadecimal, xN with N digits; ipv4, ip6, ip6c, mac;
// name (letters, digits, "-"), phrase (blanks, too), token (no blank), function, label, interface, time; bytes (hexadecimal pairs);
// addresses (ipv4, comma-separated), options (NAME(NUMBER), …), option (a TCP option's value, by the length before it);
// line (printable characters), text (any bytes of the packet, line breaks too).
inline constexpr line_format line_formats[] = {
	{layer::head, 0, "", "<tag:name> received packet from <device:token> ([cpu <cpu:u>] timestamp (<time:time>))"},
	{layer::head, 1, "",
	 "[<function:function>(<line:d>):<label:label>] len <len:d>, vlan <vlan:u>, egress <egress:interface>, ingress "
	 "<ingress:interface>:"},
	{layer::head, 1, "",
	 "[<function:function>(<line:d>):<label:label>] len <len:d>, egress <egress:interface>, ingress <ingress:interface>: "},
	{layer::head, 1, "", "<tag:name>[<function:function>(<line:d>)] process done(timestamp (<time:time>))"},
	{layer::head, 1, "", "len <len:d>, vlan <vlan:u>, egress <egress:interface>, ingress <ingress:interface>:"},

	{layer::mac, 0, "", "  #mac: etype <etype:x4> smac <smac:mac> dmac <dmac:mac>"},

	{layer::vlan, 0, "", "  #vlan <id:u>, prio <prio:u>, etype <etype:x4>"},

	{layer::snap, 0, "", "    #snap: sap <sap:x4>"},
	{layer::snap, 0, "", "    #snap: sap <sap:x4> ctl <ctl:x4>"},
	{layer::snap, 1, "", "           encap <encap:x4> etype <etype:x4>/<proto:x4>"},

	{layer::arp, 0, "",
	 "  #arp: opcode <opcode_name:name>(<opcode:u>), sip <sip:ipv4>, tip <tip:ipv4>, smac <smac:mac>, tmac <tmac:mac>"},

	{layer::pppoe, 0, "", "  #pppoe <stage=discovery> <code_name:name> (<code:x>), session id <session_id:u>"},
	{layer::pppoe, 0, "", "  #pppoe <stage=protocol> <protocol_name:name>(0x<protocol:x>), session id <session_id:u>"},

	{layer::apmsg, 0, "", "  #apmsg: magic 0x<magic:x4>, unsupported magic"},
	{layer::apmsg, 0, "", "  #apmsg: magic 0x<magic:x4>, version <version:u>, subtype <subtype:u>"},
	{layer::apmsg, 1, "", "    #<message=session request>: mac <mac:mac>, ap ip <ap_ip:ipv4>"},
	{layer::apmsg, 1, "", "    #<message=session request>: mac <mac:mac>, ap ip <ap_ip:ipv4> username <username:text>"},
	{layer::apmsg, 1, "", "    #<message=session resp>: mac <mac:mac>, ip <ip:ipv4>"},
	{layer::apmsg, 2, "", "                   acl <acl:u>, aclname <acl_name:text>, vlan <vlan:u>, ssid <ssid:text>"},
	{layer::apmsg, 3, "", "                   dhcp ip <dhcp_ip:ipv4>"},
	{layer::apmsg, 4, "", "                   dhcp ipv6 <dhcp_ip6:ip6>"},
	{layer::apmsg, 5, "", "                   ap ip <ap_ip:ipv4>"},
	{layer::apmsg, 6, "", "                   sessions <session_count:u> mcast groups <mcast_group_count:u>"},
	{layer::apmsg, 7, "", "                   username <username:text>"},
	{layer::apmsg, 8, "sessions", "      #session <number:u3>: sip <sip:ip6>, dip <dip:ip6>"},
	{layer::apmsg, 8, "sessions", "      #session <number:u3>: sip <sip:ipv4>, dip <dip:ipv4>, nip <nip:ipv4>"},
	{layer::apmsg, 8, "+sessions",
	 "                    proto <proto:u>, sport <sport:u>, dport <dport:u>, flags <flags1:x>/<flags2:x>/<flags3:x>"},
	{layer::apmsg, 8, "+sessions",
	 "                    proto <proto:u>, sport <sport:u>, dport <dport:u>, nport <nport:u>, flags "
	 "<flags1:x>/<flags2:x>/<flags3:x>"},
	{layer::apmsg, 9, "mcast_groups", "      #mcast group <number:u>: ip <ip:ipv4>"},
	{layer::apmsg, 1, "",
	 "    #<message=foreign session resp>: mac <mac:mac>, vlan <vlan:u>, ssid <ssid:text>, hap ip <home_ap_ip:ipv4>, vc ip "
	 "<controller_ip:ipv4>"},
	{layer::apmsg, 1, "", "    #<message:phrase>: state <state_name:name>/<state:u>, uptime <uptime:u>, ap ip <ap_ip:ipv4>"},
	{layer::apmsg, 1, "", "    #<message=dns ip map>: dns domain count <domain_count:u>, <format:name> format"},
	{layer::apmsg, 2, "domains", "      #dns domain name <name:text> ipv4/v6 count <ipv4_count:u>,<ipv6_count:u>"},
	{layer::apmsg, 2, "domains", "                 ip <ip:ipv4>"},
	{layer::apmsg, 2, "domains", "                 ipv6 <ip:ip6>"},

	{layer::ip, 0, "", "  #ip: sip <sip:ipv4>, dip <dip:ipv4>, proto <proto:u> hdr len <hdr_len:u>"},
	{layer::ip, 1, "", "       len <len:u>, id <id:u>, cksum <cksum:x>, ttl <ttl:u>, dscp <dscp:u>"},
	{layer::ip, 2, "",
	 "       <dont_fragment?dont fragment|fragment ok>, <more_fragments?more fragments|last fragment>, frag off <frag_off:u>"},

	{layer::ipv6, 0, "", "  #ipv6: sip <sip:ip6c>"},
	{layer::ipv6, 1, "", "         dip <dip:ip6c>"},
	{layer::ipv6, 2, "", "         hoplimit <hop_limit:u> payload len <payload_len:u> next hdr <next_hdr:u>"},
	{layer::ipv6, 3, "extension_headers", "  #extension header: type <type:name> len <len:u> next hdr <next_hdr:u>"},

	{layer::icmp, 0, "", "    #icmp: type <type_name:name>(<type:u>) code <code:u> id <id:u> seq <seq:u>"},

	{layer::igmp, 0, "", "    #igmp: type <type_name:name>(<type:u>) group <group:ipv4>"},
	{layer::igmp, 0, "", "    #igmp: type <type_name=v3-query> code <code:u> nsrc <nsrc:u> group <group:ipv4>"},
	{layer::igmp, 1, "entries", "      #v3-query: source <source:ipv4>"},
	{layer::igmp, 1, "entries", "                 source <source:ipv4>"},
	{layer::igmp, 0, "", "    #igmp: type <type_name=v3-report> ngrp <ngrp:u>"},
	{layer::igmp, 1, "entries", "      #v3-report: record type <record_type:u> nsrc <nsrc:u> group <group:ipv4>"},
	{layer::igmp, 1, "entries", "                  record type <record_type:u> nsrc <nsrc:u> group <group:ipv4>"},
	{layer::igmp, 1, "entries", "                       source <source:ipv4>"},

	{layer::icmpv6, 0, "", "    #icmpv6: type <type_name:name>(<type:u>) code <code:u>"},
	{layer::icmpv6, 1, "", "      #echo: id <id:u> seq <seq:u>"},
	{layer::icmpv6, 1, "", "      #mld: group <group:ip6>"},
	{layer::icmpv6, 1, "", "      #mld: code <mld_code:u> nsrc <nsrc:u> group <group:ip6>"},
	{layer::icmpv6, 2, "entries", "      #v3-query: source <source:ip6>"},
	{layer::icmpv6, 2, "entries", "                 source <source:ip6>"},
	{layer::icmpv6, 1, "", "      #mld: ngrp <ngrp:u>"},
	{layer::icmpv6, 2, "entries", "        #v2-report: record type <record_type:u> nsrc <nsrc:u> group <group:ip6>"},
	{layer::icmpv6, 2, "entries", "                    record type <record_type:u> nsrc <nsrc:u> group <group:ip6>"},
	{layer::icmpv6, 2, "entries", "                       source <source:ip6>"},
	{layer::icmpv6, 1, "", "      #rtr-adv: hop limit <hop_limit:u> flags 0x<flags:x> rlt <router_lifetime:u>"},
	{layer::icmpv6, 2, "options",
	 "        #rtr-adv-<option=prefix-info>: plen <prefix_len:u> flags 0x<flags:x> vlft <valid_lifetime:d> plft "
	 "<preferred_lifetime:d>"},
	{layer::icmpv6, 2, "+options", "                              prefix <prefix:ip6>"},
	{layer::icmpv6, 2, "options", "        #rtr-adv-<option=rdnss>: lft <lifetime:d>"},
	{layer::icmpv6, 2, "options", "                    dns <dns:ip6>"},
	{layer::icmpv6, 2, "options", "        #rtr-adv-<option=option>: type <type:u>, len <len:u>"},
	{layer::icmpv6, 1, "", "      #nbr-sol: tip <tip:ip6>"},

	{layer::udp, 0, "", "    #udp: sport <sport:u> dport <dport:u> len <len:u>"},

	{layer::tcp, 0, "",
	 "    #tcp: sport <sport:u> dport <dport:u>, seq <seq:u>, ack <ack:u>, cksum <cksum:x>, hdr len <hdr_len:u>"
	 "<fin_flag?, fin|><syn_flag?, syn|><rst_flag?, rst|><psh_flag?, psh|><ack_flag?, ack|><urg_flag?, urg|>"},
	{layer::tcp, 1, "options", "    #tcp: option type <type:u> len <len:u> <value:option>"},

	{layer::gre, 0, "", "    #gre: flag 0x<flags:x4> proto <proto:x4>"},

	{layer::vxlan, 0, "",
	 "      #VXLAN Flags: <gbp_flag?GBP Extension, |><network_id_flag?VXLAN Network ID, |><pan_flag?Personal Area Network|>"},
	{layer::vxlan, 1, "", "      #Group Policy ID: <group_policy_id:u>"},
	{layer::vxlan, 2, "", "      #VXLAN Network Id: <network_id:u>"},
	{layer::vxlan, 3, "", "      #PAN Id: <pan_id:u>"},

	{layer::esp, 0, "", "      #esp: spi: 0x<spi:x8>, sequence: 0x<sequence:x8>"},

	{layer::sip, 0, "lines", "      #sip: <line:line>"},
	{layer::http, 0, "lines", "      #http: <line:line>"},
	{layer::ftp, 0, "lines", "      #ftp: <line:line>"},

	{layer::dhcp, 0, "", "      #dhcp: message-type: <op:name>"},
	{layer::dhcp, 1, "", "             hardware type: <hardware_type:u>, len: <hardware_len:u>, hops: <hops:u>"},
	{layer::dhcp, 2, "", "             txn id: 0x<txn_id:x8>, seconds elapsed: <seconds_elapsed:u>"},
	{layer::dhcp, 3, "", "             boot flags: 0x<boot_flags:x4>"},
	{layer::dhcp, 4, "", "             client ip: <client_ip:ipv4>"},
	{layer::dhcp, 5, "", "             your ip: <your_ip:ipv4>"},
	{layer::dhcp, 6, "", "             next server ip: <next_server_ip:ipv4>"},
	{layer::dhcp, 7, "", "             relay agent ip: <relay_agent_ip:ipv4>"},
	{layer::dhcp, 8, "", "             client mac: <client_mac:mac>"},
	{layer::dhcp, 9, "", "             server host name: <server_host_name:text>"},
	{layer::dhcp, 10, "", "             boot file name: <boot_file_name:text>"},
	{layer::dhcp, 11, "", "             magic cookie: 0x<magic_cookie:x8>"},
	{layer::dhcp, 12, "", "      #dhcp-option: netmask: <netmask:ipv4>"},
	{layer::dhcp, 13, "", "      #dhcp-option: router: <router:ipv4>"},
	{layer::dhcp, 14, "", "      #dhcp-option: dns-server: <dns_servers:addresses>"},
	{layer::dhcp, 15, "", "      #dhcp-option: dns-name: <dns_name:text>"},
	{layer::dhcp, 16, "", "      #dhcp-option: requested-ip: <requested_ip:ipv4>"},
	{layer::dhcp, 17, "", "      #dhcp-option: message-type: <message_type:name>"},
	{layer::dhcp, 18, "", "      #dhcp-option: dhcp-server: <dhcp_server:ipv4>"},
	{layer::dhcp, 19, "relay_agent", "      #dhcp-option: option-82: Agent Circuit ID: <circuit_id:text>"},
	{layer::dhcp, 19, "relay_agent", "      #dhcp-option: option-82: Agent Remote  ID: <remote_id:text>"},
	{layer::dhcp, 19, "relay_agent", "      #dhcp-option: option-82: Type <type:u>, Value: <value:text>"},
	{layer::dhcp, 20, "", "      #dhcp-option: telvo-vlan: <vendor_vlan:u>"},
	{layer::dhcp, 21, "", "      #dhcp-option: Host Name: <host_name:text>"},
	{layer::dhcp, 22, "", "      #dhcp-option: Vendor Class ID: <vendor_class:text>"},

	{layer::dhcpv6, 0, "", "      #dhcpv6: message-type: <message_type_name:name> (<message_type:u>), xid <txn_id:x6>"},
	{layer::dhcpv6, 1, "", "      #dhcpv6-option: client-id duid type <client_duid_type_name:name>(<client_duid_type:u>)"},
	{layer::dhcpv6, 2, "", "      #dhcpv6-option: server-id duid type <server_duid_type_name:name>(<server_duid_type:u>)"},
	{layer::dhcpv6, 3, "", "                      duid <duid:bytes>"},
	{layer::dhcpv6, 4, "", "                      ll-addr <link_layer_address:mac>"},
	{layer::dhcpv6, 5, "", "      #dhcpv6-option: ia <ia_id:x8>"},
	{layer::dhcpv6, 6, "", "      #dhcpv6-option: temp-ia <temp_ia_id:x8>"},
	{layer::dhcpv6, 7, "", "      #dhcpv6-option: ia-addr <ia_address:ip6>"},
	{layer::dhcpv6, 8, "", "      #dhcpv6-option: server-addr <server_address:ip6>"},
	{layer::dhcpv6, 9, "", "      #dhcpv6-option: preference <preference:u>"},
	{layer::dhcpv6, 10, "", "      #dhcpv6-option: elapsed-time <elapsed_ms:u> ms"},
	{layer::dhcpv6, 11, "dns_servers", "      #dhcpv6-option: dns <ip:ip6>"},
	{layer::dhcpv6, 11, "dns_servers", "                      dns <ip:ip6>"},
	{layer::dhcpv6, 12, "", "      #dhcpv6-option: client-fqdn <client_fqdn:line> (flag <client_fqdn_flags:x>)"},
	{layer::dhcpv6, 13, "", "      #dhcpv6-option: status-code <status_code:u>,<status_message:text>"},
	{layer::dhcpv6, 14, "", "      #dhcpv6-option: req-opt <requested_options:options>"},

	{layer::dns, 0, "", "      #dns: message-type: <standard?standard|other> <response?response|query>, txn id: <txn_id:u>"},
	{layer::dns, 1, "", "             response code: <response_code_name:phrase>(<response_code:u>)"},
	{layer::dns, 2, "", "             query count: <query_count:u>, answer count <answer_count:u>"},
	{layer::dns, 2, "",
	 "             domain name: <name:text>, type: <type_name:name>(<type:u>), class: <class_name:name>(<class:u>)"},
	{layer::dns, 3, "answers", "             domain IP: <ip:ipv4>, ttl <ttl:d>"},
	{layer::dns, 3, "answers", "             domain name response: <name:text>, ttl <ttl:d>"},
	{layer::dns, 3, "answers", "             domain IP: <ip:ip6>, ttl <ttl:d>"},
};
