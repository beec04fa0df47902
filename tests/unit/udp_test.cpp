// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using udp_test = core_test;

static uint32_t udp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_udp(ctx, data, len, 0);
}

// The decoder with another length than the packet's.
static decoder udp_of(uint32_t length)
{
	return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_udp(ctx, data, length, 0); };
}

static bytes header(uint32_t source, uint32_t destination, uint32_t length = 8)
{
	return big16(source) + big16(destination) + big16(length) + hex("beef");
}

static std::string header_text(uint32_t source, uint32_t destination, uint32_t length = 8)
{
	return "    #udp: sport " + std::to_string(source) + " dport " + std::to_string(destination) + " len " +
	       std::to_string(length) + "\n";
}

TEST_F(udp_test, ports_of_no_service)
{
	const bytes content = header(1024, 65535, 12) + text("data");
	const result got = decode(udp, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 8u);
	EXPECT_EQ(got.type, 0x80u);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0x0800u);
	check_decoder(udp, content, "    #udp: sport 1024 dport 65535 len 12\n");
}

TEST_F(udp_test, length_field_is_printed_as_it_stands)
{
	EXPECT_EQ(decode(udp, header(1, 2, 0)).text, "    #udp: sport 1 dport 2 len 0\n");
	EXPECT_EQ(decode(udp, header(1, 2, 65535)).text, "    #udp: sport 1 dport 2 len 65535\n");
	EXPECT_EQ(decode(udp, header(1, 2, 65535)).consumed, 8u);
}

TEST_F(udp_test, port_filter)
{
	const auto match = [](uint32_t source, uint32_t destination) { return decode(udp, header(source, destination)).match; };
	EXPECT_EQ(match(0, 1024), 0x40u) << "the filter port that nobody has set";
	EXPECT_EQ(match(1024, 0), 0x40u);
	EXPECT_EQ(match(1024, 1025), 0u);
	debug_pkt_port = 1813;
	EXPECT_EQ(match(1813, 1), 0x40u);
	EXPECT_EQ(match(1, 1813), 0x40u);
	EXPECT_EQ(match(1813, 1813), 0x40u);
	EXPECT_EQ(match(0, 1), 0u);
	// The low 16 bits count.
	debug_pkt_port = 0x10035;
	EXPECT_EQ(match(9, 53), 0x40u);
	EXPECT_EQ(match(1, 9), 0u);
	debug_pkt_port = -1;
	EXPECT_EQ(match(65535, 9), 0x40u);
	debug_pkt_port = 65536;
	EXPECT_EQ(match(9, 0), 0x40u);
	EXPECT_EQ(decode(udp, header(0, 9), 4095).match, 0x40u);
}

TEST_F(udp_test, radius)
{
	const bytes content = header(40000, 1813, 28) + zeros(20);
	const result got = decode(udp, content);
	EXPECT_EQ(got.consumed, 8u);
	EXPECT_EQ(got.type, 0x80u | 0x1000);
	check_decoder(udp, content, "    #udp: sport 40000 dport 1813 len 28\n");
}

TEST_F(udp_test, every_port_of_radius_and_its_neighbours)
{
	for (uint32_t port = 1800; port < 1900; ++port) {
		SCOPED_TRACE(port);
		const uint32_t type_bits = port >= 1812 && port <= 1875 ? 0x1080 : 0x80;
		for (const bytes &content : {header(port, 40000), header(40000, port)}) {
			const result got = decode(udp, content + zeros(8));
			EXPECT_EQ(got.type, type_bits);
			EXPECT_EQ(got.consumed, 8u);
		}
		EXPECT_EQ(decode(udp, header(port, port)).type, type_bits);
	}
	EXPECT_EQ(decode(udp, header(1811, 1876)).type, 0x80u) << "a range around the ports is none of either";
}

// What each service makes of a payload of zeros; it sets these type and match bits (filters are all zero) and consumes this.
struct service {
	uint32_t port;
	const char *lines;
	uint32_t consumed, type, match;
};
static const char dhcp_of_zeros[] = "      #dhcp: message-type: unknown\n"
				    "             hardware type: 0, len: 0, hops: 0\n"
				    "             txn id: 0x00000000, seconds elapsed: 0\n"
				    "             magic cookie: 0x00000000\n";
