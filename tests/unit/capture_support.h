// SPDX-License-Identifier: GPL-2.0-only
// What the tests of the capture entries share: packets as a datapath holds them, and this CPU's pending text.
#pragma once

#include "capture/percpu.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

// A packet in an exactly sized block, with its buffer and its descriptor.
struct arrival {
	explicit arrival(const bytes &content, net_device *dev, int32_t iif = 0)
	{
		skb.dev = dev;
		skb.skb_iif = iif;
		desc.skb = &skb;
		rewrite(content);
	}
	arrival(const arrival &) = delete;
	arrival &operator=(const arrival &) = delete;

	// What a stage of the datapath does to a packet between two checkpoints.
	void rewrite(const bytes &content)
	{
		block.reset(new uint8_t[content.size()]);
		if (!content.empty())
			std::memcpy(block.get(), content.data(), content.size());
		skb.data = block.get();
		skb.len = static_cast<uint32_t>(content.size());
		desc.data = skb.data;
	}

	sk_buff skb{};
	debug_pkt_desc desc{};

private:
	std::unique_ptr<uint8_t[]> block;
};

// The pending text of this CPU, which is empty from then on.
inline std::string take_text()
{
	std::string text;
	if (debug_pkt_buf_end > debug_pkt_buf)
		text.assign(debug_pkt_buf, static_cast<size_t>(debug_pkt_buf_end - debug_pkt_buf));
	debug_pkt_buf_end = debug_pkt_buf;
	return text;
}

// Wants every packet: all types, no criterion.
inline void want_everything()
{
	debug_pkt_type_flags = 0xffffffff;
	debug_pkt_match_flags = 0;
}

inline bytes arp_request()
{
	return hex("ffffffffffff 020000000001 0806"
		   "0001 0800 06 04 0001 020000000001 0a000001 000000000000 0a000002");
}
inline constexpr const char *arp_request_text =
	"  #mac: etype 0806 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
	"  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n";

// An IPv4 header and an echo request.
inline bytes ping()
{
	return hex("45 00 001c 0007 4000 40 01 abcd 0a000001 0a000002"
		   "08 00 f7fd 0001 0002");
}
inline constexpr const char *ping_text = "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 1 hdr len 20\n"
					 "       len 28, id 7, cksum abcd, ttl 64, dscp 0\n"
					 "       dont fragment, last fragment, frag off 0\n"
					 "    #icmp: type echo-request(8) code 0 id 1 seq 2\n";

// An Ethernet frame that nothing decodes behind its header: no packet type at all.
inline bytes unknown_frame()
{
	return hex("020000000002 020000000001 1234 0102030405060708");
}
inline constexpr const char *unknown_frame_text = "  #mac: etype 1234 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n";

} // namespace test
