// SPDX-License-Identifier: GPL-2.0-only
#include "decode/link/link.h"
#include "tests/unit/support.h"

namespace test {

static bytes arp(uint32_t opcode, std::string_view sender = "10.0.0.1", std::string_view target = "10.0.0.2")
{
	return hex("0001 0800 06 04") + big16(opcode) + hex("020000000001") + ip4(sender) + hex("020000000002") + ip4(target);
}

class arp_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_ip = in_aton("192.0.2.1");
	}
};

TEST_F(arp_test, request)
{
	debug_pkt_ip = in_aton("10.0.0.2");
	EXPECT_EQ(outcome_of(decode(debug_pkt_arp, arp(1))), (outcome{28, 0x4, 0x1, 0}));
	check_decoder(debug_pkt_arp, arp(1),
		      "  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
}

TEST_F(arp_test, response)
{
	EXPECT_EQ(outcome_of(decode(debug_pkt_arp, arp(2))), (outcome{28, 0, 0x1, 0}));
	check_decoder(debug_pkt_arp, arp(2),
		      "  #arp: opcode response(2), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
}

TEST_F(arp_test, other_opcodes)
{
	check_decoder(debug_pkt_arp, arp(0),
		      "  #arp: opcode other(0), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
	check_decoder(debug_pkt_arp, arp(3),
		      "  #arp: opcode other(3), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
	// Both bytes of the opcode count.
	check_decoder(debug_pkt_arp, arp(0x101),
		      "  #arp: opcode other(257), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
}

TEST_F(arp_test, longest_line)
{
	check_decoder(debug_pkt_arp, bytes(28, 0xff),
		      "  #arp: opcode other(65535), sip 255.255.255.255, tip 255.255.255.255, smac ff:ff:ff:ff:ff:ff, tmac "
		      "ff:ff:ff:ff:ff:ff\n");
}

TEST_F(arp_test, hardware_and_protocol_types_are_not_looked_at)
{
	bytes odd = arp(1);
	for (size_t i = 0; i < 6; ++i)
		odd[i] = 0xee;
	EXPECT_EQ(decode(debug_pkt_arp, odd).text,
		  "  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
}

TEST_F(arp_test, address_criterion)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	EXPECT_EQ(decode(debug_pkt_arp, arp(1)).match, 0x4u) << "sender";
	debug_pkt_ip = in_aton("10.0.0.2");
	EXPECT_EQ(decode(debug_pkt_arp, arp(1)).match, 0x4u) << "target";
	EXPECT_EQ(decode(debug_pkt_arp, arp(1, "10.0.0.2", "10.0.0.2")).match, 0x4u) << "both";
	for (const char *near : {"11.0.0.2", "10.1.0.2", "10.0.1.2", "10.0.0.3", "2.0.0.10"}) {
		debug_pkt_ip = in_aton(near);
		EXPECT_EQ(decode(debug_pkt_arp, arp(1)).match, 0u) << near;
	}
	// The default filter address is that of a probe's sender.
	debug_pkt_ip = 0;
	EXPECT_EQ(decode(debug_pkt_arp, arp(1)).match, 0u);
	EXPECT_EQ(decode(debug_pkt_arp, arp(1, "0.0.0.0")).match, 0x4u);
}

TEST_F(arp_test, assigns_the_type_and_only_adds_match_bits)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->type = 0x3fffff;
		ctx->match = 0x20;
		return debug_pkt_arp(ctx, data, len);
	};
	EXPECT_EQ(outcome_of(decode(behind_others, arp(1), 0, 0x0806)), (outcome{28, 0x24, 0x1, 0x0806}));
	EXPECT_EQ(outcome_of(decode(behind_others, arp(1), 4095, 0x0806)), (outcome{28, 0x24, 0x1, 0x0806}));
}

TEST_F(arp_test, bytes_behind_the_packet_read_as_zero)
{
	const bytes whole = arp(1), cut(whole.begin(), whole.begin() + 16);
	const result shown = decode(debug_pkt_arp, cut);
	EXPECT_EQ(shown.text,
		  "  #arp: opcode request(1), sip 10.0.0.0, tip 0.0.0.0, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n");
	EXPECT_EQ(outcome_of(shown), (outcome{28, 0, 0x1, 0}));
}

TEST_F(arp_test, reads_what_follows_when_no_packet_is_announced)
{
	const packet block(arp(1));
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	EXPECT_EQ(debug_pkt_arp(ctx.get(), block.data()), 28u);
	EXPECT_EQ(debug_pkt_arp(ctx.get(), block.data(), 16), 28u);
	EXPECT_EQ(std::string(ctx->buf, ctx->len),
		  "  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n"
		  "  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 02:00:00:00:00:02\n");
}

} // namespace test
