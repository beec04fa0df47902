// SPDX-License-Identifier: GPL-2.0-only
#include "decode/app/app.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

using dns_test = core_test;

static bytes header(uint32_t id, uint32_t flags, uint32_t questions, uint32_t answers)
{
	return big16(id) + big16(flags) + big16(questions) + big16(answers) + hex("fffe fdfc");
}

static bytes label(const bytes &content)
{
	return bytes{static_cast<uint8_t>(content.size())} + content;
}

static bytes label(std::string_view content)
{
	return label(text(content));
}

static bytes name(std::initializer_list<std::string_view> labels)
{
	bytes result;
	for (std::string_view content : labels)
		result = result + label(content);
	return result + zeros(1);
}

static bytes question(const bytes &name, uint32_t type, uint32_t query_class)
{
	return name + big16(type) + big16(query_class);
}

// type, class, ttl, length and data of an answer, behind its owner name.
static bytes record(uint32_t type, uint32_t record_class, uint32_t ttl, const bytes &data)
{
	return big16(type) + big16(record_class) + big32(ttl) + big16(static_cast<uint32_t>(data.size())) + data;
}

static const bytes pointer = hex("c00c");

static bytes in_udp(const bytes &payload)
{
	return big16(53) + big16(5353) + big16(static_cast<uint32_t>(payload.size() + 8)) + big16(0) + payload;
}

// The decoder on a packet that begins with its UDP header.
static uint32_t dns(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_dns(ctx, data + 8, static_cast<uint16_t>(len - 8), data);
}

static void check(const bytes &message, const std::string &expected, uint32_t consumed)
{
	check_decoder(dns, in_udp(message), expected);
	EXPECT_EQ(decode(dns, in_udp(message)).consumed, consumed);
}

// A query for www.example.com, 33 bytes.
static const bytes www = name({"www", "example", "com"});

// A response to a question of 19 bytes in all.
static bytes response(uint32_t answers)
{
	return header(7, 0x8180, 1, answers) + question(name({"a"}), 1, 1);
}

static const std::string response_lines = "      #dns: message-type: standard response, txn id: 7\n"
					  "             domain name: a, type: A(1), class: IN(1)\n";

static void check_answers(uint32_t count, const bytes &answers, const std::string &answer_lines, uint32_t consumed)
{
	check(response(count) + answers, response_lines + answer_lines, consumed);
}

TEST_F(dns_test, query)
{
	const bytes content = in_udp(header(0x1234, 0x0100, 1, 0) + question(www, 1, 1));
	const result shown = decode(dns, content, 0, 0x800);
	EXPECT_EQ(shown.consumed, 33u);
	EXPECT_EQ(shown.type, 0x800u);
	EXPECT_EQ(shown.match, 0u);
	EXPECT_EQ(shown.proto, 0x800u);
	check_decoder(dns, content,
		      "      #dns: message-type: standard query, txn id: 4660\n"
		      "             domain name: www.example.com, type: A(1), class: IN(1)\n");
}

TEST_F(dns_test, response_with_an_address)
{
	const bytes content =
		in_udp(header(65535, 0x8580, 1, 1) + question(www, 1, 1) + pointer + record(1, 1, 3600, ip4("192.0.2.1")));
	debug_pkt_ip = in_aton("192.0.2.1");
	const result shown = decode(dns, content);
	EXPECT_EQ(shown.consumed, 49u);
	EXPECT_EQ(shown.type, 0x800u);
	EXPECT_EQ(shown.match, 0x4u);
	check_decoder(dns, content,
		      "      #dns: message-type: standard response, txn id: 65535\n"
		      "             domain name: www.example.com, type: A(1), class: IN(1)\n"
		      "             domain IP: 192.0.2.1, ttl 3600\n");
}

TEST_F(dns_test, header_bits)
{
	// AA, TC, RD, RA and Z say nothing; each bit of Opcode does.
	check(header(0, 0x07f0, 0, 0), "      #dns: message-type: standard query, txn id: 0\n", 0);
	check(header(0, 0x87f0, 0, 0), "      #dns: message-type: standard response, txn id: 0\n", 0);
	for (uint32_t opcode : {0x0800u, 0x1000u, 0x2000u, 0x4000u, 0x7800u}) {
		check(header(1, opcode, 0, 0), "      #dns: message-type: other query, txn id: 1\n", 0);
		check(header(1, opcode | 0x8000, 0, 0), "      #dns: message-type: other response, txn id: 1\n", 0);
	}
}

