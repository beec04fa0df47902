// SPDX-License-Identifier: GPL-2.0-only
#include "decode/link/link.h"
#include "tests/unit/support.h"

namespace test {

static bytes discovery(uint8_t code, uint32_t session)
{
	return hex("11") + bytes{code} + big16(session) + hex("0000");
}

static bytes session_stage(uint32_t session, uint32_t protocol)
{
	return hex("11 00") + big16(session) + hex("0002") + big16(protocol);
}

class pppoe_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_proto = 0x1234;
	}
};

TEST_F(pppoe_test, discovery_codes)
{
	check_decoder(debug_pkt_pppoed, discovery(0x09, 0), "  #pppoe discovery initiation (9), session id 0\n");
	check_decoder(debug_pkt_pppoed, discovery(0x07, 0), "  #pppoe discovery offer (7), session id 0\n");
	check_decoder(debug_pkt_pppoed, discovery(0x19, 0), "  #pppoe discovery request (19), session id 0\n");
	check_decoder(debug_pkt_pppoed, discovery(0x65, 17), "  #pppoe discovery confirmation (65), session id 17\n");
	check_decoder(debug_pkt_pppoed, discovery(0xa7, 65535), "  #pppoe discovery terminate (a7), session id 65535\n");
	check_decoder(debug_pkt_pppoed, discovery(0x00, 256), "  #pppoe discovery unknown (0), session id 256\n");
	check_decoder(debug_pkt_pppoed, discovery(0x08, 1), "  #pppoe discovery unknown (8), session id 1\n");
	check_decoder(debug_pkt_pppoed, discovery(0xff, 1), "  #pppoe discovery unknown (ff), session id 1\n");
}

TEST_F(pppoe_test, discovery_sets_its_type_and_leaves_proto)
{
	EXPECT_EQ(outcome_of(decode(debug_pkt_pppoed, discovery(0x09, 0), 0, 0x8863)), (outcome{6, 0, 0x2, 0x8863}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_pppoed, discovery(0x09, 0), 4095, 0x8863)), (outcome{6, 0, 0x2, 0x8863}));
	// No criterion of its own, and no tags: the result does not depend on what follows.
	debug_pkt_proto = 0x0101;
	EXPECT_EQ(outcome_of(decode(debug_pkt_pppoed, discovery(0x09, 0) + hex("01010000 01010000"), 0, 0x8863)),
		  (outcome{6, 0, 0x2, 0x8863}));
}

TEST_F(pppoe_test, session_protocols)
{
	check_decoder(debug_pkt_pppoes, session_stage(1, 0x0021), "  #pppoe protocol ipv4(0x21), session id 1\n");
	check_decoder(debug_pkt_pppoes, session_stage(2, 0x0057), "  #pppoe protocol ipv6(0x57), session id 2\n");
	check_decoder(debug_pkt_pppoes, session_stage(3, 0xc021), "  #pppoe protocol link-control(0xc021), session id 3\n", 0x8864);
	check_decoder(debug_pkt_pppoes, session_stage(4, 0xc023), "  #pppoe protocol passwd-auth(0xc023), session id 4\n");
	check_decoder(debug_pkt_pppoes, session_stage(5, 0xc025), "  #pppoe protocol link-quality-report(0xc025), session id 5\n");
	check_decoder(debug_pkt_pppoes, session_stage(65535, 0xc223),
		      "  #pppoe protocol challenge-handshake-auth(0xc223), session id 65535\n");
	check_decoder(debug_pkt_pppoes, session_stage(0, 0x8021), "  #pppoe protocol other(0x8021), session id 0\n");
	check_decoder(debug_pkt_pppoes, session_stage(0, 0x0000), "  #pppoe protocol other(0x0), session id 0\n");
	check_decoder(debug_pkt_pppoes, session_stage(0, 0x2100), "  #pppoe protocol other(0x2100), session id 0\n");
}

TEST_F(pppoe_test, session_leaves_the_inner_protocol)
{
	for (uint32_t start : {0u, 4094u, 4095u}) {
		SCOPED_TRACE(start);
		EXPECT_EQ(outcome_of(decode(debug_pkt_pppoes, session_stage(1, 0x0021), start, 0x8864)),
			  (outcome{8, 0, 0x2, 0x0800}));
		EXPECT_EQ(outcome_of(decode(debug_pkt_pppoes, session_stage(1, 0x0057), start, 0x8864)),
			  (outcome{8, 0, 0x2, 0x86dd}));
		EXPECT_EQ(outcome_of(decode(debug_pkt_pppoes, session_stage(1, 0xc021), start, 0x8864)),
			  (outcome{8, 0, 0x2, 0x8864}));
	}
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0021), 4095, 0x8864).text, "");
}

TEST_F(pppoe_test, session_protocol_criterion)
{
	debug_pkt_proto = 0x0021;
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0021)).match, 0x20u);
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0021), 4095).match, 0x20u);
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0057)).match, 0u);
	// The PPP number counts, not the ethertype that it stands for.
	debug_pkt_proto = 0x0800;
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0021)).match, 0u);
	debug_pkt_proto = 0x10021;
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0021)).match, 0u);
	debug_pkt_proto = 0;
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0021)).match, 0u);
	EXPECT_EQ(decode(debug_pkt_pppoes, session_stage(1, 0x0000)).match, 0x20u);
}

TEST_F(pppoe_test, bits_are_added)
{
	debug_pkt_proto = 0x0021;
	const auto behind_others = [](auto decode_stage) {
		return [decode_stage](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
			ctx->type = 0x100;
			ctx->match = 0x2;
			return decode_stage(ctx, data, len);
		};
	};
	EXPECT_EQ(outcome_of(decode(behind_others(debug_pkt_pppoed), discovery(0x09, 0))), (outcome{6, 0x2, 0x102, 0}));
	EXPECT_EQ(outcome_of(decode(behind_others(debug_pkt_pppoes), session_stage(1, 0x0021))), (outcome{8, 0x22, 0x102, 0x0800}));
}

TEST_F(pppoe_test, bytes_behind_the_packet_read_as_zero)
{
	EXPECT_EQ(decode(debug_pkt_pppoed, hex("11 09 12")).text, "  #pppoe discovery initiation (9), session id 4608\n");
	const result cut = decode(debug_pkt_pppoes, hex("11 00 0001 0002 c0"), 0, 0x8864);
	EXPECT_EQ(cut.text, "  #pppoe protocol other(0xc000), session id 1\n");
	EXPECT_EQ(outcome_of(cut), (outcome{8, 0, 0x2, 0x8864}));
}

} // namespace test
