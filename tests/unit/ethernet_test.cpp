// SPDX-License-Identifier: GPL-2.0-only
#include "capture/ethernet.h"
#include "decode/link/link.h"
#include "decode/net/net.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

// From 02:00:00:00:00:01 to 02:00:00:00:00:02.
static bytes frame(uint32_t type, const bytes &payload)
{
	return hex("020000000002 020000000001") + big16(type) + payload;
}

// A frame that its first 8 bytes make a SNAP header with this type.
static bytes snap_frame(uint32_t type, const bytes &payload)
{
	return hex("aaaa03000000") + big16(type) + hex("00000001 002e aaaa030000000000") + payload;
}

// The payload of a tag's type field.
static bytes tag(uint32_t control, uint32_t inner, const bytes &payload)
{
	return big16(control) + big16(inner) + payload;
}

static const bytes ipv4 = hex("4500 0014 0001 0000 40 59 00c6 0a000001 0a000002");
static const std::string ipv4_text = "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
				     "       len 20, id 1, cksum c6, ttl 64, dscp 0\n"
				     "       fragment ok, last fragment, frag off 0\n";

static const bytes ipv6 =
	hex("60000000 0000 3b 40") + hex("20010db8 00000000 00000000 00000001") + hex("20010db8 00000000 00000000 00000002");
static const std::string ipv6_text = "  #ipv6: sip 2001:db8::1\n"
				     "         dip 2001:db8::2\n"
				     "         hoplimit 64 payload len 0 next hdr 59\n";

static const bytes arp = hex("0001 0800 06 04 0001 020000000001 0a000001 000000000000 0a000002");
static const std::string arp_text =
	"  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.2, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n";

static const bytes apmsg = hex("1234") + zeros(62);
static const std::string apmsg_text = "  #apmsg: magic 0x1234, unsupported magic\n";

// GRE without options, leaving its protocol behind.
static bytes ipv4_gre(uint32_t protocol, const bytes &payload)
{
	return hex("4500 0018 0001 0000 40 2f 00c6 0a000001 0a000002 0000") + big16(protocol) + payload;
}
static const std::string ipv4_gre_text = "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 47 hdr len 20\n"
					 "       len 24, id 1, cksum c6, ttl 64, dscp 0\n"
					 "       fragment ok, last fragment, frag off 0\n";

static decoder parse(uint32_t level, uint32_t type)
{
	return [=](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) { return debug_pkt_parse(ctx, data, len, level, type); };
}

static void filter_mac(const bytes &mac)
{
	std::memcpy(debug_pkt_mac, mac.data(), 6);
}

class ethernet_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_ip = in_aton("192.0.2.1");
		debug_pkt_ip6[0] = 0xfe;
		debug_pkt_vlan = 4000;
		debug_pkt_proto = 0x1234;
		debug_pkt_port = 4001;
		gre_type = 0x6558;
		filter_mac(hex("02000000000f"));
	}
};

TEST_F(ethernet_test, table)
{
	const std::pair<uint32_t, frame_decoder *> expected[] = {
		{0x8100, debug_pkt_vlan_match}, {0x8863, debug_pkt_pppoed}, {0x8864, debug_pkt_pppoes}, {0x8ffd, debug_pkt_apmsg},
		{0x0806, debug_pkt_arp},        {0x0800, debug_pkt_ipv4},   {0x86dd, debug_pkt_ipv6},
	};
	ASSERT_EQ(std::size(debug_pkt_l2_list), std::size(expected));
	for (size_t i = 0; i < std::size(expected); ++i) {
		EXPECT_EQ(static_cast<uint32_t>(debug_pkt_l2_list[i].type), expected[i].first);
		EXPECT_EQ(debug_pkt_l2_list[i].decode, expected[i].second);
	}
}

TEST_F(ethernet_test, unknown_type)
{
	const bytes lldp = frame(0x88cc, hex("0207 0400"));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, lldp)), (outcome{14, 0, 0, 0}));
	check_decoder(debug_pkt_eth, lldp, "  #mac: etype 88cc smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n");
	EXPECT_EQ(decode(debug_pkt_eth, lldp).text.size(), 65u);
	check_decoder(debug_pkt_eth, hex("010203040506 f1f2f3f4f5f6 ffff"),
		      "  #mac: etype ffff smac f1:f2:f3:f4:f5:f6 dmac 01:02:03:04:05:06\n");
}

