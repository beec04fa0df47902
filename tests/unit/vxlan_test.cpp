// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using vxlan_test = core_test;

static uint32_t vxlan(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_vxlan(ctx, data, static_cast<uint16_t>(len), nullptr);
}

// A frame of a type that nobody decodes.
static const bytes frame = hex("ffffffffffff 020000000001 1234");
static const char frame_text[] = "  #mac: etype 1234 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n";

TEST_F(vxlan_test, network_id)
{
	const bytes content = hex("08 000000 001234 00") + frame;
	const result got = decode(vxlan, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 22u);
	EXPECT_EQ(got.type, 0x200000u);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0u);
	check_decoder(vxlan, content,
		      std::string("      #VXLAN Flags: VXLAN Network ID, \n"
				  "      #VXLAN Network Id: 4660\n") +
			      frame_text);
}

TEST_F(vxlan_test, no_flags)
{
	const bytes content = hex("00 ffffff ffffff ff") + frame;
	EXPECT_EQ(decode(vxlan, content).consumed, 22u);
	check_decoder(vxlan, content, std::string("      #VXLAN Flags: \n") + frame_text);
}

TEST_F(vxlan_test, group_policy_in_front_of_the_network_id)
{
	const bytes content = hex("88 00 000a 000001 ff") + frame;
	check_decoder(vxlan, content,
		      std::string("      #VXLAN Flags: GBP Extension, VXLAN Network ID, \n"
				  "      #Group Policy ID: 10\n"
				  "      #VXLAN Network Id: 1\n") +
			      frame_text);
}

TEST_F(vxlan_test, all_flags)
{
	const bytes content = hex("ff ffffff ffffff ff") + frame;
	check_decoder(vxlan, content,
		      std::string("      #VXLAN Flags: GBP Extension, VXLAN Network ID, Personal Area Network\n"
				  "      #Group Policy ID: 65535\n"
				  "      #VXLAN Network Id: 16777215\n"
				  "      #PAN Id: 16777215\n") +
			      frame_text);
}

// Bytes 1 to 3 hold the area's id, bytes 2 and 3 the policy's, bytes 4 to 6 the network's.
TEST_F(vxlan_test, every_first_byte)
{
	for (uint32_t flags = 0; flags < 256; ++flags) {
		SCOPED_TRACE(flags);
		std::string words, lines;
		if (flags & 0x80) {
			words += "GBP Extension, ";
			lines += "      #Group Policy ID: 515\n";
		}
		if (flags & 0x08) {
			words += "VXLAN Network ID, ";
			lines += "      #VXLAN Network Id: 263430\n";
		}
		if (flags & 0x04) {
			words += "Personal Area Network";
			lines += "      #PAN Id: 66051\n";
		}
		const result got = decode(vxlan, bytes{static_cast<uint8_t>(flags)} + hex("010203 040506 07") + frame);
		EXPECT_EQ(got.text, "      #VXLAN Flags: " + words + "\n" + lines + frame_text);
		EXPECT_EQ(got.consumed, 22u);
		EXPECT_EQ(got.type, 0x200000u);
	}
}

TEST_F(vxlan_test, inner_frame_meets_the_filter)
{
	debug_pkt_proto = 0x1234;
	debug_pkt_mac[0] = 2;
	debug_pkt_mac[5] = 1;
	EXPECT_EQ(decode(vxlan, zeros(8) + frame).match, 0x22u);
	EXPECT_EQ(decode(vxlan, zeros(8) + frame, 4095).match, 0x22u);
	EXPECT_EQ(decode(vxlan, zeros(8) + frame, 4095).consumed, 22u);
}

TEST_F(vxlan_test, inner_ipv6)
{
	const bytes content = hex("08 000000 00000a 00") + hex("020000000002 020000000001 86dd") + hex("60000000 0008 11 40") +
			      hex("20010db8 00000000 00000000 00000001") + hex("20010db8 00000000 00000000 00000002") +
			      hex("0400 0401 0008 0000");
	const result got = decode(vxlan, content);
	EXPECT_EQ(got.consumed, 8u + 14 + 40 + 8);
	EXPECT_EQ(got.type, 0x200000u | 0x80);
	check_decoder(vxlan, content,
		      "      #VXLAN Flags: VXLAN Network ID, \n"
		      "      #VXLAN Network Id: 10\n"
		      "  #mac: etype 86dd smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 8 next hdr 17\n"
		      "    #udp: sport 1024 dport 1025 len 8\n");
	// The length, less the header's 8 bytes, goes to the inner frame; below 8 it wraps to an end in front of the frame.
	const auto consumed = [&](uint16_t length) {
		return decode([length](debug_pkt_ctx *ctx, const uint8_t *data,
				       uint32_t) { return debug_pkt_vxlan(ctx, data, length, nullptr); },
			      content)
			.consumed;
	};
	EXPECT_EQ(consumed(65535), 70u);
	EXPECT_EQ(consumed(63), 70u);
	EXPECT_EQ(consumed(62), 62u);
	EXPECT_EQ(consumed(8), 62u);
	EXPECT_EQ(consumed(7), 62u);
	EXPECT_EQ(consumed(0), 62u);
}

TEST_F(vxlan_test, cut)
{
	const char no_frame[] = "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
				"    #snap: sap 0000\n";
	EXPECT_EQ(decode(vxlan, {}).text, std::string("      #VXLAN Flags: \n") + no_frame);
	EXPECT_EQ(decode(vxlan, {}).consumed, 8u + 14 + 2);
	EXPECT_EQ(decode(vxlan, hex("8c 01 02")).text,
		  std::string("      #VXLAN Flags: GBP Extension, VXLAN Network ID, Personal Area Network\n"
			      "      #Group Policy ID: 512\n"
			      "      #VXLAN Network Id: 0\n"
			      "      #PAN Id: 66048\n") +
			  no_frame);
	EXPECT_EQ(decode(vxlan, hex("08 000000 01")).text, std::string("      #VXLAN Flags: VXLAN Network ID, \n"
								       "      #VXLAN Network Id: 65536\n") +
								   no_frame);
}

} // namespace test
