// SPDX-License-Identifier: GPL-2.0-only
#include "decode/app/app.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

using dhcp_test = core_test;

// A message by its fields; each is filled up with zero bytes to its size.
struct message {
	bytes head = hex("01 01 06 00  3903f326  0000 0000"); // op, htype, hlen, hops, xid, secs, flags
	bytes addresses = {};                                 // ciaddr, yiaddr, siaddr, giaddr
	bytes hardware_address = hex("020000000001");
	bytes server_name = {};
	bytes file = {};
	bytes cookie = hex("63825363");
	bytes options = {};
};

static bytes filled(const bytes &content, size_t size)
{
	EXPECT_LE(content.size(), size);
	return content + zeros(size - content.size());
}

static bytes in_udp(const bytes &payload)
{
	return big16(68) + big16(67) + big16(static_cast<uint32_t>(payload.size() + 8)) + big16(0) + payload;
}

static bytes in_udp(const message &m)
{
	return in_udp(filled(m.head, 12) + filled(m.addresses, 16) + filled(m.hardware_address, 16) + filled(m.server_name, 64) +
		      filled(m.file, 128) + filled(m.cookie, 4) + m.options);
}

static bytes option(uint8_t code, const bytes &value)
{
	return bytes{code, static_cast<uint8_t>(value.size())} + value;
}

static const bytes end_option = hex("ff");
static const bytes discover = hex("35 01 01");

// The decoder on a packet that begins with its UDP header. The message is what follows the header, or of the length given.
static uint32_t dhcp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_dhcp(ctx, data + 8, static_cast<uint16_t>(len - 8), data);
}

static decoder dhcp_of_length(uint16_t length)
{
	return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_dhcp(ctx, data + 8, length, data); };
}

// What every message below begins with, unless it says otherwise.
static const std::string fixed_lines = "      #dhcp: message-type: request\n"
				       "             hardware type: 1, len: 6, hops: 0\n"
				       "             txn id: 0x3903f326, seconds elapsed: 0\n"
				       "             client mac: 02:00:00:00:00:01\n"
				       "             magic cookie: 0x63825363\n";

static void check_options(const bytes &options, const std::string &option_lines)
{
	check_decoder(dhcp, in_udp(message{.options = options}), fixed_lines + option_lines);
}

// The option lines of a message whose length, without its UDP header, is not the packet's.
static std::string option_lines(uint16_t length, const bytes &options)
{
	const result shown = decode(dhcp_of_length(length), in_udp(message{.options = options}));
	EXPECT_EQ(shown.text.substr(0, fixed_lines.size()), fixed_lines);
	return shown.text.substr(fixed_lines.size());
}

TEST_F(dhcp_test, every_field_of_the_fixed_part)
{
	const bytes content =
		in_udp(message{.head = hex("02 06 10 03  0000abcd  012c 8000"),
			       .addresses = ip4("10.1.2.3") + ip4("192.168.100.200") + ip4("172.16.0.1") + ip4("10.255.254.253"),
			       .hardware_address = hex("0011aabbccff 01020304"),
			       .server_name = text("server.example"),
			       .file = text("boot/file.img"),
			       .cookie = hex("0001abff")});
	const result shown = decode(dhcp, content, 0, 0x800);
	EXPECT_EQ(shown.consumed, 240u);
	EXPECT_EQ(shown.type, 0x200u);
	EXPECT_EQ(shown.match, 0u);
	EXPECT_EQ(shown.proto, 0x800u);
	check_decoder(dhcp, content,
		      "      #dhcp: message-type: reply\n"
		      "             hardware type: 6, len: 16, hops: 3\n"
		      "             txn id: 0x0000abcd, seconds elapsed: 300\n"
		      "             boot flags: 0x8000\n"
		      "             client ip: 10.1.2.3\n"
		      "             your ip: 192.168.100.200\n"
		      "             next server ip: 172.16.0.1\n"
		      "             relay agent ip: 10.255.254.253\n"
		      "             client mac: 00:11:aa:bb:cc:ff\n"
		      "             server host name: server.example\n"
		      "             boot file name: boot/file.img\n"
		      "             magic cookie: 0x0001abff\n");
}

TEST_F(dhcp_test, largest_values_of_the_fixed_part)
{
	check_decoder(dhcp,
		      in_udp(message{.head = hex("ff ff ff ff  ffffffff  ffff ffff"),
				     .addresses = bytes(16, 0xff),
				     .hardware_address = bytes(16, 0xff),
				     .cookie = hex("ffffffff")}),
		      "      #dhcp: message-type: unknown\n"
		      "             hardware type: 255, len: 255, hops: 255\n"
		      "             txn id: 0xffffffff, seconds elapsed: 65535\n"
		      "             boot flags: 0xffff\n"
		      "             client ip: 255.255.255.255\n"
		      "             your ip: 255.255.255.255\n"
		      "             next server ip: 255.255.255.255\n"
		      "             relay agent ip: 255.255.255.255\n"
		      "             client mac: ff:ff:ff:ff:ff:ff\n"
		      "             magic cookie: 0xffffffff\n");
}