TEST_F(ethernet_test, every_type_of_the_table)
{
	const std::string mac = " smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n";
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x8863, hex("1109 0000 0000")))), (outcome{20, 0, 0x2, 0}));
	check_decoder(debug_pkt_eth, frame(0x8863, hex("1109 0000 0000")),
		      "  #mac: etype 8863" + mac + "  #pppoe discovery initiation (9), session id 0\n");
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x8ffd, apmsg))), (outcome{14, 0, 0x4, 0}));
	check_decoder(debug_pkt_eth, frame(0x8ffd, apmsg), "  #mac: etype 8ffd" + mac + apmsg_text);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x0806, arp))), (outcome{42, 0, 0x1, 0}));
	check_decoder(debug_pkt_eth, frame(0x0806, arp), "  #mac: etype 0806" + mac + arp_text);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x0800, ipv4))), (outcome{34, 0, 0, 0}));
	check_decoder(debug_pkt_eth, frame(0x0800, ipv4), "  #mac: etype 0800" + mac + ipv4_text);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x86dd, ipv6))), (outcome{54, 0, 0, 0}));
	check_decoder(debug_pkt_eth, frame(0x86dd, ipv6), "  #mac: etype 86dd" + mac + ipv6_text);
	// Tags and the session stage have tests of their own.
}

TEST_F(ethernet_test, mac_criterion)
{
	const bytes lldp = frame(0x88cc, {});
	filter_mac(hex("020000000001"));
	EXPECT_EQ(decode(debug_pkt_eth, lldp).match, 0x2u) << "source";
	EXPECT_EQ(decode(debug_pkt_eth, lldp, 4095).match, 0x2u) << "source, no room";
	filter_mac(hex("020000000002"));
	EXPECT_EQ(decode(debug_pkt_eth, lldp).match, 0x2u) << "destination";
	EXPECT_EQ(decode(debug_pkt_eth, hex("020000000002 020000000002 88cc")).match, 0x2u) << "both";
	for (size_t i = 0; i < 6; ++i) {
		bytes near = hex("020000000001");
		near[i] ^= 0x40;
		filter_mac(near);
		EXPECT_EQ(decode(debug_pkt_eth, lldp).match, 0u) << "another byte " << i;
	}
	// Bytes that lie across the two addresses are none.
	filter_mac(hex("000000000202"));
	EXPECT_EQ(decode(debug_pkt_eth, lldp).match, 0u);
	filter_mac(zeros(6));
	EXPECT_EQ(decode(debug_pkt_eth, lldp).match, 0u);
	EXPECT_EQ(decode(debug_pkt_eth, hex("ffffffffffff 000000000000 88cc")).match, 0x2u);
}

TEST_F(ethernet_test, protocol_criterion)
{
	debug_pkt_proto = 0x88cc;
	EXPECT_EQ(decode(debug_pkt_eth, frame(0x88cc, {})).match, 0x20u);
	EXPECT_EQ(decode(debug_pkt_eth, frame(0x88cc, {}), 4095).match, 0x20u);
	EXPECT_EQ(decode(debug_pkt_eth, frame(0xcc88, {})).match, 0u);
	debug_pkt_proto = 0x188cc;
	EXPECT_EQ(decode(debug_pkt_eth, frame(0x88cc, {})).match, 0u);
	debug_pkt_proto = -1;
	EXPECT_EQ(decode(debug_pkt_eth, frame(0xffff, {})).match, 0u);
	// An 802.3 length is compared as well; so is what the LLC header has.
	debug_pkt_proto = 46;
	EXPECT_EQ(decode(debug_pkt_eth, frame(46, {})).match, 0x20u);
	debug_pkt_proto = 0x0200;
	EXPECT_EQ(decode(debug_pkt_eth, frame(46, {})).match, 0x20u);
	debug_pkt_proto = 0;
	EXPECT_EQ(decode(debug_pkt_eth, frame(46, {})).match, 0u);
	EXPECT_EQ(decode(debug_pkt_eth, frame(0, {})).match, 0x20u);
}