TEST_F(dns_test, names_of_response_codes)
{
	const struct {
		uint32_t code;
		const char *line;
	} rows[] = {
		{0, ""},
		{1, "             response code: format error(1)\n"},
		{2, "             response code: server failure(2)\n"},
		{3, "             response code: name error(3)\n"},
		{4, "             response code: not implemented(4)\n"},
		{5, "             response code: refused(5)\n"},
		{6, "             response code: other(6)\n"},
		{15, "             response code: other(15)\n"},
	};
	for (const auto &row : rows) {
		check(header(7, 0x8100 | row.code, 0, 0),
		      std::string("      #dns: message-type: standard response, txn id: 7\n") + row.line, 0);
		check(header(7, 0x00f0 | row.code, 0, 0),
		      std::string("      #dns: message-type: standard query, txn id: 7\n") + row.line, 0);
	}
}

TEST_F(dns_test, a_response_code_line_in_front_of_the_question)
{
	const std::string question_line = "             domain name: www.example.com, type: A(1), class: IN(1)\n";
	const bytes rest = question(www, 1, 1) + pointer + record(1, 1, 60, ip4("192.0.2.1"));
	check(header(7, 0x8183, 1, 1) + rest,
	      "      #dns: message-type: standard response, txn id: 7\n"
	      "             response code: name error(3)\n" +
		      question_line,
	      33);
	check(header(7, 0x0102, 1, 1) + rest,
	      "      #dns: message-type: standard query, txn id: 7\n"
	      "             response code: server failure(2)\n" +
		      question_line,
	      33);
	debug_pkt_ip = in_aton("192.0.2.1");
	EXPECT_EQ(decode(dns, in_udp(header(7, 0x8183, 1, 1) + rest)).match, 0u);
}

TEST_F(dns_test, question_counts)
{
	const bytes rest = question(www, 1, 1) + pointer + record(1, 1, 60, ip4("192.0.2.1"));
	check(header(7, 0x8180, 0, 1) + rest, "      #dns: message-type: standard response, txn id: 7\n", 0);
	check(header(7, 0x8182, 0, 1) + rest,
	      "      #dns: message-type: standard response, txn id: 7\n"
	      "             response code: server failure(2)\n",
	      0);
	check(header(7, 0x0100, 2, 3) + rest,
	      "      #dns: message-type: standard query, txn id: 7\n"
	      "             query count: 2, answer count 3\n",
	      0);
	check(header(7, 0x8181, 2, 0) + rest,
	      "      #dns: message-type: standard response, txn id: 7\n"
	      "             response code: format error(1)\n"
	      "             query count: 2, answer count 0\n",
	      0);
	check(header(7, 0x0100, 256, 65535) + rest,
	      "      #dns: message-type: standard query, txn id: 7\n"
	      "             query count: 256, answer count 65535\n",
	      0);
	check(header(7, 0x0100, 65535, 256) + rest,
	      "      #dns: message-type: standard query, txn id: 7\n"
	      "             query count: 65535, answer count 256\n",
	      0);
}

TEST_F(dns_test, inverse_query)
{
	check(header(7, 0x0800, 1, 4) + question(www, 1, 1),
	      "      #dns: message-type: other query, txn id: 7\n"
	      "             query count: 1, answer count 4\n",
	      0);
	check(header(7, 0xc000, 1, 0) + question(www, 1, 1),
	      "      #dns: message-type: other response, txn id: 7\n"
	      "             query count: 1, answer count 0\n",
	      0);
}

static void check_question(const bytes &content, const std::string &line, uint32_t consumed)
{
	check(header(7, 0x0100, 1, 0) + content, "      #dns: message-type: standard query, txn id: 7\n" + line, consumed);
}