TEST_F(dhcp_test, zero_fields_are_left_out)
{
	const std::string expected = "      #dhcp: message-type: unknown\n"
				     "             hardware type: 0, len: 0, hops: 0\n"
				     "             txn id: 0x00000000, seconds elapsed: 0\n"
				     "             magic cookie: 0x00000000\n";
	check_decoder(dhcp, in_udp(zeros(240)), expected);
	// Text behind the first byte of a name, and a hardware address behind its sixth, do not count.
	check_decoder(dhcp,
		      in_udp(message{.head = {},
				     .hardware_address = hex("000000000000 01020304050607080900"),
				     .server_name = hex("00") + text("server"),
				     .file = hex("00") + text("file"),
				     .cookie = {}}),
		      expected);
}

TEST_F(dhcp_test, one_byte_makes_a_field_shown)
{
	const struct {
		size_t offset;
		const char *line;
	} rows[] = {
		{10, "             boot flags: 0x0100\n"},
		{11, "             boot flags: 0x0001\n"},
		{12, "             client ip: 1.0.0.0\n"},
		{15, "             client ip: 0.0.0.1\n"},
		{16, "             your ip: 1.0.0.0\n"},
		{19, "             your ip: 0.0.0.1\n"},
		{20, "             next server ip: 1.0.0.0\n"},
		{23, "             next server ip: 0.0.0.1\n"},
		{24, "             relay agent ip: 1.0.0.0\n"},
		{27, "             relay agent ip: 0.0.0.1\n"},
		{28, "             client mac: 01:00:00:00:00:00\n"},
		{33, "             client mac: 00:00:00:00:00:01\n"},
		{44, "             server host name: \x01\n"},
		{108, "             boot file name: \x01\n"},
	};
	for (const auto &row : rows) {
		bytes payload = zeros(240);
		payload[row.offset] = 1;
		EXPECT_EQ(decode(dhcp, in_udp(payload)).text, std::string("      #dhcp: message-type: unknown\n"
									  "             hardware type: 0, len: 0, hops: 0\n"
									  "             txn id: 0x00000000, seconds elapsed: 0\n") +
								      row.line + "             magic cookie: 0x00000000\n");
	}
}

TEST_F(dhcp_test, names_of_op)
{
	const struct {
		uint8_t op;
		const char *name;
	} rows[] = {{0, "unknown"}, {1, "request"}, {2, "reply"}, {3, "unknown"}, {255, "unknown"}};
	for (const auto &row : rows) {
		message m;
		m.head[0] = row.op;
		EXPECT_EQ(decode(dhcp, in_udp(m)).text, std::string("      #dhcp: message-type: ") + row.name +
								"\n"
								"             hardware type: 1, len: 6, hops: 0\n"
								"             txn id: 0x3903f326, seconds elapsed: 0\n"
								"             client mac: 02:00:00:00:00:01\n"
								"             magic cookie: 0x63825363\n");
	}
}

TEST_F(dhcp_test, other_ops_have_no_options)
{
	message m{.options = option(12, text("host")) + discover + end_option};
	m.head[0] = 3;
	check_decoder(dhcp, in_udp(m),
		      "      #dhcp: message-type: unknown\n"
		      "             hardware type: 1, len: 6, hops: 0\n"
		      "             txn id: 0x3903f326, seconds elapsed: 0\n"
		      "             client mac: 02:00:00:00:00:01\n"
		      "             magic cookie: 0x63825363\n");
	m.head[0] = 0;
	EXPECT_EQ(decode(dhcp, in_udp(m)).text.find("#dhcp-option"), std::string::npos);
	m.head[0] = 2;
	check_decoder(dhcp, in_udp(m),
		      "      #dhcp: message-type: reply\n"
		      "             hardware type: 1, len: 6, hops: 0\n"
		      "             txn id: 0x3903f326, seconds elapsed: 0\n"
		      "             client mac: 02:00:00:00:00:01\n"
		      "             magic cookie: 0x63825363\n"
		      "      #dhcp-option: message-type: discover\n"
		      "      #dhcp-option: Host Name: host\n");
}