TEST_F(ethernet_test, private_types_are_decoded_as_ipv4)
{
	struct row {
		uint32_t type;
		bool is_private;
		const char *line;
	};
	const row rows[] = {
		{0x8dff, false, "  #mac: etype 8dff smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"},
		{0x8e00, true, "  #mac: etype 8e00 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"},
		{0x8e10, true, "  #mac: etype 8e10 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"},
		{0x8f5f, true, "  #mac: etype 8f5f smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"},
		{0x8f60, false, "  #mac: etype 8f60 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(row.line);
		const bytes packet = frame(row.type, ipv4);
		debug_pkt_proto = 2048;
		EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)),
			  (row.is_private ? outcome{34, 0x20, 0, 0} : outcome{14, 0, 0, 0}));
		debug_pkt_proto = static_cast<int32_t>(row.type);
		EXPECT_EQ(decode(debug_pkt_eth, packet).match, row.is_private ? 0u : 0x20u);
		check_decoder(debug_pkt_eth, packet, row.line + (row.is_private ? ipv4_text : ""));
	}
}

TEST_F(ethernet_test, private_types_in_a_tag)
{
	struct row {
		uint32_t type;
		bool is_private;
		const char *line;
	};
	const row rows[] = {
		{0x8dff, false, "  #vlan 7, prio 0, etype 8dff\n"}, {0x8e00, true, "  #vlan 7, prio 0, etype 8e00\n"},
		{0x8e10, true, "  #vlan 7, prio 0, etype 8e10\n"},  {0x8f5f, true, "  #vlan 7, prio 0, etype 8f5f\n"},
		{0x8f60, false, "  #vlan 7, prio 0, etype 8f60\n"},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(row.line);
		const bytes packet = tag(7, row.type, ipv4);
		debug_pkt_proto = 2048;
		EXPECT_EQ(outcome_of(decode(debug_pkt_vlan_match, packet)),
			  (row.is_private ? outcome{24, 0x20, 0, 0} : outcome{4, 0, 0, 0}));
		debug_pkt_proto = static_cast<int32_t>(row.type);
		EXPECT_EQ(decode(debug_pkt_vlan_match, packet).match, row.is_private ? 0u : 0x20u);
		check_decoder(debug_pkt_vlan_match, packet, row.line + (row.is_private ? ipv4_text : ""));
	}
}

TEST_F(ethernet_test, private_types_are_unknown_everywhere_else)
{
	debug_pkt_proto = 2048;
	// The payload of a type that the caller names.
	EXPECT_EQ(outcome_of(decode(parse(1, 0x8e10), ipv4)), (outcome{0, 0, 0, 0x8e10}));
	// What SNAP leaves.
	const bytes snap = snap_frame(0x8e10, ipv4);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, snap)), (outcome{22, 0, 0, 0}));
	EXPECT_EQ(decode(debug_pkt_eth, snap).text, "  #mac: etype 002e smac 8e:10:00:00:00:01 dmac aa:aa:03:00:00:00\n"
						    "    #snap: sap aaaa ctl 0300\n"
						    "           encap 0000 etype 8e10/8e10\n");
	// What GRE leaves.
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x0800, ipv4_gre(0x8e10, ipv4)))), (outcome{38, 0x20, 0x100, 0}));
	// The protocol of a PPPoE session.
	debug_pkt_proto = 0x1234;
	const bytes session = frame(0x8864, hex("1100 0001 0016 8e10") + ipv4);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, session)), (outcome{22, 0, 0x2, 0}));
	EXPECT_EQ(decode(debug_pkt_eth, session).text, "  #mac: etype 8864 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
						       "  #pppoe protocol other(0x8e10), session id 1\n");
}

TEST_F(ethernet_test, an_802_3_length_calls_the_llc_decoder_on_the_frame_itself)
{
	const bytes stp = hex("0180c2000000 020000000001 0026 42 42 03 0000");
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, stp)), (outcome{16, 0, 0, 0}));
	check_decoder(debug_pkt_eth, stp,
		      "  #mac: etype 0026 smac 02:00:00:00:00:01 dmac 01:80:c2:00:00:00\n"
		      "    #snap: sap 0180\n");
	const bytes with_control = hex("aaaa04000000 020000000001 002e") + zeros(10);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, with_control)), (outcome{18, 0, 0, 0}));
	check_decoder(debug_pkt_eth, with_control,
		      "  #mac: etype 002e smac 02:00:00:00:00:01 dmac aa:aa:04:00:00:00\n"
		      "    #snap: sap aaaa ctl 0400\n");
}