TEST_F(dns_test, types_and_classes_of_questions)
{
	const bytes a = name({"a"});
	check_question(question(a, 1, 1), "             domain name: a, type: A(1), class: IN(1)\n", 19);
	check_question(question(a, 12, 1), "             domain name: a, type: PTR(12), class: IN(1)\n", 19);
	check_question(question(a, 28, 1), "             domain name: a, type: AAAA(28), class: IN(1)\n", 19);
	check_question(question(a, 0, 0), "             domain name: a, type: other(0), class: other(0)\n", 19);
	check_question(question(a, 2, 3), "             domain name: a, type: other(2), class: other(3)\n", 19);
	check_question(question(a, 256, 255), "             domain name: a, type: other(256), class: other(255)\n", 19);
	check_question(question(a, 0x0c00, 256), "             domain name: a, type: other(3072), class: other(256)\n", 19);
	check_question(question(a, 0x011c, 0x0101), "             domain name: a, type: other(284), class: other(257)\n", 19);
	check_question(question(a, 65535, 65535), "             domain name: a, type: other(65535), class: other(65535)\n", 19);
}

TEST_F(dns_test, names)
{
	check_question(question(name({}), 2, 1), "             domain name: , type: other(2), class: IN(1)\n", 17);
	check_question(question(name({"x"}), 1, 1), "             domain name: x, type: A(1), class: IN(1)\n", 19);
	check_question(question(name({"1", "0", "0", "127", "in-addr", "arpa"}), 12, 1),
		       "             domain name: 1.0.0.127.in-addr.arpa, type: PTR(12), class: IN(1)\n", 40);
	// Whatever its bytes are.
	check_question(question(name({"a.b", "%s\n", "\x01\xff"}), 1, 1),
		       "             domain name: a.b.%s\n.\x01\xff, type: A(1), class: IN(1)\n", 28);
}

TEST_F(dns_test, a_zero_byte_in_a_label_ends_the_text)
{
	check_question(question(label(hex("6162006364")) + label("x") + zeros(1), 1, 1),
		       "             domain name: ab, type: A(1), class: IN(1)\n", 25);
	check_question(question(label(hex("0061")) + label("x") + zeros(1), 1, 1),
		       "             domain name: , type: A(1), class: IN(1)\n", 22);
}

TEST_F(dns_test, labels_that_do_not_fit_into_127_bytes_are_dropped)
{
	const std::string a63(63, 'a'), b63(63, 'b'), c62(62, 'c');
	// 64 bytes, 128 would be too many, 127 are not.
	check_question(question(name({a63, b63, c62, "z"}), 1, 1),
		       "             domain name: " + a63 + "." + c62 + ", type: A(1), class: IN(1)\n",
		       12 + 64 + 64 + 63 + 2 + 1 + 4);
	check_question(question(name({std::string(100, 'a'), std::string(50, 'b'), "abc", std::string(40, 'd'), "e"}), 1, 1),
		       "             domain name: " + std::string(100, 'a') + ".abc.e, type: A(1), class: IN(1)\n",
		       12 + 101 + 51 + 4 + 41 + 2 + 1 + 4);
	check_question(question(name({std::string(124, 'a'), "bc", "d"}), 1, 1),
		       "             domain name: " + std::string(124, 'a') + ".d, type: A(1), class: IN(1)\n",
		       12 + 125 + 3 + 2 + 1 + 4);
	check_question(question(name({std::string(126, 'a'), "b"}), 1, 1),
		       "             domain name: " + std::string(126, 'a') + ", type: A(1), class: IN(1)\n", 12 + 127 + 2 + 1 + 4);
	check_question(question(name({std::string(127, 'a'), "b"}), 1, 1),
		       "             domain name: b, type: A(1), class: IN(1)\n", 12 + 128 + 2 + 1 + 4);
}

TEST_F(dns_test, a_name_whose_labels_were_all_dropped_is_empty)
{
	check_question(question(name({std::string(127, 'a')}), 1, 1), "             domain name: , type: A(1), class: IN(1)\n",
		       12 + 128 + 1 + 4);
	check_question(question(name({std::string(255, 'a'), std::string(200, 'b')}), 1, 1),
		       "             domain name: , type: A(1), class: IN(1)\n", 12 + 256 + 201 + 1 + 4);
}