TEST_F(dhcp_test, a_server_name_that_fills_its_field_runs_on_into_the_file_name)
{
	const std::string name(64, 'n');
	check_decoder(dhcp, in_udp(message{.server_name = text(name), .file = text("boot")}),
		      "      #dhcp: message-type: request\n"
		      "             hardware type: 1, len: 6, hops: 0\n"
		      "             txn id: 0x3903f326, seconds elapsed: 0\n"
		      "             client mac: 02:00:00:00:00:01\n"
		      "             server host name: " +
			      name +
			      "boot\n"
			      "             boot file name: boot\n"
			      "             magic cookie: 0x63825363\n");
	check_decoder(dhcp, in_udp(message{.server_name = text(name)}),
		      "      #dhcp: message-type: request\n"
		      "             hardware type: 1, len: 6, hops: 0\n"
		      "             txn id: 0x3903f326, seconds elapsed: 0\n"
		      "             client mac: 02:00:00:00:00:01\n"
		      "             server host name: " +
			      name +
			      "\n"
			      "             magic cookie: 0x63825363\n");
}

TEST_F(dhcp_test, names_that_fill_both_fields_run_on_to_a_zero_byte_or_the_end)
{
	const std::string name(64, 'n'), file(128, 'f');
	const std::string head = "      #dhcp: message-type: request\n"
				 "             hardware type: 1, len: 6, hops: 0\n"
				 "             txn id: 0x3903f326, seconds elapsed: 0\n"
				 "             client mac: 02:00:00:00:00:01\n";
	// The cookie and the options follow: "c", 0x82, "Sc", then "5" 1 1 and the end option.
	check_decoder(dhcp, in_udp(message{.server_name = text(name), .file = text(file), .options = discover + hex("ff 00 41")}),
		      head + "             server host name: " + name + file + "c\x82Sc5\x01\x01\xff\n" +
			      "             boot file name: " + file +
			      "c\x82Sc5\x01\x01\xff\n"
			      "             magic cookie: 0x63825363\n"
			      "      #dhcp-option: message-type: discover\n");
	check_decoder(dhcp, in_udp(message{.server_name = text(name), .file = text(file), .options = discover}),
		      head + "             server host name: " + name + file + "c\x82Sc5\x01\x01\n" +
			      "             boot file name: " + file +
			      "c\x82Sc5\x01\x01\n"
			      "             magic cookie: 0x63825363\n"
			      "      #dhcp-option: message-type: discover\n");
}

TEST_F(dhcp_test, a_name_longer_than_the_text_fills_it)
{
	const bytes content = in_udp(message{
		.server_name = bytes(64, 'x'), .file = bytes(128, 'x'), .cookie = bytes(4, 'x'), .options = bytes(5000, 'x')});
	const result shown = decode(dhcp, content);
	std::string expected = "      #dhcp: message-type: request\n"
			       "             hardware type: 1, len: 6, hops: 0\n"
			       "             txn id: 0x3903f326, seconds elapsed: 0\n"
			       "             client mac: 02:00:00:00:00:01\n"
			       "             server host name: ";
	expected.resize(4094, 'x');
	EXPECT_EQ(shown.text, expected + '\0');
	EXPECT_EQ(shown.consumed, 240u);
	EXPECT_EQ(shown.type, 0x200u);
}

TEST_F(dhcp_test, every_option_in_its_fixed_order)
{
	const bytes netmask = option(1, ip4("255.255.255.0")), router = option(3, ip4("10.0.0.1") + ip4("10.0.0.2")),
		    dns = option(6, ip4("10.0.0.3") + ip4("10.0.0.4")), domain = option(15, text("example.org")),
		    requested = option(50, ip4("10.0.0.99")), type = option(53, {3}), server = option(54, ip4("10.0.0.5")),
		    other_type = option(62, text("x")), relay = option(82, hex("01 02") + text("c1") + hex("02 02") + text("r2")),
		    vlan = option(254, hex("0064")), host = option(12, text("laptop")), requests = option(55, hex("010306")),
		    vendor = option(60, text("MSFT 5.0")), unknown = option(61, hex("01020000000001"));
	const std::string expected = "      #dhcp-option: netmask: 255.255.255.0\n"
				     "      #dhcp-option: router: 10.0.0.1\n"
				     "      #dhcp-option: dns-server: 10.0.0.3,10.0.0.4\n"
				     "      #dhcp-option: dns-name: example.org\n"
				     "      #dhcp-option: requested-ip: 10.0.0.99\n"
				     "      #dhcp-option: message-type: request\n"
				     "      #dhcp-option: dhcp-server: 10.0.0.5\n"
				     "      #dhcp-option: option-82: Agent Circuit ID: c1\n"
				     "      #dhcp-option: option-82: Agent Remote  ID: r2\n"
				     "      #dhcp-option: telvo-vlan: 100\n"
				     "      #dhcp-option: Host Name: laptop\n"
				     "      #dhcp-option: Vendor Class ID: MSFT 5.0\n";
	check_options(netmask + router + dns + domain + requested + type + server + other_type + relay + vlan + host + requests +
			      vendor + unknown + end_option,
		      expected);
	check_options(unknown + vendor + requests + host + vlan + relay + other_type + server + type + requested + domain + dns +
			      router + netmask + end_option,
		      expected);
}