static const char dhcpv6_of_zeros[] = "      #dhcpv6: message-type: unknown (0), xid 000000\n";
static const service services[] = {
	{67, dhcp_of_zeros, 240, 0x200, 0x6},
	{68, dhcp_of_zeros, 240, 0x200, 0x6},
	{53, "      #dns: message-type: standard query, txn id: 0\n", 0, 0x800, 0},
	{4789,
	 "      #VXLAN Flags: \n"
	 "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
	 "    #snap: sap 0000\n",
	 24, 0x200000, 0x22},
	{1812, "", 0, 0x1000, 0},
	{1875, "", 0, 0x1000, 0},
	{546, dhcpv6_of_zeros, 4, 0x400, 0},
	{547, dhcpv6_of_zeros, 4, 0x400, 0},
	{5060, "", 1, 0, 0},
	{4500, "      #esp: spi: 0x00000000, sequence: 0x00000000\n", 8, 0, 0},
};

TEST_F(udp_test, each_service_on_either_port)
{
	for (const service &row : services) {
		SCOPED_TRACE(row.port);
		for (uint32_t other : {40000u, row.port})
			for (bool first : {false, true}) {
				const uint32_t source = first ? row.port : other, destination = first ? other : row.port;
				const result got = decode(udp, header(source, destination) + zeros(400));
				EXPECT_EQ(got.text, header_text(source, destination) + row.lines);
				EXPECT_EQ(got.consumed, 8 + row.consumed);
				EXPECT_EQ(got.type, 0x80 | row.type);
				EXPECT_EQ(got.match, row.match);
			}
	}
}

TEST_F(udp_test, neighbours_of_the_service_ports)
{
	for (uint32_t port : {52u, 54u, 66u, 69u, 545u, 548u, 4499u, 4501u, 4788u, 4790u, 5059u, 5061u}) {
		const result got = decode(udp, header(port, 40000) + zeros(400));
		EXPECT_EQ(got.text, header_text(port, 40000));
		EXPECT_EQ(got.consumed, 8u);
		EXPECT_EQ(got.type, 0x80u);
		EXPECT_EQ(decode(udp, header(40000, port) + zeros(400)).text, header_text(40000, port));
	}
}

// Two services in one datagram: both run, in the table's order, whichever port is the source.
TEST_F(udp_test, every_pair_of_services)
{
	for (const service &earlier : services)
		for (const service *later = &earlier + 1; later != std::end(services); ++later) {
			if (std::string(later->lines) == earlier.lines && later->type == earlier.type)
				continue; // two ports of one service: it runs once
			SCOPED_TRACE(std::to_string(earlier.port) + " and " + std::to_string(later->port));
			for (bool swapped : {false, true}) {
				const uint32_t source = swapped ? later->port : earlier.port,
					       destination = swapped ? earlier.port : later->port;
				const result got = decode(udp, header(source, destination) + zeros(400));
				EXPECT_EQ(got.text, header_text(source, destination) + earlier.lines + later->lines);
				EXPECT_EQ(got.consumed, 8 + earlier.consumed + later->consumed);
				EXPECT_EQ(got.type, 0x80 | earlier.type | later->type);
				EXPECT_EQ(got.match, earlier.match | later->match);
			}
		}
}

// The ports of one service on both sides are still one service.
TEST_F(udp_test, dhcp_runs_once)
{
	const bytes bootp = hex("02 01 06 00 12345678 0000 0000") + zeros(4) + ip4("10.0.0.5") + zeros(8) + hex("020000000001") +
			    zeros(10 + 64 + 128) + hex("63825363") + hex("35 01 02 ff");
	const bytes content = header(68, 67, 252) + bootp;
	debug_pkt_ip = in_aton("10.0.0.5");
	const result got = decode(udp, content);
	EXPECT_EQ(got.consumed, 248u);
	EXPECT_EQ(got.type, 0x80u | 0x200);
	EXPECT_EQ(got.match, 0x4u);
	check_decoder(udp, content,
		      "    #udp: sport 68 dport 67 len 252\n"
		      "      #dhcp: message-type: reply\n"
		      "             hardware type: 1, len: 6, hops: 0\n"
		      "             txn id: 0x12345678, seconds elapsed: 0\n"
		      "             your ip: 10.0.0.5\n"
		      "             client mac: 02:00:00:00:00:01\n"
		      "             magic cookie: 0x63825363\n"
		      "      #dhcp-option: message-type: offer\n");
	const result two_versions = decode(udp, header(546, 547) + zeros(4));
	EXPECT_EQ(two_versions.consumed, 12u);
	EXPECT_EQ(two_versions.text, std::string("    #udp: sport 546 dport 547 len 8\n") + dhcpv6_of_zeros);
}

TEST_F(udp_test, dns_behind_dhcp)
{
	const bytes content = header(53, 67) + zeros(240) + hex("3039 0100 0001 0000 0000 0000 01 61 00 0001 0001");
	const result got = decode(udp, content);
	EXPECT_EQ(got.consumed, 8u + 240 + 19);
	EXPECT_EQ(got.type, 0x80u | 0x200 | 0x800);
	check_decoder(udp, content,
		      std::string("    #udp: sport 53 dport 67 len 8\n") + dhcp_of_zeros +
			      "      #dns: message-type: standard query, txn id: 12345\n"
			      "             domain name: a, type: A(1), class: IN(1)\n");
}

