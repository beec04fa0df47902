// SPDX-License-Identifier: GPL-2.0-only
#include "decode/link/link.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

static void put(bytes &message, size_t at, const bytes &value)
{
	if (message.size() < at + value.size())
		message.resize(at + value.size());
	std::copy(value.begin(), value.end(), message.begin() + static_cast<ptrdiff_t>(at));
}

// A message of version 3; the bytes of its header that mean nothing are not zero.
static bytes message(uint8_t subtype, size_t size = 64)
{
	bytes result(size);
	put(result, 0, hex("c2c9 ee 03 eeee"));
	put(result, 46, hex("eeee") + bytes{subtype} + hex("ee"));
	return result;
}

static const bytes client = hex("02000000000a");

class apmsg_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_ip = in_aton("192.0.2.1");
		filter_mac(hex("02000000000f"));
	}
	static void filter_mac(const bytes &mac) { std::memcpy(debug_pkt_mac, mac.data(), 6); }

	// The client's address is compared, nothing else in the message is.
	static void check_mac_criterion(const bytes &packet, const bytes &same_at_another_place)
	{
		filter_mac(client);
		EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0x2u);
		EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4095).match, 0x2u);
		for (size_t i = 0; i < 6; ++i) {
			bytes near = client;
			near[i] ^= 0x20;
			filter_mac(near);
			EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0u) << "another byte " << i;
		}
		filter_mac(same_at_another_place);
		EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0u);
		filter_mac(zeros(6));
		EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0u);
		bytes without_client = packet;
		put(without_client, 50, zeros(6));
		EXPECT_EQ(decode(debug_pkt_apmsg, without_client).match, 0x2u) << "the unset filter equals an empty address";
	}
};

TEST_F(apmsg_test, unsupported_magic)
{
	const bytes packet = hex("1234") + zeros(62);
	const std::string line = "  #apmsg: magic 0x1234, unsupported magic\n";
	ASSERT_EQ(line.size(), 42u);
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 0, 0x8ffd)), (outcome{0, 0, 0x4, 0x8ffd}));
	EXPECT_EQ(decode(debug_pkt_apmsg, packet).len, 42u);
	check_decoder(debug_pkt_apmsg, packet, line, 0x8ffd);
	// Near the end of the text 42 is added as well, up to 4095.
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4052).len, 4094u);
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4052).text, line);
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4053).text, line.substr(0, 41) + '\0');
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4054).text, line.substr(0, 40) + '\0');
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4094).text, std::string(1, '\0'));
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4095).text, "");
}

TEST_F(apmsg_test, magics_of_every_width)
{
	check_decoder(debug_pkt_apmsg, hex("0000"), "  #apmsg: magic 0x0000, unsupported magic\n");
	check_decoder(debug_pkt_apmsg, hex("c9c2"), "  #apmsg: magic 0xc9c2, unsupported magic\n");
	check_decoder(debug_pkt_apmsg, hex("c2c8"), "  #apmsg: magic 0xc2c8, unsupported magic\n");
	check_decoder(debug_pkt_apmsg, hex("ffff"), "  #apmsg: magic 0xffff, unsupported magic\n");
}

TEST_F(apmsg_test, subtypes_with_a_header_line_alone)
{
	check_decoder(debug_pkt_apmsg, message(2), "  #apmsg: magic 0xc2c9, version 3, subtype 2\n");
	check_decoder(debug_pkt_apmsg, message(8), "  #apmsg: magic 0xc2c9, version 3, subtype 8\n");
	check_decoder(debug_pkt_apmsg, message(10), "  #apmsg: magic 0xc2c9, version 3, subtype 10\n");
	check_decoder(debug_pkt_apmsg, message(255), "  #apmsg: magic 0xc2c9, version 3, subtype 255\n");
	for (const uint8_t subtype : bytes{2, 8, 10, 11, 127, 128, 255}) {
		SCOPED_TRACE(static_cast<unsigned>(subtype));
		EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, message(subtype), 0, 0x8ffd)), (outcome{64, 0, 0x4, 0x8ffd}));
		EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, message(subtype), 4095, 0x8ffd)), (outcome{64, 0, 0x4, 0x8ffd}));
	}
	bytes version = message(2);
	version[3] = 255;
	EXPECT_EQ(decode(debug_pkt_apmsg, version).text, "  #apmsg: magic 0xc2c9, version 255, subtype 2\n");
}