TEST_F(dhcp_test, the_last_of_an_option_counts)
{
	check_options(discover + option(53, {5}) + end_option, "      #dhcp-option: message-type: ack\n");
	check_options(option(1, ip4("1.1.1.1")) + option(15, text("one")) + option(1, ip4("2.2.2.2")) + option(15, text("two")) +
			      option(1, ip4("3.3.3.3")) + end_option,
		      "      #dhcp-option: netmask: 3.3.3.3\n"
		      "      #dhcp-option: dns-name: two\n");
}

TEST_F(dhcp_test, pads_and_the_end_option)
{
	check_options({}, "");
	check_options(hex("00"), "");
	check_options(zeros(60), "");
	check_options(end_option, "");
	check_options(zeros(3) + discover + zeros(2) + option(12, text("a")) + zeros(1),
		      "      #dhcp-option: message-type: discover\n"
		      "      #dhcp-option: Host Name: a\n");
	check_options(option(12, text("a")) + end_option + discover, "      #dhcp-option: Host Name: a\n");
	check_options(zeros(1) + end_option + discover, "");
}

TEST_F(dhcp_test, an_option_may_end_at_the_end_and_no_further)
{
	const bytes options = discover + option(12, text("host")) + zeros(20);
	EXPECT_EQ(option_lines(240, options), "");
	EXPECT_EQ(option_lines(241, options), "");
	EXPECT_EQ(option_lines(242, options), "");
	EXPECT_EQ(option_lines(243, options), "      #dhcp-option: message-type: discover\n");
	EXPECT_EQ(option_lines(248, options), "      #dhcp-option: message-type: discover\n");
	EXPECT_EQ(option_lines(249, options), "      #dhcp-option: message-type: discover\n      #dhcp-option: Host Name: host\n");
	EXPECT_EQ(option_lines(250, options), "      #dhcp-option: message-type: discover\n      #dhcp-option: Host Name: host\n");
	// Pads reach the end, and the option behind them lies outside.
	EXPECT_EQ(option_lines(242, zeros(2) + discover), "");
	EXPECT_EQ(option_lines(245, zeros(2) + discover), "      #dhcp-option: message-type: discover\n");
	// An option that is too long hides nothing in front of it.
	check_options(discover + hex("0c 05") + text("host"), "      #dhcp-option: message-type: discover\n");
}

TEST_F(dhcp_test, a_length_below_the_fixed_part_wraps)
{
	const bytes options = zeros(3) + discover + end_option;
	EXPECT_EQ(option_lines(0, options), "      #dhcp-option: message-type: discover\n");
	EXPECT_EQ(option_lines(10, options), "      #dhcp-option: message-type: discover\n");
	EXPECT_EQ(option_lines(239, options), "      #dhcp-option: message-type: discover\n");
	EXPECT_EQ(option_lines(240, options), "");
	// The 8 bytes of the UDP header are added in 16 bits.
	EXPECT_EQ(option_lines(65528, options), "      #dhcp-option: message-type: discover\n");
	EXPECT_EQ(option_lines(65535, options), "      #dhcp-option: message-type: discover\n");
	// Without an end option the packet's end stops the walk.
	EXPECT_EQ(option_lines(239, discover + option(12, text("a"))),
		  "      #dhcp-option: message-type: discover\n      #dhcp-option: Host Name: a\n");
}

TEST_F(dhcp_test, parse_wraps_to_65535_bytes)
{
	bytes content = in_udp(message{});
	for (int i = 0; i < 256; ++i)
		content = content + option(99, zeros(253));
	const bytes fits = content + option(1, zeros(253)) + zeros(1), too_long = content + option(1, zeros(254));
	const packet first(fits), second(too_long);
	dhcp_options options = {};
	dhcp_parse(first.data(), 247, &options);
	EXPECT_EQ(options.netmask, first.data() + 248 + 256 * 255);
	options = {};
	dhcp_parse(second.data(), 247, &options);
	EXPECT_EQ(options.netmask, nullptr);
	// One byte less: 65534.
	dhcp_parse(first.data(), 246, &options);
	EXPECT_EQ(options.netmask, nullptr);
}