TEST_F(dns_test, length_bytes_are_taken_literally)
{
	check_question(question(name({std::string(64, 'a'), "b"}), 1, 1),
		       "             domain name: " + std::string(64, 'a') + ".b, type: A(1), class: IN(1)\n", 12 + 65 + 2 + 1 + 4);
	// A compression pointer is a label of 192 bytes, which never fits.
	check_question(question(label("www") + hex("c0") + bytes(192, 'p') + label("de") + zeros(1), 1, 1),
		       "             domain name: www.de, type: A(1), class: IN(1)\n", 12 + 4 + 193 + 3 + 1 + 4);
	check_question(hex("c00c 0001 0001"), "             domain name: , type: other(0), class: other(0)\n", 12 + 193 + 5);
}

TEST_F(dns_test, questions_that_the_packet_cuts)
{
	check_question({}, "             domain name: , type: other(0), class: other(0)\n", 17);
	check_question(hex("03") + text("ww"), "             domain name: ww, type: other(0), class: other(0)\n", 12 + 4 + 5);
	check_question(label("www") + hex("07") + text("exam"),
		       "             domain name: www.exam, type: other(0), class: other(0)\n", 12 + 4 + 8 + 5);
	check_question(name({"a"}) + hex("00"), "             domain name: a, type: other(0), class: other(0)\n", 19);
	check_question(name({"a"}) + hex("01"), "             domain name: a, type: other(256), class: other(0)\n", 19);
	check_question(name({"a"}) + hex("000c 01"), "             domain name: a, type: PTR(12), class: other(256)\n", 19);
}

TEST_F(dns_test, headers_that_the_packet_cuts)
{
	for (size_t size : {0u, 7u, 8u}) {
		const result shown = decode(dns, bytes(size, 0xff));
		EXPECT_EQ(shown.text, "      #dns: message-type: standard query, txn id: 0\n");
		EXPECT_EQ(shown.consumed, 0u);
		EXPECT_EQ(shown.type, 0x800u);
	}
	check(hex("ab"), "      #dns: message-type: standard query, txn id: 43776\n", 0);
	check(hex("0001 8185"),
	      "      #dns: message-type: standard response, txn id: 1\n"
	      "             response code: refused(5)\n",
	      0);
	check(hex("0001 8180 01"),
	      "      #dns: message-type: standard response, txn id: 1\n"
	      "             query count: 256, answer count 0\n",
	      0);
	check(hex("0001 8180 0001 0001"),
	      "      #dns: message-type: standard response, txn id: 1\n"
	      "             domain name: , type: other(0), class: other(0)\n",
	      17);
}

TEST_F(dns_test, answers_of_every_kind)
{
	check_answers(5,
		      pointer + record(5, 1, 300, name({"cname"})) + pointer + record(1, 1, 60, ip4("10.0.0.1")) + pointer +
			      record(28, 1, 61, hex("20010db8000000000000000000000001")) + pointer +
			      record(1, 1, 62, ip4("255.254.0.9")) + pointer + record(12, 1, 63, name({"host", "example"})),
		      "             domain IP: 10.0.0.1, ttl 60\n"
		      "             domain IP: 2001:0db8:0000:0000:0000:0000:0000:0001, ttl 61\n"
		      "             domain IP: 255.254.0.9, ttl 62\n"
		      "             domain name response: host.example, ttl 63\n",
		      19 + (12 + 7) + 16 + 28 + 16 + (12 + 13));
}

TEST_F(dns_test, answers_without_a_line)
{
	const bytes address = pointer + record(1, 1, 60, ip4("10.0.0.1"));
	for (uint32_t type : {0u, 2u, 5u, 15u, 16u, 29u, 33u, 41u, 0x0100u, 0x0101u, 0x0c00u, 65535u})
		check_answers(2, pointer + record(type, 1, 9, hex("00ff00ff00")) + address,
			      "             domain IP: 10.0.0.1, ttl 60\n", 19 + 17 + 16);
	for (uint32_t record_class : {0u, 2u, 3u, 255u, 0x0100u, 0x8001u})
		for (uint32_t type : {1u, 12u, 28u})
			check_answers(2, pointer + record(type, record_class, 9, bytes(16, 1)) + address,
				      "             domain IP: 10.0.0.1, ttl 60\n", 19 + 28 + 16);
}