TEST_F(ethernet_test, largest_802_3_length)
{
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(1499, {}))), (outcome{16, 0, 0, 0}));
	check_decoder(debug_pkt_eth, frame(1499, {}),
		      "  #mac: etype 05db smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		      "    #snap: sap 0200\n");
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(1500, {}))), (outcome{14, 0, 0, 0}));
	check_decoder(debug_pkt_eth, frame(1500, {}), "  #mac: etype 05dc smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n");
}

TEST_F(ethernet_test, every_type_of_the_table_behind_snap)
{
	struct row {
		uint32_t type;
		bytes payload;
		outcome expected;
		const char *smac, *etype;
		std::string text;
	};
	const row rows[] = {
		{0x8100, tag(7, 0x0800, ipv4), {46, 0, 0, 0}, "81:00", "8100", "  #vlan 7, prio 0, etype 0800\n" + ipv4_text},
		{0x8863,
		 hex("1109 0000 0000"),
		 {28, 0, 0x2, 0},
		 "88:63",
		 "8863",
		 "  #pppoe discovery initiation (9), session id 0\n"},
		{0x8864,
		 hex("1100 0001 0016 0021") + ipv4,
		 {50, 0, 0x2, 0},
		 "88:64",
		 "8864",
		 "  #pppoe protocol ipv4(0x21), session id 1\n" + ipv4_text},
		{0x8ffd, apmsg, {22, 0, 0x4, 0}, "8f:fd", "8ffd", apmsg_text},
		{0x0806, arp, {50, 0, 0x1, 0}, "08:06", "0806", arp_text},
		{0x0800, ipv4, {42, 0, 0, 0}, "08:00", "0800", ipv4_text},
		{0x86dd, ipv6, {62, 0, 0, 0}, "86:dd", "86dd", ipv6_text},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(row.etype);
		const bytes packet = snap_frame(row.type, row.payload);
		EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), row.expected);
		EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet, 4095)), row.expected);
		check_decoder(debug_pkt_eth, packet,
			      std::string("  #mac: etype 002e smac ") + row.smac +
				      ":00:00:00:01 dmac aa:aa:03:00:00:00\n"
				      "    #snap: sap aaaa ctl 0300\n"
				      "           encap 0000 etype " +
				      row.etype + "/" + row.etype + "\n" + row.text);
	}
}

TEST_F(ethernet_test, the_walk_takes_what_a_short_llc_header_leaves)
{
	// The service access points 08 and 00 are IPv4's type, control aa aa 86 dd is IPv6's.
	const bytes plain = hex("080000000002 020000000001 0016 0000") + ipv4;
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, plain)), (outcome{36, 0, 0, 0}));
	check_decoder(debug_pkt_eth, plain,
		      "  #mac: etype 0016 smac 02:00:00:00:00:01 dmac 08:00:00:00:00:02\n"
		      "    #snap: sap 0800\n" +
			      ipv4_text);
	const bytes control = hex("aaaa86dd0002 020000000001 0016 00000000") + ipv6;
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, control)), (outcome{58, 0, 0, 0}));
	check_decoder(debug_pkt_eth, control,
		      "  #mac: etype 0016 smac 02:00:00:00:00:01 dmac aa:aa:86:dd:00:02\n"
		      "    #snap: sap aaaa ctl 86dd\n" +
			      ipv6_text);
}

TEST_F(ethernet_test, pppoe_session_hands_on_to_ip)
{
	const std::string mac = "  #mac: etype 8864 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n";
	const bytes with_ipv4 = frame(0x8864, hex("1100 0001 0016 0021") + ipv4);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, with_ipv4)), (outcome{42, 0, 0x2, 0}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, with_ipv4, 4095)), (outcome{42, 0, 0x2, 0}));
	check_decoder(debug_pkt_eth, with_ipv4, mac + "  #pppoe protocol ipv4(0x21), session id 1\n" + ipv4_text);
	const bytes with_ipv6 = frame(0x8864, hex("1100 0001 002a 0057") + ipv6);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, with_ipv6)), (outcome{62, 0, 0x2, 0}));
	check_decoder(debug_pkt_eth, with_ipv6, mac + "  #pppoe protocol ipv6(0x57), session id 1\n" + ipv6_text);
	const bytes with_lcp = frame(0x8864, hex("1100 0001 0006 c021 09010004"));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, with_lcp)), (outcome{22, 0, 0x2, 0}));
	check_decoder(debug_pkt_eth, with_lcp, mac + "  #pppoe protocol link-control(0xc021), session id 1\n");
}