TEST_F(dhcp_test, parse_records_each_code_in_its_slot)
{
	const uint8_t slot_codes[] = {1, 3, 6, 15, 50, 53, 54, 62, 82, 254, 12, 55, 60};
	bytes options;
	for (int code = 1; code < 255; ++code)
		options = options + option(static_cast<uint8_t>(code), {static_cast<uint8_t>(code)});
	const bytes content = in_udp(message{.options = options});
	const packet packet(content);
	dhcp_options parsed = {};
	dhcp_parse(packet.data(), static_cast<uint16_t>(packet.size()), &parsed);
	const uint8_t *slots[16];
	static_assert(sizeof parsed == sizeof slots);
	std::memcpy(slots, &parsed, sizeof slots);
	for (size_t i = 0; i < 13; ++i)
		EXPECT_EQ(slots[i], packet.data() + 248 + 3 * (slot_codes[i] - 1)) << "slot " << i;
	for (size_t i = 13; i < 16; ++i)
		EXPECT_EQ(slots[i], nullptr);
}

TEST_F(dhcp_test, parse_leaves_the_slots_of_options_that_it_does_not_meet)
{
	const uint8_t mark = 0;
	dhcp_options options = {};
	options.router = options.msg_type = options.spare[0] = options.spare[2] = &mark;
	const packet with_op_3(in_udp(message{.head = hex("03"), .options = discover}));
	dhcp_parse(with_op_3.data(), static_cast<uint16_t>(with_op_3.size()), &options);
	EXPECT_EQ(options.msg_type, &mark);
	const packet request(in_udp(message{.options = discover}));
	dhcp_parse(request.data(), static_cast<uint16_t>(request.size()), &options);
	EXPECT_EQ(options.msg_type, request.data() + 248);
	EXPECT_EQ(options.router, &mark);
	EXPECT_EQ(options.spare[0], &mark);
	EXPECT_EQ(options.spare[2], &mark);
	EXPECT_EQ(options.netmask, nullptr);
	// 248 bytes: no room for options.
	options.msg_type = nullptr;
	dhcp_parse(request.data(), 248, &options);
	EXPECT_EQ(options.msg_type, nullptr);
}

TEST_F(dhcp_test, recorded_options_without_a_line)
{
	check_options(option(62, text("opt")) + option(55, hex("010306")) + option(61, hex("01")) + end_option, "");
}

TEST_F(dhcp_test, addresses_do_not_depend_on_the_option_length)
{
	check_options(hex("01 00 ff fe fd fc"), "      #dhcp-option: netmask: 255.254.253.252\n");
	check_options(hex("03 01 0a ff 01 02"), "      #dhcp-option: router: 10.255.1.2\n");
	check_options(option(50, hex("01020304 05")), "      #dhcp-option: requested-ip: 1.2.3.4\n");
	check_options(option(54, hex("00000000")), "      #dhcp-option: dhcp-server: 0.0.0.0\n");
}

TEST_F(dhcp_test, dns_servers)
{
	check_options(option(6, {}) + discover, "      #dhcp-option: message-type: discover\n");
	check_options(option(6, ip4("10.0.0.1")) + end_option, "      #dhcp-option: dns-server: 10.0.0.1\n");
	check_options(option(6, hex("0a000001 08")) + hex("ff 07 06"), "      #dhcp-option: dns-server: 10.0.0.1,8.255.7.6\n");
	check_options(option(6, ip4("10.0.0.1") + ip4("10.0.0.2")) + end_option,
		      "      #dhcp-option: dns-server: 10.0.0.1,10.0.0.2\n");
	check_options(option(6, hex("0a000001 0a000002 0a000003")) + end_option,
		      "      #dhcp-option: dns-server: 10.0.0.1,10.0.0.2,10.0.0.3\n");
	check_options(option(6, hex("01")) + hex("ff 02 03"), "      #dhcp-option: dns-server: 1.255.2.3\n");
	check_options(option(6, hex("010203")) + hex("ff"), "      #dhcp-option: dns-server: 1.2.3.255\n");
}

TEST_F(dhcp_test, longest_dns_server_list)
{
	std::string expected = "      #dhcp-option: dns-server: 9.9.9.9";
	for (int i = 1; i < 63; ++i)
		expected += ",9.9.9.9";
	expected += ",9.9.9.255\n";
	check_options(option(6, bytes(255, 9)) + end_option, expected);
}

TEST_F(dhcp_test, dns_servers_end_with_the_packet)
{
	EXPECT_EQ(option_lines(300, hex("06 08")), "");
	EXPECT_EQ(option_lines(300, hex("06 08 01")), "      #dhcp-option: dns-server: 1.0.0.0\n");
	EXPECT_EQ(option_lines(300, hex("06 08 01020304")), "      #dhcp-option: dns-server: 1.2.3.4\n");
	EXPECT_EQ(option_lines(300, hex("06 08 01020304 05")), "      #dhcp-option: dns-server: 1.2.3.4,5.0.0.0\n");
}