TEST_F(dns_test, answer_counts)
{
	const bytes one = pointer + record(1, 1, 60, ip4("10.0.0.1")), two = pointer + record(1, 1, 60, ip4("10.0.0.2"));
	const std::string first = "             domain IP: 10.0.0.1, ttl 60\n",
			  second = "             domain IP: 10.0.0.2, ttl 60\n";
	check_answers(0, one + two, "", 19);
	check_answers(1, one + two, first, 35);
	check_answers(2, one + two, first + second, 51);
	// The packet ends the answers.
	check_answers(3, one + two, first + second, 51);
	check_answers(1, {}, "", 19);
	// The count is never negative.
	check_answers(0x8000, one + two, first + second, 51);
	check_answers(0xffff, one + two, first + second, 51);
	check_answers(0x0100, one + two, first + second, 51);
}

TEST_F(dns_test, only_successful_responses_have_answers)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	const bytes rest = question(name({"a"}), 1, 1) + pointer + record(1, 1, 60, ip4("10.0.0.1"));
	check(header(7, 0x0180, 1, 1) + rest,
	      "      #dns: message-type: standard query, txn id: 7\n"
	      "             domain name: a, type: A(1), class: IN(1)\n",
	      19);
	EXPECT_EQ(decode(dns, in_udp(header(7, 0x0180, 1, 1) + rest)).match, 0u);
	check(header(7, 0x8188, 1, 1) + rest,
	      "      #dns: message-type: standard response, txn id: 7\n"
	      "             response code: other(8)\n"
	      "             domain name: a, type: A(1), class: IN(1)\n",
	      19);
	EXPECT_EQ(decode(dns, in_udp(header(7, 0x8180, 1, 1) + rest)).match, 0x4u);
}

TEST_F(dns_test, ttl_is_signed)
{
	check_answers(1, pointer + record(1, 1, 0xffffffff, ip4("10.0.0.1")), "             domain IP: 10.0.0.1, ttl -1\n", 35);
	check_answers(1, pointer + record(1, 1, 0x80000000, ip4("10.0.0.1")), "             domain IP: 10.0.0.1, ttl -2147483648\n",
		      35);
	check_answers(1, pointer + record(1, 1, 0x7fffffff, ip4("10.0.0.1")), "             domain IP: 10.0.0.1, ttl 2147483647\n",
		      35);
	check_answers(1, pointer + record(28, 1, 0xfffffffe, bytes(16, 0xab)),
		      "             domain IP: abab:abab:abab:abab:abab:abab:abab:abab, ttl -2\n", 47);
	check_answers(1, pointer + record(12, 1, 0xfffffffd, name({"b"})), "             domain name response: b, ttl -3\n", 33);
	check_answers(1, pointer + record(1, 1, 0x00010203, ip4("10.0.0.1")), "             domain IP: 10.0.0.1, ttl 66051\n", 35);
	check_answers(1, pointer + record(1, 1, 0, ip4("10.0.0.1")), "             domain IP: 10.0.0.1, ttl 0\n", 35);
}

TEST_F(dns_test, owner_names)
{
	const bytes address = record(1, 1, 60, ip4("10.0.0.1"));
	const std::string line = "             domain IP: 10.0.0.1, ttl 60\n";
	// Either of the top two bits makes it a pointer.
	check_answers(1, hex("c000") + address, line, 35);
	check_answers(1, hex("8041") + address, line, 35);
	check_answers(1, hex("4100") + address, line, 35);
	check_answers(1, hex("ffff") + address, line, 35);
	// Else it ends at its zero byte.
	check_answers(1, hex("00") + address, line, 34);
	check_answers(1, name({"www", "example"}) + address, line, 19 + 13 + 14);
	check_answers(1, hex("3f 01ff80c0 00") + address, line, 19 + 6 + 14);
	// The zero byte of a name that ends in a pointer is the type's first byte: 01 00 is a type and a class then, 04 0a the
	// length.
	check_answers(1, label("www") + pointer + address, "", 19 + 7 + 10 + 0x040a);
}