TEST_F(ethernet_test, nothing_follows_a_pppoe_session_in_a_tag)
{
	const bytes packet = frame(0x8100, tag(7, 0x8864, hex("1100 0001 0016 0021") + ipv4));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), (outcome{26, 0, 0x2, 0}));
	check_decoder(debug_pkt_eth, packet,
		      "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		      "  #vlan 7, prio 0, etype 8864\n"
		      "  #pppoe protocol ipv4(0x21), session id 1\n");
}

TEST_F(ethernet_test, gre_hands_on_to_the_ipv6_decoder)
{
	const std::string mac = "  #mac: etype 0800 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n";
	const bytes with_ipv6 = frame(0x0800, ipv4_gre(0x86dd, ipv6));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, with_ipv6)), (outcome{78, 0, 0x100, 0}));
	check_decoder(debug_pkt_eth, with_ipv6, mac + ipv4_gre_text + "    #gre: flag 0x0000 proto 86dd\n" + ipv6_text);
	// The walk does not turn back: IPv4's own entry and the earlier ones are behind it.
	for (uint32_t earlier : {0x0800u, 0x0806u, 0x8100u}) {
		SCOPED_TRACE(earlier);
		EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x0800, ipv4_gre(earlier, ipv4)))), (outcome{38, 0, 0x100, 0}));
	}
	check_decoder(debug_pkt_eth, frame(0x0800, ipv4_gre(0x0800, ipv4)),
		      mac + ipv4_gre_text + "    #gre: flag 0x0000 proto 0800\n");
	// Behind a tag nothing follows.
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x8100, tag(7, 0x0800, ipv4_gre(0x86dd, ipv6))))),
		  (outcome{42, 0, 0x100, 0}));
}

TEST_F(ethernet_test, an_inner_frame_clears_proto)
{
	// Behind the inner ARP the outer walk finds nothing to go on with, and ARP has dropped the type bit of GRE.
	const bytes packet = frame(0x0800, ipv4_gre(0x8850, frame(0x0806, arp)));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), (outcome{80, 0, 0x1, 0}));
	check_decoder(debug_pkt_eth, packet,
		      "  #mac: etype 0800 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n" + ipv4_gre_text +
			      "    #gre: flag 0x0000 proto 8850\n"
			      "  #mac: etype 0806 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n" +
			      arp_text);
}

TEST_F(ethernet_test, tagged_ipv4)
{
	bytes with_udp = ipv4 + hex("1388 1389 0008 0000");
	with_udp[3] = 28;
	with_udp[9] = 17;
	const bytes packet = frame(0x8100, tag(0xa064, 0x0800, with_udp));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), (outcome{46, 0, 0x80, 0}));
	check_decoder(debug_pkt_eth, packet,
		      "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		      "  #vlan 100, prio 5, etype 0800\n"
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ethernet_test, tag_with_an_unknown_type)
{
	const bytes packet = frame(0x8100, tag(0xffff, 0x88cc, hex("0207")));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), (outcome{18, 0, 0, 0}));
	check_decoder(debug_pkt_eth, packet,
		      "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		      "  #vlan 4095, prio 7, etype 88cc\n");
	// A length is no type: tags hold no LLC header.
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x8100, tag(1, 0x002e, zeros(46))))), (outcome{18, 0, 0, 0}));
	EXPECT_EQ(decode(debug_pkt_vlan_match, tag(1, 0x002e, zeros(46))).text, "  #vlan 1, prio 0, etype 002e\n");
}