TEST_F(dhcp_test, string_options)
{
	check_options(option(15, {}) + option(12, {}) + option(60, {}), "      #dhcp-option: dns-name: \n"
									"      #dhcp-option: Host Name: \n"
									"      #dhcp-option: Vendor Class ID: \n");
	check_options(option(15, text("dom") + hex("00") + text("ain")) + option(12, text("ho") + hex("00") + text("st")) +
			      option(60, hex("00") + text("class")),
		      "      #dhcp-option: dns-name: dom\n"
		      "      #dhcp-option: Host Name: ho\n"
		      "      #dhcp-option: Vendor Class ID: \n");
	check_options(option(15, hex("0a80ff25")) + end_option, "      #dhcp-option: dns-name: \n\x80\xff%\n");
}

TEST_F(dhcp_test, string_options_of_255_bytes)
{
	check_options(option(15, bytes(255, 'd')) + option(12, bytes(255, 'h')) + option(60, bytes(255, 'v')) + end_option,
		      "      #dhcp-option: dns-name: " + std::string(255, 'd') + "\n      #dhcp-option: Host Name: " +
			      std::string(255, 'h') + "\n      #dhcp-option: Vendor Class ID: " + std::string(255, 'v') + "\n");
}

TEST_F(dhcp_test, names_of_message_types)
{
	const struct {
		uint8_t type;
		const char *line;
	} rows[] = {
		{0, "      #dhcp-option: message-type: unknown\n"},   {1, "      #dhcp-option: message-type: discover\n"},
		{2, "      #dhcp-option: message-type: offer\n"},     {3, "      #dhcp-option: message-type: request\n"},
		{4, "      #dhcp-option: message-type: decline\n"},   {5, "      #dhcp-option: message-type: ack\n"},
		{6, "      #dhcp-option: message-type: nack\n"},      {7, "      #dhcp-option: message-type: release\n"},
		{8, "      #dhcp-option: message-type: inform\n"},    {9, "      #dhcp-option: message-type: unknown\n"},
		{255, "      #dhcp-option: message-type: unknown\n"},
	};
	for (const auto &row : rows)
		check_options(option(53, {row.type}) + end_option, row.line);
	// The length is not looked at.
	check_options(hex("35 00 00"), "      #dhcp-option: message-type: unknown\n");
	check_options(hex("35 00 08 00") + zeros(6), "      #dhcp-option: message-type: inform\n");
}

TEST_F(dhcp_test, telvo_vlan)
{
	check_options(option(254, hex("0fff")), "      #dhcp-option: telvo-vlan: 4095\n");
	check_options(option(254, hex("ffff 01")), "      #dhcp-option: telvo-vlan: 65535\n");
	check_options(hex("fe 00 ff 01"), "      #dhcp-option: telvo-vlan: 65281\n");
	check_options(option(254, hex("0000")), "      #dhcp-option: telvo-vlan: 0\n");
}

static bytes relay(const bytes &sub_options)
{
	return option(82, sub_options);
}

TEST_F(dhcp_test, relay_agent_sub_options)
{
	check_options(relay(hex("01 04") + text("abcd")), "      #dhcp-option: option-82: Agent Circuit ID: abcd\n");
	check_options(relay(hex("02 04") + text("abcd")), "      #dhcp-option: option-82: Agent Remote  ID: abcd\n");
	check_options(relay(hex("09 04") + text("abcd")), "      #dhcp-option: option-82: Type 9, Value: abcd\n");
	check_options(relay(hex("00 01 41 ff 01 42 03 01 43 02 01 44 01 01 45")),
		      "      #dhcp-option: option-82: Type 0, Value: A\n"
		      "      #dhcp-option: option-82: Type 255, Value: B\n"
		      "      #dhcp-option: option-82: Type 3, Value: C\n"
		      "      #dhcp-option: option-82: Agent Remote  ID: D\n"
		      "      #dhcp-option: option-82: Agent Circuit ID: E\n");
	check_options(relay(hex("01 fd") + bytes(253, 'z')),
		      "      #dhcp-option: option-82: Agent Circuit ID: " + std::string(253, 'z') + "\n");
}

TEST_F(dhcp_test, relay_agent_option_without_a_whole_sub_option)
{
	check_options(relay({}) + discover, "      #dhcp-option: message-type: discover\n");
	check_options(relay(hex("01")) + discover, "      #dhcp-option: message-type: discover\n");
	check_options(relay(hex("01 00")) + discover, "      #dhcp-option: message-type: discover\n");
	check_options(relay(hex("01 00 02")), "      #dhcp-option: option-82: Agent Circuit ID: \n");
}

TEST_F(dhcp_test, a_last_sub_option_that_is_only_a_header_is_not_shown)
{
	check_options(relay(hex("01 02 61 62 02 00")), "      #dhcp-option: option-82: Agent Circuit ID: ab\n");
	check_options(relay(hex("09 00 01 01 61")), "      #dhcp-option: option-82: Type 9, Value: \n"
						    "      #dhcp-option: option-82: Agent Circuit ID: a\n");
	// One byte behind the header is enough.
	check_options(relay(hex("01 02 61 62 02 00 00")), "      #dhcp-option: option-82: Agent Circuit ID: ab\n"
							  "      #dhcp-option: option-82: Agent Remote  ID: \n");
}