TEST_F(apmsg_test, bits_are_added)
{
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->type = 0x100;
		ctx->match = 0x20;
		return debug_pkt_apmsg(ctx, data, len);
	};
	filter_mac(client);
	bytes request = message(0, 100);
	put(request, 50, client);
	EXPECT_EQ(outcome_of(decode(behind_others, request)), (outcome{64, 0x22, 0x100104, 0}));
	EXPECT_EQ(outcome_of(decode(behind_others, message(3))), (outcome{64, 0x20, 0x80104, 0}));
}

// --- Session request ---

static bytes session_request(const bytes &user)
{
	bytes result = message(0, 97);
	put(result, 50, client);
	put(result, 60, ip4("10.1.0.1"));
	return result + user;
}

TEST_F(apmsg_test, session_request)
{
	const bytes packet = session_request(text("alice") + hex("00 5a"));
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 0, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	check_decoder(debug_pkt_apmsg, packet,
		      "  #apmsg: magic 0xc2c9, version 3, subtype 0\n"
		      "    #session request: mac 02:00:00:00:00:0a, ap ip 10.1.0.1 username alice\n");
	check_mac_criterion(packet, hex("00000a000000"));
}

TEST_F(apmsg_test, session_request_without_a_user)
{
	check_decoder(debug_pkt_apmsg, session_request(hex("00 616263 00")),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 0\n"
		      "    #session request: mac 02:00:00:00:00:0a, ap ip 10.1.0.1\n");
	// The packet ends where the name would start.
	check_decoder(debug_pkt_apmsg, session_request({}),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 0\n"
		      "    #session request: mac 02:00:00:00:00:0a, ap ip 10.1.0.1\n");
}

TEST_F(apmsg_test, session_request_whose_user_runs_to_the_end)
{
	check_decoder(debug_pkt_apmsg, session_request(text("bob")),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 0\n"
		      "    #session request: mac 02:00:00:00:00:0a, ap ip 10.1.0.1 username bob\n");
	// A name longer than the text.
	const std::string expected = "  #apmsg: magic 0xc2c9, version 3, subtype 0\n"
				     "    #session request: mac 02:00:00:00:00:0a, ap ip 10.1.0.1 username " +
				     std::string(5000, 'u');
	EXPECT_EQ(decode(debug_pkt_apmsg, session_request(bytes(5000, 'u'))).text, expected.substr(0, 4094) + '\0');
}

TEST_F(apmsg_test, addresses_are_no_address_criterion_in_a_session_request)
{
	debug_pkt_ip = in_aton("10.1.0.1");
	EXPECT_EQ(decode(debug_pkt_apmsg, session_request({})).match, 0u);
}

// --- Session response ---

static const std::string response_header = "  #apmsg: magic 0xc2c9, version 3, subtype 1\n"
					   "    #session resp: mac 02:00:00:00:00:0a, ip 10.0.0.9\n"
					   "                   acl 513, aclname guests, vlan 100, ssid campus\n"
					   "                   dhcp ip 10.0.0.254\n"
					   "                   dhcp ipv6 fe80:0000:0000:0000:0000:0000:0000:00fe\n"
					   "                   ap ip 10.1.0.1\n";

// The fixed part, with these counts.
static bytes session_response(uint8_t sessions, uint8_t groups, uint8_t entries)
{
	bytes result = message(1, 213);
	put(result, 50, client);
	put(result, 56, ip4("10.0.0.9"));
	put(result, 60, bytes(12, 0xee));
	put(result, 72, hex("0201"));
	put(result, 74, text("guests") + hex("00"));
	put(result, 138, hex("0064 ee"));
	put(result, 141, text("campus") + hex("00"));
	put(result, 178, ip4("10.0.0.254"));
	put(result, 182, ip4("10.1.0.1"));
	put(result, 186, bytes{groups, entries} + bytes(6, 0xee));
	put(result, 194, hex("fe80 0000 0000 0000 0000 0000 0000 00fe"));
	put(result, 210, bytes{sessions} + hex("eeee"));
	return result;
}