TEST_F(ethernet_test, every_type_of_the_table_in_a_tag)
{
	struct row {
		uint32_t type;
		bytes payload;
		outcome expected;
		const char *line;
		std::string text;
	};
	const row rows[] = {
		{0x8100,
		 tag(0x6fff, 0x88cc, {}),
		 {8, 0, 0, 0},
		 "  #vlan 7, prio 1, etype 8100\n",
		 "  #vlan 4095, prio 3, etype 88cc\n"},
		{0x8863,
		 hex("1165 0001 0000"),
		 {10, 0, 0x2, 0},
		 "  #vlan 7, prio 1, etype 8863\n",
		 "  #pppoe discovery confirmation (65), session id 1\n"},
		{0x8864,
		 hex("1100 0001 0000 c223"),
		 {12, 0, 0x2, 0},
		 "  #vlan 7, prio 1, etype 8864\n",
		 "  #pppoe protocol challenge-handshake-auth(0xc223), session id 1\n"},
		{0x8ffd, apmsg, {4, 0, 0x4, 0}, "  #vlan 7, prio 1, etype 8ffd\n", apmsg_text},
		{0x0806, arp, {32, 0, 0x1, 0}, "  #vlan 7, prio 1, etype 0806\n", arp_text},
		{0x0800, ipv4, {24, 0, 0, 0}, "  #vlan 7, prio 1, etype 0800\n", ipv4_text},
		{0x86dd, ipv6, {44, 0, 0, 0}, "  #vlan 7, prio 1, etype 86dd\n", ipv6_text},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(row.line);
		const bytes packet = tag(0x2007, row.type, row.payload);
		EXPECT_EQ(outcome_of(decode(debug_pkt_vlan_match, packet)), row.expected);
		check_decoder(debug_pkt_vlan_match, packet, row.line + row.text);
	}
}

TEST_F(ethernet_test, arp_in_a_tag_drops_the_type_bits_of_outer_layers)
{
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->type = 0x200183;
		return debug_pkt_eth(ctx, data, len);
	};
	EXPECT_EQ(outcome_of(decode(behind_others, frame(0x8100, tag(7, 0x0806, arp)))), (outcome{46, 0, 0x1, 0}));
	EXPECT_EQ(outcome_of(decode(behind_others, frame(0x8100, tag(7, 0x88cc, {})))), (outcome{18, 0, 0x200183, 0}));
}

TEST_F(ethernet_test, tag_criteria)
{
	const bytes packet = frame(0x8100, tag(0xb064, 0x88cc, {}));
	debug_pkt_vlan = 100;
	EXPECT_EQ(decode(debug_pkt_eth, packet).match, 0x10u) << "drop eligible and priority are no part of the number";
	EXPECT_EQ(decode(debug_pkt_eth, packet, 4095).match, 0x10u);
	EXPECT_EQ(decode(debug_pkt_eth, packet).text, "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
						      "  #vlan 100, prio 5, etype 88cc\n");
	for (int32_t other : {0, 101, 0x1064, 0xb064, 0x10064, -100}) {
		debug_pkt_vlan = other;
		EXPECT_EQ(decode(debug_pkt_eth, packet).match, 0u) << other;
	}
	debug_pkt_vlan = 0;
	EXPECT_EQ(decode(debug_pkt_vlan_match, tag(0xf000, 0x88cc, {})).match, 0x10u);
	debug_pkt_vlan = 0x0f64;
	EXPECT_EQ(decode(debug_pkt_vlan_match, tag(0xff64, 0x88cc, {})).match, 0x10u);

	// Both types of a tagged frame are compared.
	debug_pkt_vlan = 4000;
	for (int32_t either : {0x8100, 0x88cc}) {
		debug_pkt_proto = either;
		EXPECT_EQ(decode(debug_pkt_eth, packet).match, 0x20u) << either;
	}
	debug_pkt_proto = 0x88cc;
	EXPECT_EQ(decode(debug_pkt_vlan_match, tag(1, 0x88cc, {}), 4095).match, 0x20u);
	debug_pkt_proto = 0x188cc;
	EXPECT_EQ(decode(debug_pkt_eth, packet).match, 0u);
	debug_pkt_proto = 0;
	EXPECT_EQ(decode(debug_pkt_eth, packet).match, 0u);
	EXPECT_EQ(decode(debug_pkt_vlan_match, tag(1, 0, {})).match, 0x20u);
}

