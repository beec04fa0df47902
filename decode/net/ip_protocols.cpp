// SPDX-License-Identifier: GPL-2.0-only
// The IP-protocol table.
#include "decode/net/net.h"

const ip_entry debug_pkt_ip_list[6] = {
	{ip_protocol::icmp, debug_pkt_icmp}, {ip_protocol::igmp, debug_pkt_igmp}, {ip_protocol::udp, debug_pkt_udp},
	{ip_protocol::tcp, debug_pkt_tcp},   {ip_protocol::gre, debug_pkt_gre},   {ip_protocol::icmp6, debug_pkt_icmp6},
};

ip_decoder *find_ip_decoder(uint8_t protocol)
{
#pragma GCC unroll 6
	for (const ip_entry &entry : debug_pkt_ip_list)
		if (entry.protocol == static_cast<ip_protocol>(protocol))
			return entry.decode;
	return nullptr;
}