TEST_F(dhcp_test, a_sub_option_longer_than_what_is_left_is_stepped_into)
{
	check_options(relay(hex("01 c8 02 02 68 69")), "      #dhcp-option: option-82: Agent Remote  ID: hi\n");
	check_options(relay(hex("01 05 02 02 68 69")), "      #dhcp-option: option-82: Agent Remote  ID: hi\n");
	check_options(relay(hex("01 03 61 62")), "");
	check_options(relay(hex("01 ff 02 ff 03 ff 04 01 61")), "      #dhcp-option: option-82: Type 4, Value: a\n");
	// Two bytes are counted for each header, so that what is left ends where the option does.
	check_options(relay(hex("01 09 02 01 61 01 01 62")), "      #dhcp-option: option-82: Agent Remote  ID: a\n"
							     "      #dhcp-option: option-82: Agent Circuit ID: b\n");
}

TEST_F(dhcp_test, a_zero_byte_ends_the_text_of_a_sub_option_only)
{
	check_options(relay(hex("01 05 6162006364 02 02 0065 09 02 6600")), "      #dhcp-option: option-82: Agent Circuit ID: ab\n"
									    "      #dhcp-option: option-82: Agent Remote  ID: \n"
									    "      #dhcp-option: option-82: Type 9, Value: f\n");
}

TEST_F(dhcp_test, sub_options_end_with_the_packet)
{
	EXPECT_EQ(option_lines(300, hex("52 10")), "");
	EXPECT_EQ(option_lines(300, hex("52 10 01")), "      #dhcp-option: option-82: Agent Circuit ID: \n");
	EXPECT_EQ(option_lines(300, hex("52 10 01 03 61")), "      #dhcp-option: option-82: Agent Circuit ID: a\n");
	EXPECT_EQ(option_lines(300, hex("52 10 01 01 61")), "      #dhcp-option: option-82: Agent Circuit ID: a\n");
	EXPECT_EQ(option_lines(300, hex("52 10 01 01 61 07")), "      #dhcp-option: option-82: Agent Circuit ID: a\n"
							       "      #dhcp-option: option-82: Type 7, Value: \n");
	EXPECT_EQ(option_lines(300, hex("52 10 01 40")), "");
}

TEST_F(dhcp_test, option_values_behind_the_packet_are_zero)
{
	EXPECT_EQ(option_lines(300, hex("01")), "      #dhcp-option: netmask: 0.0.0.0\n");
	EXPECT_EQ(option_lines(300, hex("01 04 ff ff")), "      #dhcp-option: netmask: 255.255.0.0\n");
	EXPECT_EQ(option_lines(300, hex("35 01")), "      #dhcp-option: message-type: unknown\n");
	EXPECT_EQ(option_lines(300, hex("fe 02 01")), "      #dhcp-option: telvo-vlan: 256\n");
	EXPECT_EQ(option_lines(300, hex("0c 08") + text("ho")), "      #dhcp-option: Host Name: ho\n");
	// An option that reaches beyond the length is none, whatever the packet has.
	EXPECT_EQ(option_lines(250, hex("0c 09") + text("host")), "");
}

static uint32_t match_of(const message &m)
{
	const bytes content = in_udp(m);
	const uint32_t match = decode(dhcp, content).match;
	const result full = decode(dhcp, content, 4095);
	EXPECT_EQ(full.match, match);
	EXPECT_EQ(full.type, 0x200u);
	EXPECT_EQ(full.consumed, 240u);
	EXPECT_EQ(full.len, 4095u);
	return match;
}

