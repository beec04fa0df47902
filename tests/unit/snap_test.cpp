// SPDX-License-Identifier: GPL-2.0-only
#include "decode/link/link.h"
#include "tests/unit/support.h"

namespace test {

class snap_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_proto = 0x1234;
	}
};

TEST_F(snap_test, plain_llc)
{
	const bytes stp = hex("42 42 03 00 00 00 00 00");
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, stp, 0, 38)), (outcome{2, 0, 0, 0x4242}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, stp, 4095, 38)), (outcome{2, 0, 0, 0x4242}));
	check_decoder(debug_pkt_snap, stp, "    #snap: sap 4242\n", 38);
	// Both access points are needed for more.
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, hex("aa 42 03 00 00 00 08 00"))), (outcome{2, 0, 0, 0xaa42}));
	check_decoder(debug_pkt_snap, hex("aa 42 03 00 00 00 08 00"), "    #snap: sap aa42\n");
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, hex("00 aa 03 00 00 00 08 00"))), (outcome{2, 0, 0, 0x00aa}));
	check_decoder(debug_pkt_snap, hex("00 aa 03 00 00 00 08 00"), "    #snap: sap 00aa\n");
}

TEST_F(snap_test, llc_with_another_control)
{
	const bytes other_control = hex("aa aa 04 00 00 00 08 00"), other_oui = hex("aa aa 03 01 00 00 08 00");
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, other_control)), (outcome{4, 0, 0, 0x0400}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, other_control, 4095)), (outcome{4, 0, 0, 0x0400}));
	check_decoder(debug_pkt_snap, other_control, "    #snap: sap aaaa ctl 0400\n");
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, other_oui)), (outcome{4, 0, 0, 0x0301}));
	check_decoder(debug_pkt_snap, other_oui, "    #snap: sap aaaa ctl 0301\n");
}

TEST_F(snap_test, snap)
{
	const bytes ipv4 = hex("aa aa 03 00 00 00 08 00");
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, ipv4)), (outcome{8, 0, 0, 0x0800}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, ipv4, 4095)), (outcome{8, 0, 0, 0x0800}));
	check_decoder(debug_pkt_snap, ipv4,
		      "    #snap: sap aaaa ctl 0300\n"
		      "           encap 0000 etype 0800/0800\n");
	check_decoder(debug_pkt_snap, hex("aa aa 03 00 0c 1f 20 0f"),
		      "    #snap: sap aaaa ctl 0300\n"
		      "           encap 0c1f etype 200f/200f\n");
}

TEST_F(snap_test, the_room_between_the_two_lines)
{
	const bytes ipv4 = hex("aa aa 03 00 00 00 08 00");
	const std::string first = "    #snap: sap aaaa ctl 0300\n";
	ASSERT_EQ(first.size(), 29u);
	// Only the end of text fits: one byte of room.
	EXPECT_EQ(decode(debug_pkt_snap, ipv4, 4094).text, std::string(1, '\0'));
	EXPECT_EQ(decode(debug_pkt_snap, ipv4, 4094).len, 4095u);
	// The first line would end at 4096 and at 4095: one or two characters lost, no second line.
	EXPECT_EQ(decode(debug_pkt_snap, ipv4, 4067).text, first.substr(0, 27) + '\0');
	EXPECT_EQ(decode(debug_pkt_snap, ipv4, 4066).text, first.substr(0, 28) + '\0');
	// It ends at 4094: the second line has room for its end alone.
	EXPECT_EQ(decode(debug_pkt_snap, ipv4, 4065).text, first + '\0');
	EXPECT_EQ(decode(debug_pkt_snap, ipv4, 4064).text, first + " " + '\0');
	for (uint32_t start : {4064u, 4065u, 4066u, 4067u, 4094u})
		EXPECT_EQ(outcome_of(decode(debug_pkt_snap, ipv4, start)), (outcome{8, 0, 0, 0x0800})) << start;
}

TEST_F(snap_test, protocol_criterion_on_every_path)
{
	const bytes plain = hex("42 42 03 00 00 00 08 00"), control = hex("aa aa 08 00 00 00 42 42"),
		    snap = hex("aa aa 03 00 00 00 08 00");
	for (uint32_t start : {0u, 4094u, 4095u}) {
		SCOPED_TRACE(start);
		debug_pkt_proto = 0x4242;
		EXPECT_EQ(decode(debug_pkt_snap, plain, start).match, 0x20u);
		EXPECT_EQ(decode(debug_pkt_snap, control, start).match, 0u);
		EXPECT_EQ(decode(debug_pkt_snap, snap, start).match, 0u);
		debug_pkt_proto = 2048;
		EXPECT_EQ(decode(debug_pkt_snap, plain, start).match, 0u);
		EXPECT_EQ(decode(debug_pkt_snap, control, start).match, 0x20u);
		EXPECT_EQ(decode(debug_pkt_snap, snap, start).match, 0x20u);
	}
	// A setting above 16 bits equals nothing.
	debug_pkt_proto = 0x10800;
	EXPECT_EQ(decode(debug_pkt_snap, snap).match, 0u);
	debug_pkt_proto = -1;
	EXPECT_EQ(decode(debug_pkt_snap, bytes(8, 0xff)).match, 0u);
	// 0, the default, equals an empty header's value.
	debug_pkt_proto = 0;
	EXPECT_EQ(decode(debug_pkt_snap, snap).match, 0u);
	EXPECT_EQ(decode(debug_pkt_snap, zeros(8)).match, 0x20u);
}

TEST_F(snap_test, bits_are_added_and_there_is_no_type)
{
	debug_pkt_proto = 2048;
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->match = 0x2;
		ctx->type = 0x100;
		return debug_pkt_snap(ctx, data, len);
	};
	EXPECT_EQ(outcome_of(decode(behind_others, hex("aa aa 03 00 00 00 08 00"))), (outcome{8, 0x22, 0x100, 0x0800}));
}

TEST_F(snap_test, a_line_of_20_characters_where_five_bytes_are_left)
{
	const result cut = decode(debug_pkt_snap, hex("42 42 03 00 00 00 00 00"), 4090);
	EXPECT_EQ(cut.text, std::string("    ") + '\0');
	EXPECT_EQ(cut.len, 4095u);
}

TEST_F(snap_test, private_types_stay_what_they_are)
{
	debug_pkt_proto = 2048;
	const bytes private_type = hex("aa aa 03 00 00 00 8e 10");
	EXPECT_EQ(outcome_of(decode(debug_pkt_snap, private_type)), (outcome{8, 0, 0, 0x8e10}));
	EXPECT_EQ(decode(debug_pkt_snap, private_type).text, "    #snap: sap aaaa ctl 0300\n"
							     "           encap 0000 etype 8e10/8e10\n");
}

TEST_F(snap_test, bytes_behind_the_packet_read_as_zero)
{
	const result cut = decode(debug_pkt_snap, hex("aa aa 03"));
	EXPECT_EQ(cut.text, "    #snap: sap aaaa ctl 0300\n"
			    "           encap 0000 etype 0000/0000\n");
	EXPECT_EQ(outcome_of(cut), (outcome{8, 0, 0, 0}));
}

} // namespace test