// Bytes that mean nothing are not zero.
static bytes ipv4_session()
{
	bytes record(60, 0xee);
	put(record, 0, hex("0400 01bb 06"));
	put(record, 8, hex("1a2b3c4d"));
	put(record, 16, hex("9c40 00 0f"));
	put(record, 20, ip4("192.168.1.10") + ip4("198.51.100.8") + ip4("203.0.113.5"));
	put(record, 52, hex("80000001"));
	return record;
}
static const std::string ipv4_session_text = ": sip 192.168.1.10, dip 198.51.100.8, nip 203.0.113.5\n"
					     "                    proto 6, sport 1024, dport 443, nport 40000, flags "
					     "1a2b3c4d/80000001/f\n";

static bytes ipv6_session(uint8_t family = 1)
{
	bytes record(60, 0xee);
	put(record, 0, hex("14e9 0035 11"));
	put(record, 8, hex("00000000"));
	put(record, 16, hex("9c40") + bytes{family} + hex("ff"));
	put(record, 20, hex("20010db8 00000000 00000000 00000001"));
	put(record, 36, hex("20010db8 00000000 00000000 0000abcd"));
	put(record, 52, hex("0000ffff"));
	return record;
}
static const std::string ipv6_session_text = ": sip 2001:0db8:0000:0000:0000:0000:0000:0001, dip "
					     "2001:0db8:0000:0000:0000:0000:0000:abcd\n"
					     "                    proto 17, sport 5353, dport 53, flags 0/ffff/ff\n";

TEST_F(apmsg_test, session_response)
{
	const bytes packet =
		session_response(2, 1, 0) + ipv4_session() + ipv6_session() + ip4("239.1.1.1") + text("alice") + hex("00");
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 0, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 4095, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	check_decoder(debug_pkt_apmsg, packet,
		      response_header +
			      "                   sessions 2 mcast groups 1\n"
			      "                   username alice\n"
			      "      #session 001" +
			      ipv4_session_text + "      #session 002" + ipv6_session_text +
			      "      #mcast group 1: ip 239.1.1.1\n");
	check_mac_criterion(packet, hex("00000a0a0000"));
}

TEST_F(apmsg_test, session_response_without_a_user)
{
	const bytes packet = session_response(2, 1, 0) + ipv6_session() + ipv4_session() + ip4("239.1.1.1") + hex("00 61");
	check_decoder(debug_pkt_apmsg, packet,
		      response_header +
			      "                   sessions 2 mcast groups 1\n"
			      "      #session 001" +
			      ipv6_session_text + "      #session 002" + ipv4_session_text +
			      "      #mcast group 1: ip 239.1.1.1\n");
}

TEST_F(apmsg_test, session_response_with_nothing_to_list)
{
	check_decoder(debug_pkt_apmsg, session_response(0, 0, 0),
		      response_header + "                   sessions 0 mcast groups 0\n");
	check_decoder(debug_pkt_apmsg, session_response(0, 0, 0) + text("bob"),
		      response_header + "                   sessions 0 mcast groups 0\n"
					"                   username bob\n");
}

TEST_F(apmsg_test, entries_between_the_groups_and_the_user)
{
	// They are stepped over and not shown.
	const bytes entries = bytes(32, 0x61);
	check_decoder(debug_pkt_apmsg, session_response(0, 0, 2) + entries + text("carol") + hex("00"),
		      response_header + "                   sessions 0 mcast groups 0\n"
					"                   username carol\n");
	check_decoder(debug_pkt_apmsg,
		      session_response(1, 3, 2) + ipv4_session() + ip4("239.1.1.1") + ip4("239.1.1.2") + ip4("239.255.255.255") +
			      entries + text("dave"),
		      response_header +
			      "                   sessions 1 mcast groups 3\n"
			      "                   username dave\n"
			      "      #session 001" +
			      ipv4_session_text +
			      "      #mcast group 1: ip 239.1.1.1\n"
			      "      #mcast group 2: ip 239.1.1.2\n"
			      "      #mcast group 3: ip 239.255.255.255\n");
	check_decoder(debug_pkt_apmsg, session_response(1, 0, 1) + ipv6_session() + bytes(16, 0x61) + text("erin"),
		      response_header +
			      "                   sessions 1 mcast groups 0\n"
			      "                   username erin\n"
			      "      #session 001" +
			      ipv6_session_text);
}