TEST_F(dhcp_test, ip_match)
{
	const bytes four = ip4("10.0.0.1") + ip4("10.0.0.2") + ip4("10.0.0.3") + ip4("10.0.0.4");
	const message all{.addresses = four};
	for (const char *address : {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4"}) {
		debug_pkt_ip = in_aton(address);
		EXPECT_EQ(match_of(all), 0x4u);
	}
	for (const char *address : {"10.0.0.5", "1.0.0.10", "57.3.243.38", "99.130.83.99", "0.0.0.0"}) {
		debug_pkt_ip = in_aton(address);
		EXPECT_EQ(match_of(all), 0u);
	}
	debug_pkt_ip = in_aton("10.0.0.1");
	EXPECT_EQ(match_of(message{.options = option(50, ip4("10.0.0.1")) + option(54, ip4("10.0.0.1"))}), 0u);
}

TEST_F(dhcp_test, a_zero_ip_filter_matches_zero_addresses)
{
	for (size_t zero = 0; zero < 4; ++zero) {
		bytes addresses(16, 1);
		std::memset(&addresses[zero * 4], 0, 4);
		EXPECT_EQ(match_of(message{.addresses = addresses}), 0x4u);
	}
	EXPECT_EQ(match_of(message{}), 0x4u);
	debug_pkt_ip = in_aton("0.0.0.1");
	EXPECT_EQ(match_of(message{}), 0u);
	debug_pkt_match_flags = 0;
	debug_pkt_ip = 0;
	EXPECT_EQ(match_of(message{}), 0x4u);
}

TEST_F(dhcp_test, mac_match)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	const message m{.hardware_address = hex("0011aabbccff 0102")};
	std::memcpy(debug_pkt_mac, hex("0011aabbccff").data(), 6);
	EXPECT_EQ(match_of(m), 0x2u);
	EXPECT_EQ(match_of(message{.addresses = ip4("10.0.0.1"), .hardware_address = hex("0011aabbccff")}), 0x6u);
	for (size_t i = 0; i < 6; ++i) {
		debug_pkt_mac[i] ^= 1;
		EXPECT_EQ(match_of(m), 0u);
		debug_pkt_mac[i] ^= 1;
	}
	std::memset(debug_pkt_mac, 0, 6);
	EXPECT_EQ(match_of(message{.hardware_address = {}}), 0x2u);
}

TEST_F(dhcp_test, bits_are_added)
{
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->type = 0x80;
		ctx->match = 0x51;
		return dhcp(ctx, data, len);
	};
	std::memcpy(debug_pkt_mac, hex("020000000001").data(), 6);
	const result shown = decode(behind_others, in_udp(message{}));
	EXPECT_EQ(shown.type, 0x280u);
	EXPECT_EQ(shown.match, 0x57u);
}

static std::string text_of_first(const bytes &content, size_t size)
{
	const result shown = decode(dhcp, bytes(content.begin(), content.begin() + static_cast<ptrdiff_t>(size)));
	EXPECT_EQ(shown.consumed, 240u);
	EXPECT_EQ(shown.type, 0x200u);
	return shown.text;
}

TEST_F(dhcp_test, messages_shorter_than_the_fixed_part)
{
	const bytes content = in_udp(message{.head = hex("01 01 06 02 01020304 0005 8000"),
					     .addresses = ip4("10.1.2.3"),
					     .server_name = text("server"),
					     .file = text("file"),
					     .options = discover});
	for (size_t size : {size_t{0}, size_t{5}, size_t{8}})
		EXPECT_EQ(text_of_first(content, size), "      #dhcp: message-type: unknown\n"
							"             hardware type: 0, len: 0, hops: 0\n"
							"             txn id: 0x00000000, seconds elapsed: 0\n"
							"             magic cookie: 0x00000000\n");
	EXPECT_EQ(text_of_first(content, 8 + 14), "      #dhcp: message-type: request\n"
						  "             hardware type: 1, len: 6, hops: 2\n"
						  "             txn id: 0x01020304, seconds elapsed: 5\n"
						  "             boot flags: 0x8000\n"
						  "             client ip: 10.1.0.0\n"
						  "             magic cookie: 0x00000000\n");
	EXPECT_EQ(text_of_first(content, 8 + 47), "      #dhcp: message-type: request\n"
						  "             hardware type: 1, len: 6, hops: 2\n"
						  "             txn id: 0x01020304, seconds elapsed: 5\n"
						  "             boot flags: 0x8000\n"
						  "             client ip: 10.1.2.3\n"
						  "             client mac: 02:00:00:00:00:01\n"
						  "             server host name: ser\n"
						  "             magic cookie: 0x00000000\n");
	EXPECT_EQ(text_of_first(content, 8 + 238), "      #dhcp: message-type: request\n"
						   "             hardware type: 1, len: 6, hops: 2\n"
						   "             txn id: 0x01020304, seconds elapsed: 5\n"
						   "             boot flags: 0x8000\n"
						   "             client ip: 10.1.2.3\n"
						   "             client mac: 02:00:00:00:00:01\n"
						   "             server host name: server\n"
						   "             boot file name: file\n"
						   "             magic cookie: 0x63820000\n");
}

TEST_F(dhcp_test, without_an_announced_packet_it_reads_what_follows)
{
	const packet packet(in_udp(message{.options = option(12, text("host")) + end_option + discover}));
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	EXPECT_EQ(debug_pkt_dhcp(ctx.get(), packet.data() + 8, 200, packet.data()), 240u);
	EXPECT_EQ(std::string(ctx->buf, ctx->len), fixed_lines + "      #dhcp-option: Host Name: host\n");
}

} // namespace test