// A frame can hold more bytes than its UDP length says, and than 16 bits count.
TEST_F(dns_test, an_owner_name_has_no_longest_form)
{
	for (size_t length : {65534u, 65535u, 65536u, 70000u}) {
		const result shown =
			decode(dns, in_udp(response(1) + bytes(length, 0x3f) + zeros(1) + record(1, 1, 60, ip4("10.0.0.1"))));
		EXPECT_EQ(shown.text, response_lines + "             domain IP: 10.0.0.1, ttl 60\n");
		EXPECT_EQ(shown.consumed, 19 + length + 1 + 14);
	}
}

TEST_F(dns_test, the_data_length_leads_to_the_next_address)
{
	const bytes next = pointer + record(1, 1, 60, ip4("10.0.0.2"));
	const std::string next_line = "             domain IP: 10.0.0.2, ttl 60\n";
	check_answers(2, pointer + record(1, 1, 9, hex("0a000001 c00c")) + next,
		      "             domain IP: 10.0.0.1, ttl 9\n" + next_line, 19 + 18 + 16);
	check_answers(2, pointer + record(1, 1, 9, hex("0a")) + next, "             domain IP: 10.192.12.0, ttl 9\n" + next_line,
		      19 + 13 + 16);
	check_answers(2, pointer + record(1, 1, 9, {}) + next, "             domain IP: 192.12.0.1, ttl 9\n" + next_line,
		      19 + 12 + 16);
	check_answers(2, pointer + record(28, 1, 9, {}) + next,
		      "             domain IP: c00c:0001:0001:0000:003c:0004:0a00:0002, ttl 9\n" + next_line, 19 + 12 + 16);
	check_answers(2, pointer + record(28, 1, 9, bytes(20, 0x11)) + next,
		      "             domain IP: 1111:1111:1111:1111:1111:1111:1111:1111, ttl 9\n" + next_line, 19 + 32 + 16);
	check_answers(2, pointer + hex("0001 0001 00000009 0100 0a000001"), "             domain IP: 10.0.0.1, ttl 9\n",
		      19 + 12 + 256);
}

TEST_F(dns_test, a_ptr_leaves_off_at_the_zero_byte_of_its_name)
{
	const bytes ptr = pointer + record(12, 1, 5, name({"host"}));
	const std::string line = "             domain name response: host, ttl 5\n";
	// 31 bytes to the name, and its zero byte is at 36.
	check_answers(1, ptr, line, 36);
	// That byte is the next owner name.
	check_answers(2, ptr + record(1, 1, 60, ip4("10.0.0.1")), line + "             domain IP: 10.0.0.1, ttl 60\n", 36 + 1 + 14);
	check_answers(3, ptr + record(12, 1, 6, name({"b"})) + record(28, 1, 7, bytes(16, 0x22)),
		      line + "             domain name response: b, ttl 6\n"
			     "             domain IP: 2222:2222:2222:2222:2222:2222:2222:2222, ttl 7\n",
		      36 + 1 + 10 + 2 + 1 + 26);
	// A record with an owner name of its own is read two bytes off: type c00c, length 0e10.
	check_answers(2, ptr + pointer + record(1, 1, 0x0e10, ip4("10.0.0.1")), line, 36 + 1 + 10 + 0x0e10);
	// The length of its data is not looked at.
	check_answers(2, pointer + hex("000c 0001 00000005 0000") + name({"host"}) + record(1, 1, 60, ip4("10.0.0.1")),
		      line + "             domain IP: 10.0.0.1, ttl 60\n", 36 + 1 + 14);
	check_answers(1, pointer + hex("000c 0001 00000005 ffff") + name({"host"}), line, 36);
}