TEST_F(apmsg_test, every_address_family_but_0_is_ipv6)
{
	for (const uint8_t family : bytes{1, 2, 10, 255})
		EXPECT_EQ(decode(debug_pkt_apmsg, session_response(1, 0, 0) + ipv6_session(family)).text,
			  response_header + "                   sessions 1 mcast groups 0\n      #session 001" + ipv6_session_text)
			<< static_cast<unsigned>(family);
}

TEST_F(apmsg_test, sessions_are_numbered_with_three_digits)
{
	bytes packet = session_response(12, 0, 0);
	std::string expected = response_header + "                   sessions 12 mcast groups 0\n";
	const char *const numbers[] = {"001", "002", "003", "004", "005", "006", "007", "008", "009", "010", "011", "012"};
	for (const char *number : numbers) {
		packet = packet + ipv4_session();
		expected += std::string("      #session ") + number + ipv4_session_text;
	}
	check_decoder(debug_pkt_apmsg, packet, expected);
}

TEST_F(apmsg_test, session_response_that_fills_the_text)
{
	// All counts at their largest: 213 + 60 * 255 + 4 * 255 bytes, then 16 * 255 and the user.
	bytes packet = session_response(255, 255, 255);
	std::string expected =
		response_header + "                   sessions 255 mcast groups 255\n                   username z\n";
	for (int i = 1; i <= 255; ++i) {
		packet = packet + ipv4_session();
		char number[16];
		std::snprintf(number, sizeof number, "%03d", i);
		expected += std::string("      #session ") + number + ipv4_session_text;
	}
	packet = packet + bytes(4 * 255 + 16 * 255, 0xee) + text("z");
	const result full = decode(debug_pkt_apmsg, packet);
	EXPECT_EQ(full.text, expected.substr(0, 4094) + '\0');
	EXPECT_EQ(outcome_of(full), (outcome{64, 0, 0x100004, 0}));
}

TEST_F(apmsg_test, counts_that_lie_end_with_the_packet)
{
	// The second record has its first 20 bytes, the third has none; no group and no user is there.
	const bytes record = ipv4_session();
	const bytes cut = session_response(3, 2, 1) + record + bytes(record.begin(), record.begin() + 20);
	check_decoder(debug_pkt_apmsg, cut,
		      response_header +
			      "                   sessions 3 mcast groups 2\n"
			      "      #session 001" +
			      ipv4_session_text +
			      "      #session 002: sip 0.0.0.0, dip 0.0.0.0, nip 0.0.0.0\n"
			      "                    proto 6, sport 1024, dport 443, nport 40000, flags 1a2b3c4d/0/f\n");
	// The second group has its first two bytes.
	check_decoder(debug_pkt_apmsg, session_response(0, 3, 0) + ip4("239.1.1.1") + hex("ef01"),
		      response_header + "                   sessions 0 mcast groups 3\n"
					"      #mcast group 1: ip 239.1.1.1\n"
					"      #mcast group 2: ip 239.1.0.0\n");
	check_decoder(debug_pkt_apmsg, session_response(255, 255, 255),
		      response_header + "                   sessions 255 mcast groups 255\n");
}

TEST_F(apmsg_test, session_response_criteria)
{
	const bytes packet = session_response(1, 1, 0) + ipv4_session() + ip4("239.1.1.1");
	filter_mac(client);
	debug_pkt_ip = in_aton("10.0.0.9");
	EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0x6u);
	EXPECT_EQ(decode(debug_pkt_apmsg, packet, 4095).match, 0x6u);
	filter_mac(hex("02000000000f"));
	EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0x4u);
	for (const char *other : {"10.0.0.254", "10.1.0.1", "192.168.1.10", "239.1.1.1", "10.0.0.8", "9.0.0.10", "0.0.0.0"}) {
		debug_pkt_ip = in_aton(other);
		EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0u) << other;
	}
	bytes without_address = packet;
	put(without_address, 56, zeros(4));
	EXPECT_EQ(decode(debug_pkt_apmsg, without_address).match, 0x4u) << "the unset filter equals an empty address";
}