static const bytes dns_question = hex("0007 0100 0001 0000 0000 0000 00 0001 0001");
static const char dns_text[] = "      #dns: message-type: standard query, txn id: 7\n"
			       "             domain name: , type: A(1), class: IN(1)\n";

static bytes inner_ipv6(uint32_t payload_length)
{
	return hex("ffffffffffff 020000000001 86dd 60000000") + big16(payload_length) + hex("11 40") +
	       hex("20010db8 00000000 00000000 00000001") + hex("20010db8 00000000 00000000 00000002");
}
static const char inner_ipv6_text[] = "  #mac: etype 86dd smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
				      "  #ipv6: sip 2001:db8::1\n"
				      "         dip 2001:db8::2\n"
				      "         hoplimit 64 payload len 8 next hdr 17\n";

// The length handed on is not reduced by what the service before has consumed: the inner packet seems to reach that much
// further. (IPv6 looks at its length: only what is longer than its header is dispatched.)
TEST_F(udp_test, length_stays_the_same_for_all_services)
{
	const bytes content = header(53, 4789) + dns_question + hex("08 000000 000001 00") + inner_ipv6(8) + header(9, 10);
	const std::string front = std::string("    #udp: sport 53 dport 4789 len 8\n") + dns_text +
				  "      #VXLAN Flags: VXLAN Network ID, \n"
				  "      #VXLAN Network Id: 1\n" +
				  inner_ipv6_text;
	const result longer = decode(udp_of(8 + 8 + 14 + 41), content);
	EXPECT_EQ(longer.text, front + "    #udp: sport 9 dport 10 len 8\n");
	EXPECT_EQ(longer.consumed, 8u + 17 + 8 + 14 + 40 + 8);
	const result exact = decode(udp_of(8 + 8 + 14 + 40), content);
	EXPECT_EQ(exact.text, front);
	EXPECT_EQ(exact.consumed, 8u + 17 + 8 + 14 + 40);
}

TEST_F(udp_test, text_printer_behind_dhcpv6_keeps_the_length)
{
	const bytes content = header(546, 5060) + hex("01 abcdef") + text("BYE\nrest");
	const result got = decode(udp, content);
	EXPECT_EQ(got.text, "    #udp: sport 546 dport 5060 len 8\n"
			    "      #dhcpv6: message-type: solicit (1), xid abcdef\n"
			    "      #sip: BYE\n");
	// 8 bytes of text, and the 0 that is read behind the packet while the 12 of the payload have not been examined.
	EXPECT_EQ(got.consumed, 8u + 4 + 9);
}

TEST_F(udp_test, esp_behind_text)
{
	const bytes content = header(4500, 5060) + text("OK\r\n\t") + hex("00001001 00000005");
	const result got = decode(udp, content);
	EXPECT_EQ(got.consumed, 8u + 5 + 8);
	EXPECT_EQ(got.type, 0x80u);
	check_decoder(udp, content,
		      "    #udp: sport 4500 dport 5060 len 8\n"
		      "      #sip: OK\n"
		      "      #esp: spi: 0x00001001, sequence: 0x00000005\n");
}

TEST_F(udp_test, vxlan)
{
	const bytes content = header(50000, 4789, 30) + hex("08 000000 001234 00") + hex("ffffffffffff 020000000001 1234");
	const result got = decode(udp, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 8u + 8 + 14);
	EXPECT_EQ(got.type, 0x80u | 0x200000);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0u) << "an inner frame clears it";
	check_decoder(udp, content,
		      "    #udp: sport 50000 dport 4789 len 30\n"
		      "      #VXLAN Flags: VXLAN Network ID, \n"
		      "      #VXLAN Network Id: 4660\n"
		      "  #mac: etype 1234 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n");
}

// The DHCPv6 decoder finds its options by the UDP header, also when its message stands elsewhere.
TEST_F(udp_test, dhcpv6_options_start_at_the_udp_header)
{
	const bytes query = hex("0007 0100 0001 0000 0003 0001 00 0001 0001") + hex("0b 000102");
	const result got = decode(udp, header(53, 546, 16) + query);
	EXPECT_EQ(got.consumed, 8u + 17 + 4);
	EXPECT_EQ(got.text, std::string("    #udp: sport 53 dport 546 len 16\n") + dns_text +
				    "      #dhcpv6: message-type: info-req (11), xid 000102\n"
				    "      #dhcpv6-option: client-id duid type ll(3)\n"
				    "                      duid \n"
				    "                      ll-addr 00:00:01:00:01:0b\n");
}