TEST_F(ethernet_test, bits_are_added)
{
	debug_pkt_vlan = 7;
	debug_pkt_proto = 0x0800;
	filter_mac(hex("020000000001"));
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->match = 0x40;
		ctx->type = 0x80;
		return debug_pkt_eth(ctx, data, len);
	};
	EXPECT_EQ(outcome_of(decode(behind_others, frame(0x8100, tag(7, 0x0800, ipv4)))), (outcome{38, 0x72, 0x80, 0}));
}

TEST_F(ethernet_test, two_tags)
{
	debug_pkt_vlan = 200;
	const bytes packet = frame(0x8100, tag(100, 0x8100, tag(0xe0c8, 0x0806, arp)));
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), (outcome{50, 0x10, 0x1, 0}));
	check_decoder(debug_pkt_eth, packet,
		      "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		      "  #vlan 100, prio 0, etype 8100\n"
		      "  #vlan 200, prio 7, etype 0806\n" +
			      arp_text);
}

// count tags with number 1, the last with this number and type.
static bytes stacked_tags(size_t count, uint32_t last, uint32_t type)
{
	bytes packet = frame(0x8100, {});
	packet.reserve(packet.size() + 4 * count);
	for (size_t i = 1; i < count; ++i)
		packet.insert(packet.end(), {0x00, 0x01, 0x81, 0x00});
	return packet + tag(last, type, {});
}

TEST_F(ethernet_test, frame_full_of_tags)
{
	debug_pkt_vlan = 2;
	const bytes packet = stacked_tags(370, 2, 0x88cc) + zeros(6);
	ASSERT_EQ(packet.size(), 1500u);
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, packet)), (outcome{1494, 0x10, 0, 0}));
	std::string expected = "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n";
	for (int i = 1; i < 370; ++i)
		expected += "  #vlan 1, prio 0, etype 8100\n";
	check_decoder(debug_pkt_eth, packet, expected.substr(0, 4094) + '\0');
}

TEST_F(ethernet_test, tags_take_no_stack)
{
	debug_pkt_vlan = 2;
	debug_pkt_proto = 0x0800;
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, stacked_tags(1000000, 2, 0x0800) + ipv4)), (outcome{4000034, 0x30, 0, 0}));
}

TEST_F(ethernet_test, tags_end_with_the_packet)
{
	// The tag that the last type field announces is not there: it reads as zeros.
	EXPECT_EQ(outcome_of(decode(debug_pkt_eth, frame(0x8100, {}))), (outcome{18, 0, 0, 0}));
	EXPECT_EQ(decode(debug_pkt_eth, frame(0x8100, {})).text,
		  "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
		  "  #vlan 0, prio 0, etype 0000\n");
}

TEST_F(ethernet_test, bytes_behind_the_packet_read_as_zero)
{
	const result cut = decode(debug_pkt_eth, hex("020000000002 0200"));
	EXPECT_EQ(cut.text, "  #mac: etype 0000 smac 02:00:00:00:00:00 dmac 02:00:00:00:00:02\n"
			    "    #snap: sap 0200\n");
	EXPECT_EQ(outcome_of(cut), (outcome{16, 0, 0, 0}));
}

TEST_F(ethernet_test, lengths_handed_on_wrap)
{
	// A length that does not reach the end of the headers: IPv6 is told that nothing follows its header, IPv4 does not ask.
	bytes with_udp = ipv6 + hex("1388 1389 0008 0000");
	with_udp[5] = 8;
	with_udp[6] = 17;
	const auto with_length = [](uint32_t given) {
		return [given](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_eth(ctx, data, given); };
	};
	EXPECT_EQ(outcome_of(decode(with_length(62), frame(0x86dd, with_udp))), (outcome{62, 0, 0x80, 0}));
	for (uint32_t given : {0u, 10u, 13u, 14u, 54u, 0xffffffffu}) {
		SCOPED_TRACE(given);
		EXPECT_EQ(outcome_of(decode(with_length(given), frame(0x86dd, with_udp))), (outcome{54, 0, 0, 0}));
		EXPECT_EQ(outcome_of(decode(with_length(given), frame(0x0800, ipv4))), (outcome{34, 0, 0, 0}));
	}
	for (uint32_t given : {0u, 17u, 58u}) {
		SCOPED_TRACE(given);
		EXPECT_EQ(outcome_of(decode(with_length(given), frame(0x8100, tag(7, 0x86dd, with_udp)))), (outcome{58, 0, 0, 0}));
	}
	EXPECT_EQ(outcome_of(decode(with_length(59), frame(0x8100, tag(7, 0x86dd, with_udp)))), (outcome{66, 0, 0x80, 0}));
}