TEST_F(apmsg_test, strings_run_on_to_their_nul)
{
	// An ACL name that fills its field goes on with the VLAN's bytes, an SSID with what follows it.
	bytes packet = session_response(0, 0, 0);
	put(packet, 74, bytes(64, 'a') + text("BC") + hex("00"));
	put(packet, 141, bytes(37, 's') + text("0123") + hex("00"));
	EXPECT_EQ(decode(debug_pkt_apmsg, packet).text,
		  "  #apmsg: magic 0xc2c9, version 3, subtype 1\n"
		  "    #session resp: mac 02:00:00:00:00:0a, ip 10.0.0.9\n"
		  "                   acl 513, aclname aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaBC, vlan "
		  "16963, ssid "
		  "sssssssssssssssssssssssssssssssssssss0123\n"
		  "                   dhcp ip 48.49.50.51\n"
		  "                   dhcp ipv6 fe80:0000:0000:0000:0000:0000:0000:00fe\n"
		  "                   ap ip 0.1.0.1\n"
		  "                   sessions 0 mcast groups 0\n");
	// Empty ones.
	put(packet, 74, hex("00"));
	put(packet, 138, hex("0000 ee 00"));
	put(packet, 178, hex("0a0000fe 0a010001"));
	check_decoder(debug_pkt_apmsg, packet,
		      "  #apmsg: magic 0xc2c9, version 3, subtype 1\n"
		      "    #session resp: mac 02:00:00:00:00:0a, ip 10.0.0.9\n"
		      "                   acl 513, aclname , vlan 0, ssid \n"
		      "                   dhcp ip 10.0.0.254\n"
		      "                   dhcp ipv6 fe80:0000:0000:0000:0000:0000:0000:00fe\n"
		      "                   ap ip 10.1.0.1\n"
		      "                   sessions 0 mcast groups 0\n");
}

// --- Foreign session response ---

static bytes foreign_session_response(const bytes &ssid)
{
	bytes result = message(6, 66);
	put(result, 50, client);
	put(result, 56, hex("6400"));
	put(result, 58, ip4("10.1.0.1") + ip4("10.1.0.254"));
	return result + ssid;
}

TEST_F(apmsg_test, foreign_session_response)
{
	const bytes packet = foreign_session_response(text("campus") + hex("00 61"));
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 0, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	check_decoder(
		debug_pkt_apmsg, packet,
		"  #apmsg: magic 0xc2c9, version 3, subtype 6\n"
		"    #foreign session resp: mac 02:00:00:00:00:0a, vlan 100, ssid campus, hap ip 10.1.0.1, vc ip 10.1.0.254\n");
	check_mac_criterion(packet, hex("00000a640000"));
	debug_pkt_ip = in_aton("10.1.0.1");
	EXPECT_EQ(decode(debug_pkt_apmsg, packet).match, 0x0u);
}

TEST_F(apmsg_test, foreign_vlan_is_in_host_order)
{
	bytes packet = foreign_session_response({});
	put(packet, 56, hex("0064"));
	EXPECT_EQ(decode(debug_pkt_apmsg, packet).text,
		  "  #apmsg: magic 0xc2c9, version 3, subtype 6\n"
		  "    #foreign session resp: mac 02:00:00:00:00:0a, vlan 25600, ssid , hap ip 10.1.0.1, vc ip 10.1.0.254\n");
	put(packet, 56, hex("ffff"));
	check_decoder(debug_pkt_apmsg, packet + text("x"),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 6\n"
		      "    #foreign session resp: mac 02:00:00:00:00:0a, vlan 65535, ssid x, hap ip 10.1.0.1, vc ip 10.1.0.254\n");
}

// --- Hierarchy messages ---

static bytes hierarchy(uint8_t subtype, uint8_t state, const bytes &uptime = hex("01020304"))
{
	bytes result = message(subtype, 59);
	put(result, 50, bytes{state} + uptime + ip4("10.1.0.1"));
	return result;
}