// DHCPv4 options end where the 16-bit length says.
TEST_F(udp_test, length_cut_to_16_bits_for_dhcp)
{
	const bytes content = header(68, 69) + hex("01") + zeros(239) + hex("35 01 01 0c 01 68 ff");
	const std::string front = "    #udp: sport 68 dport 69 len 8\n"
				  "      #dhcp: message-type: request\n"
				  "             hardware type: 0, len: 0, hops: 0\n"
				  "             txn id: 0x00000000, seconds elapsed: 0\n"
				  "             magic cookie: 0x00000000\n";
	for (uint32_t high : {0u, 0x10000u, 0xabcd0000u}) {
		EXPECT_EQ(decode(udp_of(high + 248), content).text, front);
		EXPECT_EQ(decode(udp_of(high + 251), content).text, front + "      #dhcp-option: message-type: discover\n");
		EXPECT_EQ(decode(udp_of(high + 254), content).text, front + "      #dhcp-option: message-type: discover\n"
									    "      #dhcp-option: Host Name: h\n");
	}
}

TEST_F(udp_test, length_cut_to_16_bits_for_vxlan)
{
	const bytes content = header(9, 4789) + zeros(8) + inner_ipv6(8) + header(9, 10);
	const std::string front = std::string("    #udp: sport 9 dport 4789 len 8\n"
					      "      #VXLAN Flags: \n") +
				  inner_ipv6_text;
	for (uint32_t high : {0u, 0x10000u, 0xffff0000u}) {
		EXPECT_EQ(decode(udp_of(high + 70), content).text, front);
		EXPECT_EQ(decode(udp_of(high + 71), content).text, front + "    #udp: sport 9 dport 10 len 8\n");
	}
	// A length below the header's wraps to almost 65536 here.
	EXPECT_EQ(decode(udp_of(3), content).text, front + "    #udp: sport 9 dport 10 len 8\n");
}

TEST_F(udp_test, length_not_cut_for_text)
{
	const bytes content = header(5060, 9) + text("A\nB\n");
	const std::string front = "    #udp: sport 5060 dport 9 len 8\n";
	const std::string both = "      #sip: A\n      #sip: B\n";
	EXPECT_EQ(decode(udp_of(8), content).text, front);
	EXPECT_EQ(decode(udp_of(8), content).consumed, 8u);
	EXPECT_EQ(decode(udp_of(11), content).text, front + "      #sip: A\n");
	EXPECT_EQ(decode(udp_of(11), content).consumed, 11u);
	EXPECT_EQ(decode(udp_of(12), content).consumed, 12u);
	for (uint32_t length : {0x10008u, 0x10009u, 0u, 7u, 0xffffffffu}) {
		SCOPED_TRACE(length);
		EXPECT_EQ(decode(udp_of(length), content).text, front + both);
		EXPECT_EQ(decode(udp_of(length), content).consumed, 8u + 5);
	}
}

TEST_F(udp_test, cut_inside_the_header)
{
	EXPECT_EQ(decode(udp, {}).text, "    #udp: sport 0 dport 0 len 0\n");
	EXPECT_EQ(decode(udp, {}).consumed, 8u);
	EXPECT_EQ(decode(udp, {}).match, 0x40u);
	EXPECT_EQ(decode(udp, hex("13c4 04")).text, "    #udp: sport 5060 dport 1024 len 0\n");
	EXPECT_EQ(decode(udp, hex("13c4 04")).consumed, 9u) << "the first byte of text is the 0 behind the packet";
	EXPECT_EQ(decode(udp, header(5060, 9)).consumed, 8u) << "no byte is examined of a payload of none";
}

TEST_F(udp_test, text_full)
{
	debug_pkt_port = 4500;
	const result got = decode(udp, header(67, 4500) + zeros(300), 4095);
	EXPECT_EQ(got.consumed, 256u);
	EXPECT_EQ(got.type, 0x80u | 0x200);
	EXPECT_EQ(got.match, 0x46u);
	EXPECT_EQ(got.len, 4095u);
}

TEST_F(udp_test, later_fragment)
{
	for (uint32_t flag : {1u, 0xffffffffu})
		for (uint32_t start : {0u, 100u, 4095u}) {
			const result later = decode([flag](debug_pkt_ctx *ctx, const uint8_t *data,
							   uint32_t len) { return debug_pkt_udp(ctx, data, len, flag); },
						    header(0, 1812) + zeros(8), start, 0x0800);
			EXPECT_EQ(later.consumed, 0u);
			EXPECT_EQ(later.type, 0x80u);
			EXPECT_EQ(later.match, 0u);
			EXPECT_EQ(later.proto, 0x0800u);
			EXPECT_EQ(later.len, start);
		}
}

} // namespace test