TEST_F(ethernet_test, parse_at_level_0_takes_a_frame)
{
	// The type is not looked at.
	for (uint32_t type : {0u, 0x0806u, 0x1234u}) {
		EXPECT_EQ(outcome_of(decode(parse(0, type), frame(0x0800, ipv4), 0, 0x5555)), (outcome{34, 0, 0, 0}));
		check_decoder(parse(0, type), frame(0x0800, ipv4),
			      "  #mac: etype 0800 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n" + ipv4_text);
	}
}

TEST_F(ethernet_test, parse_at_level_1_takes_a_payload)
{
	struct row {
		uint32_t type;
		bytes payload;
		outcome expected;
		std::string text;
	};
	const row rows[] = {
		// A tag clears what is left; IPv4 and IPv6 inside a session are not gone on with.
		{0x8100, tag(7, 0x0800, ipv4), {24, 0, 0, 0}, "  #vlan 7, prio 0, etype 0800\n" + ipv4_text},
		{0x8863, hex("1109 0000 0000"), {6, 0, 0x2, 0x8863}, "  #pppoe discovery initiation (9), session id 0\n"},
		{0x8864, hex("1100 0001 0016 0021") + ipv4, {8, 0, 0x2, 0x0800}, "  #pppoe protocol ipv4(0x21), session id 1\n"},
		{0x8864, hex("1100 0001 002a 0057") + ipv6, {8, 0, 0x2, 0x86dd}, "  #pppoe protocol ipv6(0x57), session id 1\n"},
		{0x8ffd, apmsg, {0, 0, 0x4, 0x8ffd}, apmsg_text},
		{0x0806, arp, {28, 0, 0x1, 0x0806}, arp_text},
		{0x0800, ipv4, {20, 0, 0, 0x0800}, ipv4_text},
		{0x0800, ipv4_gre(0x86dd, ipv6), {24, 0, 0x100, 0x86dd}, ipv4_gre_text + "    #gre: flag 0x0000 proto 86dd\n"},
		{0x86dd, ipv6, {40, 0, 0, 0x86dd}, ipv6_text},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(row.text);
		EXPECT_EQ(outcome_of(decode(parse(1, row.type), row.payload)), row.expected);
		check_decoder(parse(1, row.type), row.payload, row.text);
	}
}

TEST_F(ethernet_test, parse_at_level_1_does_not_know_other_types)
{
	debug_pkt_proto = 0x1234;
	EXPECT_EQ(outcome_of(decode(parse(1, 0x1234), ipv4, 0, 0x5555)), (outcome{0, 0, 0, 0x1234}));
	EXPECT_EQ(decode(parse(1, 0x1234), ipv4).text, "");
	// Neither a length nor the private types are types here.
	EXPECT_EQ(outcome_of(decode(parse(1, 46), ipv4)), (outcome{0, 0, 0, 46}));
	for (uint32_t type : {0x8dffu, 0x8e00u, 0x8f5fu, 0x8f60u})
		EXPECT_EQ(outcome_of(decode(parse(1, type), ipv4)), (outcome{0, 0, 0, type}));
	// The whole argument is looked up, its low 16 bits are stored.
	EXPECT_EQ(outcome_of(decode(parse(1, 0x10800), ipv4)), (outcome{0, 0, 0, 0x0800}));
	EXPECT_EQ(decode(parse(1, 0x10800), ipv4).text, "");
}

TEST_F(ethernet_test, parse_at_other_levels_does_nothing)
{
	for (uint32_t level : {2u, 3u, 0xffffffffu}) {
		SCOPED_TRACE(level);
		EXPECT_EQ(outcome_of(decode(parse(level, 0x0800), ipv4, 0, 0x5555)), (outcome{0, 0, 0, 0x5555}));
		EXPECT_EQ(decode(parse(level, 0x0800), ipv4).text, "");
	}
}

} // namespace test