TEST_F(apmsg_test, hierarchy_messages)
{
	check_decoder(debug_pkt_apmsg, hierarchy(3, 2),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 3\n"
		      "    #master beacon: state pot-master/2, uptime 67305985, ap ip 10.1.0.1\n");
	check_decoder(debug_pkt_apmsg, hierarchy(4, 3),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 4\n"
		      "    #hierarchy beacon: state master/3, uptime 67305985, ap ip 10.1.0.1\n");
	check_decoder(debug_pkt_apmsg, hierarchy(5, 1),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 5\n"
		      "    #hierarchy msg to master: state slave/1, uptime 67305985, ap ip 10.1.0.1\n");
	check_decoder(debug_pkt_apmsg, hierarchy(7, 0),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 7\n"
		      "    #beacon request: state initial/0, uptime 67305985, ap ip 10.1.0.1\n");
	for (const uint8_t subtype : bytes{3, 4, 5, 7}) {
		SCOPED_TRACE(static_cast<unsigned>(subtype));
		EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, hierarchy(subtype, 0), 0, 0x8ffd)), (outcome{64, 0, 0x80004, 0x8ffd}));
		EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, hierarchy(subtype, 0), 4095, 0x8ffd)),
			  (outcome{64, 0, 0x80004, 0x8ffd}));
	}
}

TEST_F(apmsg_test, other_states)
{
	check_decoder(debug_pkt_apmsg, hierarchy(3, 4),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 3\n"
		      "    #master beacon: state other/4, uptime 67305985, ap ip 10.1.0.1\n");
	check_decoder(debug_pkt_apmsg, hierarchy(3, 255),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 3\n"
		      "    #master beacon: state other/255, uptime 67305985, ap ip 10.1.0.1\n");
}

TEST_F(apmsg_test, uptime_is_in_host_order_and_unsigned)
{
	EXPECT_EQ(decode(debug_pkt_apmsg, hierarchy(7, 3, hex("0a000000"))).text,
		  "  #apmsg: magic 0xc2c9, version 3, subtype 7\n"
		  "    #beacon request: state master/3, uptime 10, ap ip 10.1.0.1\n");
	check_decoder(debug_pkt_apmsg, hierarchy(7, 3, hex("ffffffff")),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 7\n"
		      "    #beacon request: state master/3, uptime 4294967295, ap ip 10.1.0.1\n");
}

TEST_F(apmsg_test, hierarchy_messages_know_no_criterion)
{
	debug_pkt_ip = in_aton("10.1.0.1");
	filter_mac(hex("02010203040a")); // state, uptime and the address's first byte
	EXPECT_EQ(decode(debug_pkt_apmsg, hierarchy(3, 2)).match, 0u);
}

// --- DNS map ---

static bytes dns_map(uint32_t old_count, uint32_t new_count)
{
	bytes result = message(9, 50);
	return result + big16(old_count) + big16(new_count);
}

// An entry's fixed part; the two bytes behind its counts mean nothing.
static bytes dns_entry(const bytes &name, uint8_t ipv4_count, uint8_t ipv6_count)
{
	bytes entry(260);
	put(entry, 0, name);
	put(entry, 256, bytes{ipv4_count, ipv6_count} + hex("eeee"));
	return entry;
}

static bytes label(std::string_view characters)
{
	return bytes{static_cast<uint8_t>(characters.size())} + text(characters);
}

TEST_F(apmsg_test, old_dns_map)
{
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, dns_map(3, 0), 0, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	check_decoder(debug_pkt_apmsg, dns_map(3, 0) + bytes(300, 1),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 3, old format\n");
	// The new format's count does not count then.
	check_decoder(debug_pkt_apmsg, dns_map(65535, 1) + dns_entry(label("printer"), 0, 0),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 65535, old format\n");
}

TEST_F(apmsg_test, empty_dns_map)
{
	check_decoder(debug_pkt_apmsg, dns_map(0, 0) + dns_entry(label("printer"), 0, 0),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 0, new format\n");
}

TEST_F(apmsg_test, dns_map)
{
	const bytes packet = dns_map(0, 3) + dns_entry(label("www") + label("example") + label("com"), 2, 1) + ip4("192.0.2.80") +
			     ip4("192.0.2.81") + hex("20010db8 00000000 00000000 00000050") + dns_entry(label("printer"), 0, 0) +
			     dns_entry(label("v6") + label("example"), 0, 2) + hex("20010db8 00000000 00000000 00000001") +
			     hex("20010db8 00000000 00000000 00000002");
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 0, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, packet, 4095, 0x8ffd)), (outcome{64, 0, 0x100004, 0x8ffd}));
	check_decoder(debug_pkt_apmsg, packet,
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 3, new format\n"
		      "      #dns domain name www.example.com ipv4/v6 count 2,1\n"
		      "                 ip 192.0.2.80\n"
		      "                 ip 192.0.2.81\n"
		      "                 ipv6 2001:0db8:0000:0000:0000:0000:0000:0050\n"
		      "      #dns domain name printer ipv4/v6 count 0,0\n"
		      "      #dns domain name v6.example ipv4/v6 count 0,2\n"
		      "                 ipv6 2001:0db8:0000:0000:0000:0000:0000:0001\n"
		      "                 ipv6 2001:0db8:0000:0000:0000:0000:0000:0002\n");
}