TEST_F(dns_test, names_of_ptr_answers)
{
	check_answers(1, pointer + record(12, 1, 5, name({})), "             domain name response: , ttl 5\n", 31);
	check_answers(1, pointer + record(12, 1, 5, label(hex("610062")) + zeros(1)),
		      "             domain name response: a, ttl 5\n", 35);
	check_answers(1, pointer + record(12, 1, 5, name({std::string(100, 'a'), std::string(50, 'b'), "c"})),
		      "             domain name response: " + std::string(100, 'a') + ".c, ttl 5\n", 31 + 101 + 51 + 2);
	// A pointer is a label of 192 bytes here, too.
	check_answers(1, pointer + record(12, 1, 5, label("host") + pointer), "             domain name response: host, ttl 5\n",
		      31 + 5 + 193);
	// Nothing stays from the name before.
	check_answers(2, pointer + record(12, 1, 5, name({"long-name"})) + record(12, 1, 6, name({"b"})),
		      "             domain name response: long-name, ttl 5\n"
		      "             domain name response: b, ttl 6\n",
		      31 + 10 + 1 + 10 + 2);
	check_answers(2, pointer + record(12, 1, 5, name({"long-name"})) + record(12, 1, 6, name({})),
		      "             domain name response: long-name, ttl 5\n"
		      "             domain name response: , ttl 6\n",
		      31 + 10 + 1 + 10);
}

TEST_F(dns_test, answers_that_the_packet_cuts)
{
	check_answers(1, hex("c0"), "", 19 + 12);
	check_answers(1, hex("02 61"), "", 19 + 2 + 1 + 10);
	check_answers(9, pointer + hex("0001 0001"), "             domain IP: 0.0.0.0, ttl 0\n", 31);
	check_answers(9, pointer + hex("0001 0001 0000003c 00"), "             domain IP: 0.0.0.0, ttl 60\n", 31);
	check_answers(9, pointer + hex("0001 0001 0000003c 0004 0a01"), "             domain IP: 10.1.0.0, ttl 60\n", 35);
	check_answers(9, pointer + hex("001c 0001 0000003c 0010 2001"),
		      "             domain IP: 2001:0000:0000:0000:0000:0000:0000:0000, ttl 60\n", 47);
	check_answers(9, pointer + hex("000c 0001 0000003c 0010 04") + text("ho"),
		      "             domain name response: ho, ttl 60\n", 31 + 5);
	check_answers(9, pointer + hex("0005 0001 0000003c 0100"), "", 31 + 256);
	check_answers(9, pointer + hex("0001 00"), "", 31);
}

TEST_F(dns_test, match_of_addresses)
{
	const bytes ip6 = hex("20010db8000000000000000000000001");
	const struct {
		bytes answer;
		uint32_t match;
	} rows[] = {
		{pointer + record(1, 1, 60, ip4("10.0.0.1")), 0x4},
		{pointer + record(28, 1, 60, ip6), 0x8},
		{pointer + record(28, 1, 60, ip6) + pointer + record(1, 1, 60, ip4("10.0.0.1")), 0xc},
		{pointer + record(1, 1, 60, ip4("10.0.0.1")) + pointer + record(1, 1, 60, ip4("10.0.0.2")), 0x4},
		{pointer + record(1, 1, 60, ip4("1.0.0.10")), 0},
		{pointer + record(1, 3, 60, ip4("10.0.0.1")), 0},
		{pointer + record(2, 1, 60, ip4("10.0.0.1")), 0},
		{pointer + record(28, 3, 60, ip6), 0},
		{pointer + record(16, 1, 60, ip6), 0},
		{pointer + record(28, 1, 60, ip4("10.0.0.1") + zeros(12)), 0},
		{pointer + record(28, 1, 60, hex("20010db8000000000000000000000101")), 0},
		{pointer + record(12, 1, 60, ip4("10.0.0.1")), 0},
	};
	debug_pkt_ip = in_aton("10.0.0.1");
	std::memcpy(debug_pkt_ip6, ip6.data(), 16);
	for (const auto &row : rows) {
		const bytes content = in_udp(response(2) + row.answer);
		const result shown = decode(dns, content), full = decode(dns, content, 4095);
		EXPECT_EQ(shown.match, row.match);
		EXPECT_EQ(full.match, row.match);
		EXPECT_EQ(full.type, 0x800u);
		EXPECT_EQ(full.consumed, shown.consumed);
		EXPECT_EQ(full.text, "");
	}
	// The criteria need not be enabled, and a zero filter matches a zero address.
	debug_pkt_match_flags = 0;
	debug_pkt_ip = 0;
	std::memset(debug_pkt_ip6, 0, 16);
	EXPECT_EQ(decode(dns, in_udp(response(1) + pointer + record(1, 1, 60, zeros(4)))).match, 0x4u);
	EXPECT_EQ(decode(dns, in_udp(response(1) + pointer + record(28, 1, 60, zeros(16)))).match, 0x8u);
	EXPECT_EQ(decode(dns, in_udp(response(1) + pointer + record(5, 1, 60, zeros(16)))).match, 0u);
}