TEST_F(apmsg_test, dns_map_stops_at_its_count)
{
	check_decoder(debug_pkt_apmsg, dns_map(0, 1) + dns_entry(label("one"), 0, 0) + dns_entry(label("two"), 0, 0),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 1, new format\n"
		      "      #dns domain name one ipv4/v6 count 0,0\n");
}

TEST_F(apmsg_test, dns_map_whose_counts_lie_ends_with_the_packet)
{
	// Five entries announced, one and its addresses there.
	check_decoder(debug_pkt_apmsg, dns_map(0, 5) + dns_entry(label("one"), 1, 0) + ip4("192.0.2.1"),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 5, new format\n"
		      "      #dns domain name one ipv4/v6 count 1,0\n"
		      "                 ip 192.0.2.1\n");
	// Half of the second address.
	check_decoder(debug_pkt_apmsg, dns_map(0, 65535) + dns_entry(label("one"), 255, 255) + ip4("192.0.2.1") + hex("c000"),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 65535, new format\n"
		      "      #dns domain name one ipv4/v6 count 255,255\n"
		      "                 ip 192.0.2.1\n"
		      "                 ip 192.0.0.0\n");
	// Half of the second IPv6 address.
	check_decoder(debug_pkt_apmsg,
		      dns_map(0, 2) + dns_entry(label("one"), 0, 3) + hex("20010db8 00000000 00000000 00000001") +
			      hex("20010db8 00000000"),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 2, new format\n"
		      "      #dns domain name one ipv4/v6 count 0,3\n"
		      "                 ipv6 2001:0db8:0000:0000:0000:0000:0000:0001\n"
		      "                 ipv6 2001:0db8:0000:0000:0000:0000:0000:0000\n");
	// A second entry that ends inside its name: its counts read as 0.
	check_decoder(debug_pkt_apmsg, dns_map(0, 9) + dns_entry(label("one"), 0, 0) + hex("03 74 77"),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 9, new format\n"
		      "      #dns domain name one ipv4/v6 count 0,0\n"
		      "      #dns domain name tw ipv4/v6 count 0,0\n");
	check_decoder(debug_pkt_apmsg, dns_map(0, 1),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 1, new format\n");
}

static std::string shown_name(const bytes &name)
{
	const std::string before = "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
				   "    #dns ip map: dns domain count 1, new format\n"
				   "      #dns domain name ",
			  after = " ipv4/v6 count 0,0\n";
	const std::string whole = decode(debug_pkt_apmsg, dns_map(0, 1) + dns_entry(name, 0, 0)).text;
	EXPECT_EQ(whole.substr(0, before.size()), before);
	EXPECT_EQ(whole.substr(whole.size() - after.size()), after);
	return whole.substr(before.size(), whole.size() - before.size() - after.size());
}

TEST_F(apmsg_test, domain_names)
{
	EXPECT_EQ(shown_name({}), "");
	EXPECT_EQ(shown_name(label("printer")), "printer");
	EXPECT_EQ(shown_name(label("a") + label("b") + label("c")), "a.b.c");
	EXPECT_EQ(shown_name(label("a.b") + label("c")), "a.b.c");
	EXPECT_EQ(shown_name(label("a") + hex("00") + label("b")), "a");
	// A zero byte in a label ends the text.
	EXPECT_EQ(shown_name(label("ab") + hex("03 630064") + label("e")), "ab.c");
	EXPECT_EQ(shown_name(hex("02 0061") + label("b")), "");
}

TEST_F(apmsg_test, longest_domain_name)
{
	const std::string c30(30, 'c'), c31(31, 'c'), c32(32, 'c'), c33(33, 'c');
	// 63 characters fit: 31 + 1 + 31.
	EXPECT_EQ(shown_name(label(c31) + label(c31)), c31 + "." + c31);
	EXPECT_EQ(shown_name(label(c31) + label(c31) + label("d")), c31 + "." + c31);
	EXPECT_EQ(shown_name(label(c31) + label(c32)), c31 + "." + c31);
	EXPECT_EQ(shown_name(label(c33) + label(c30)), c33 + "." + std::string(29, 'c'));
	// The dot is the last that fits.
	EXPECT_EQ(shown_name(label(c31) + label(c30) + label("d")), c31 + "." + c30 + ".");
	// One label.
	EXPECT_EQ(shown_name(label(std::string(62, 'e'))), std::string(62, 'e'));
	EXPECT_EQ(shown_name(label(std::string(63, 'e'))), std::string(63, 'e'));
	EXPECT_EQ(shown_name(label(std::string(64, 'e'))), std::string(63, 'e'));
	EXPECT_EQ(shown_name(label(std::string(255, 'e'))), std::string(63, 'e'));
	// What does not fit does not change what follows.
	check_decoder(debug_pkt_apmsg,
		      dns_map(0, 2) + dns_entry(label(std::string(255, 'e')), 1, 0) + ip4("192.0.2.1") +
			      dns_entry(label("f"), 0, 0),
		      "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
		      "    #dns ip map: dns domain count 2, new format\n"
		      "      #dns domain name eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee ipv4/v6 count 1,0\n"
		      "                 ip 192.0.2.1\n"
		      "      #dns domain name f ipv4/v6 count 0,0\n");
}

TEST_F(apmsg_test, a_full_name_is_read_no_further)
{
	// Without an announced packet. The labels chain on over the counts and the addresses and would leave the block.
	const packet block(dns_map(0, 1) + dns_entry(bytes(256, 0xff), 200, 0) + bytes(800, 0xff));
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	EXPECT_EQ(debug_pkt_apmsg(ctx.get(), block.data()), 64u);
	std::string expected = "  #apmsg: magic 0xc2c9, version 3, subtype 9\n"
			       "    #dns ip map: dns domain count 1, new format\n"
			       "      #dns domain name " +
			       std::string(63, '\xff') + " ipv4/v6 count 200,0\n";
	for (int i = 0; i < 200; ++i)
		expected += "                 ip 255.255.255.255\n";
	EXPECT_EQ(std::string(ctx->buf, ctx->len), expected.substr(0, 4094) + '\0');
}

TEST_F(apmsg_test, dns_map_knows_no_criterion)
{
	debug_pkt_ip = in_aton("192.0.2.1");
	filter_mac(zeros(6));
	EXPECT_EQ(decode(debug_pkt_apmsg, dns_map(0, 1) + dns_entry({}, 1, 0) + ip4("192.0.2.1")).match, 0u);
}

// --- The packet's end ---

TEST_F(apmsg_test, bytes_behind_the_packet_read_as_zero)
{
	// Cut before its subtype, a message is a session request.
	const bytes whole = hierarchy(3, 2), cut(whole.begin(), whole.begin() + 48);
	EXPECT_EQ(decode(debug_pkt_apmsg, cut).text, "  #apmsg: magic 0xc2c9, version 3, subtype 0\n"
						     "    #session request: mac 00:00:00:00:00:00, ap ip 0.0.0.0\n");
	EXPECT_EQ(outcome_of(decode(debug_pkt_apmsg, cut)), (outcome{64, 0, 0x100004, 0}));
	const bytes in_uptime(whole.begin(), whole.begin() + 53);
	EXPECT_EQ(decode(debug_pkt_apmsg, in_uptime).text, "  #apmsg: magic 0xc2c9, version 3, subtype 3\n"
							   "    #master beacon: state pot-master/2, uptime 513, ap ip 0.0.0.0\n");
}

} // namespace test