TEST_F(dns_test, bits_are_added)
{
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->type = 0x80;
		ctx->match = 0x51;
		return dns(ctx, data, len);
	};
	const result shown = decode(
		behind_others, in_udp(response(2) + pointer + record(1, 1, 60, zeros(4)) + pointer + record(28, 1, 60, zeros(16))));
	EXPECT_EQ(shown.type, 0x880u);
	EXPECT_EQ(shown.match, 0x5du);
}

TEST_F(dns_test, more_answers_than_the_text_holds)
{
	bytes content = in_udp(response(400));
	std::string expected = response_lines;
	for (int i = 0; i < 400; ++i) {
		content = content + pointer + record(1, 1, 60, ip4(i == 399 ? "10.0.0.9" : "10.0.0.1"));
		expected += "             domain IP: 10.0.0.1, ttl 60\n";
	}
	expected.resize(4094);
	debug_pkt_ip = in_aton("10.0.0.9");
	const result shown = decode(dns, content);
	EXPECT_EQ(shown.text, expected + '\0');
	EXPECT_EQ(shown.match, 0x4u);
	EXPECT_EQ(shown.consumed, 19u + 400 * 16);
}

TEST_F(dns_test, neither_length_nor_udp_header_are_looked_at)
{
	const decoder of_no_length = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) {
		return debug_pkt_dns(ctx, data, 0, nullptr);
	};
	check_decoder(of_no_length, response(1) + pointer + record(1, 1, 60, ip4("10.0.0.1")),
		      response_lines + "             domain IP: 10.0.0.1, ttl 60\n");
}

TEST_F(dns_test, without_an_announced_packet_it_reads_what_follows)
{
	const packet packet(response(1) + pointer + record(1, 1, 60, ip4("10.0.0.1")));
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	EXPECT_EQ(debug_pkt_dns(ctx.get(), packet.data(), 0, nullptr), 35u);
	EXPECT_EQ(std::string(ctx->buf, ctx->len), response_lines + "             domain IP: 10.0.0.1, ttl 60\n");
}

// What print_fqdn writes over a row of 600 "#", these behind it left out.
static std::string fqdn(const bytes &name, uint32_t size)
{
	const packet packet(name);
	std::string written(600, '#');
	print_fqdn(written.data(), size, packet.data());
	return written.substr(0, written.find_last_not_of('#') + 1);
}

TEST_F(dns_test, print_fqdn)
{
	EXPECT_EQ(fqdn(www, 600), "www.example.com");
	EXPECT_EQ(fqdn(name({"host"}), 600), "host");
	EXPECT_EQ(fqdn(zeros(1), 600), "");
	// The size is no bound.
	EXPECT_EQ(fqdn(www, 0), "www.example.com");
	EXPECT_EQ(fqdn(www, 4), "www.example.com");
	EXPECT_EQ(fqdn(name({std::string(200, 'a'), std::string(255, 'b'), "c"}), 0),
		  std::string(200, 'a') + "." + std::string(255, 'b') + ".c");
	// A length byte is a length, that of a compression pointer too.
	EXPECT_EQ(fqdn(label("www") + hex("c0") + bytes(192, 'p') + zeros(1), 600), "www." + std::string(192, 'p'));
	EXPECT_EQ(fqdn(label(hex("61006200")) + label(".") + zeros(1), 600), std::string("a\0b\0..", 6));
}

TEST_F(dns_test, print_fqdn_ends_with_the_packet)
{
	const packet packet(label("www") + hex("03") + text("de"));
	const wire::announced_packet bounds(packet.data(), packet.size());
	std::string written(12, '#');
	print_fqdn(written.data(), 12, packet.data());
	EXPECT_EQ(written, std::string("www.de\0#####", 12));
}

} // namespace test
