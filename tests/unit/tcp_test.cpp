// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using tcp_test = core_test;

static uint32_t tcp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_tcp(ctx, data, len, 0);
}

// The decoder with another length than the packet's.
static decoder tcp_of(uint32_t length)
{
	return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_tcp(ctx, data, length, 0); };
}

// The fixed 20 bytes; header_length in bytes, a multiple of 4.
static bytes header(uint32_t header_length, uint8_t flags = 0x10, uint32_t source = 40000, uint32_t destination = 40001)
{
	return big16(source) + big16(destination) + big32(1) + big32(2) + bytes{static_cast<uint8_t>(header_length << 2), flags} +
	       hex("ffff 00a5 0000");
}

static std::string header_text(uint32_t header_length, const char *flags = ", ack", const char *ports = "sport 40000 dport 40001")
{
	return std::string("    #tcp: ") + ports + ", seq 1, ack 2, cksum a5, hdr len " + std::to_string(header_length) + flags +
	       "\n";
}

// A header of 20 bytes and options, with the length that they make.
static bytes with_options(const bytes &options)
{
	return header(static_cast<uint32_t>(20 + options.size())) + options;
}

TEST_F(tcp_test, syn)
{
	const bytes content = hex("9c40 01bc 89abcdef 00000000 70 02 ffff ABCD 0000 020405b4 01 030307");
	const result got = decode(tcp, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 28u);
	EXPECT_EQ(got.type, 0x40u);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0x0800u);
	check_decoder(tcp, content,
		      "    #tcp: sport 40000 dport 444, seq 2309737967, ack 0, cksum abcd, hdr len 28, syn\n"
		      "    #tcp: option type 2 len 4 1460\n"
		      "    #tcp: option type 3 len 3 7\n");
}

TEST_F(tcp_test, longest_numbers)
{
	const bytes content = hex("ffff ffff ffffffff ffffffff 50 ff ffff ffff ffff");
	check_decoder(tcp, content,
		      "    #tcp: sport 65535 dport 65535, seq 4294967295, ack 4294967295, cksum ffff, hdr len 20, fin, syn, rst, "
		      "psh, ack, urg\n");
	EXPECT_EQ(decode(tcp, content).consumed, 20u);
}

TEST_F(tcp_test, every_flag)
{
	for (uint32_t flags = 0; flags < 256; ++flags) {
		std::string names;
		if (flags & 0x01)
			names += ", fin";
		if (flags & 0x02)
			names += ", syn";
		if (flags & 0x04)
			names += ", rst";
		if (flags & 0x08)
			names += ", psh";
		if (flags & 0x10)
			names += ", ack";
		if (flags & 0x20)
			names += ", urg";
		EXPECT_EQ(decode(tcp, header(20, static_cast<uint8_t>(flags))).text, header_text(20, names.c_str())) << flags;
	}
	EXPECT_EQ(decode(tcp, header(20, 0x40)).text, "    #tcp: sport 40000 dport 40001, seq 1, ack 2, cksum a5, hdr len 20\n");
}

// The low half of byte 12 is no part of the length.
TEST_F(tcp_test, every_header_length)
{
	for (uint32_t words = 0; words < 16; ++words) {
		SCOPED_TRACE(words);
		bytes content = header(words * 4);
		content[12] |= 0x0f;
		// Options of no operation only, and one more byte that is not zero behind them.
		const result got = decode(tcp, content + bytes(41, 1));
		EXPECT_EQ(got.text, header_text(words * 4));
		EXPECT_EQ(got.consumed, words < 5 ? 20 : words * 4);
	}
}

TEST_F(tcp_test, port_filter)
{
	const auto match = [](uint32_t source, uint32_t destination) {
		return decode(tcp, header(20, 0, source, destination)).match;
	};
	EXPECT_EQ(match(0, 1024), 0x40u);
	EXPECT_EQ(match(1024, 0), 0x40u);
	EXPECT_EQ(match(1024, 1025), 0u);
	debug_pkt_port = 0x10050;
	EXPECT_EQ(match(80, 9), 0x40u);
	EXPECT_EQ(match(9, 80), 0x40u);
	EXPECT_EQ(match(9, 81), 0u);
	debug_pkt_port = -2;
	EXPECT_EQ(match(9, 65534), 0x40u);
	EXPECT_EQ(decode(tcp, header(20, 0, 65534, 9), 4095).match, 0x40u);
}

TEST_F(tcp_test, http)
{
	const bytes content = header(20, 0x18, 40000, 80) + text("GET / HTTP/1.1\r\n");
	const result got = decode(tcp, content);
	EXPECT_EQ(got.consumed, 36u);
	EXPECT_EQ(got.type, 0x40u | 0x2000);
	check_decoder(tcp, content,
		      "    #tcp: sport 40000 dport 80, seq 1, ack 2, cksum a5, hdr len 20, psh, ack\n"
		      "      #http: GET / HTTP/1.1\n");
	const result reply = decode(tcp, header(20, 0x18, 80, 40000) + text("HTTP/1.1 200 OK\r\n"));
	EXPECT_EQ(reply.type, 0x40u | 0x2000);
	EXPECT_EQ(reply.text, "    #tcp: sport 80 dport 40000, seq 1, ack 2, cksum a5, hdr len 20, psh, ack\n"
			      "      #http: HTTP/1.1 200 OK\n");
	EXPECT_EQ(decode(tcp, header(20, 0x10, 80, 80)).consumed, 20u);
	EXPECT_EQ(decode(tcp, header(20, 0x10, 80, 80)).type, 0x40u | 0x2000) << "the type needs no payload";
}

TEST_F(tcp_test, https)
{
	for (const bytes &ports : {big16(443) + big16(40001), big16(40001) + big16(443), big16(443) + big16(443)}) {
		bytes content = header(20) + text("text\n");
		std::copy(ports.begin(), ports.end(), content.begin());
		const result got = decode(tcp, content);
		EXPECT_EQ(got.consumed, 20u);
		EXPECT_EQ(got.type, 0x40u | 0x4000);
		EXPECT_EQ(got.text.find('\n'), got.text.size() - 1) << "the header's line alone";
	}
}

TEST_F(tcp_test, ftp)
{
	const bytes content = header(20, 0x18, 40000, 21) + text("USER a\r\nPASS b\r\n");
	const result got = decode(tcp, content);
	EXPECT_EQ(got.consumed, 36u);
	EXPECT_EQ(got.type, 0x40u);
	check_decoder(tcp, content,
		      "    #tcp: sport 40000 dport 21, seq 1, ack 2, cksum a5, hdr len 20, psh, ack\n"
		      "      #ftp: USER a\n"
		      "      #ftp: PASS b\n");
	EXPECT_EQ(decode(tcp, header(20, 0x18, 21, 40000) + text("220\n")).consumed, 24u);
}

TEST_F(tcp_test, neighbours_of_the_service_ports)
{
	for (uint32_t port : {20u, 22u, 79u, 81u, 442u, 444u})
		for (const bytes &content : {header(20, 0, port, 40001), header(20, 0, 40000, port)}) {
			const result got = decode(tcp, content + text("text\n"));
			EXPECT_EQ(got.consumed, 20u);
			EXPECT_EQ(got.type, 0x40u);
		}
}

// HTTP, then FTP where it ended, whichever port is the source; the length stays the same for both.
TEST_F(tcp_test, two_services)
{
	for (bool swapped : {false, true}) {
		const bytes content = header(20, 0x10, swapped ? 21 : 80, swapped ? 80 : 21) + text("ONE\n\tTWO\n");
		const result got = decode(tcp, content);
		// The tab ends the first text; the second ends at the 0 behind the packet, where 9 bytes had been allowed.
		EXPECT_EQ(got.consumed, 20u + 5 + 5);
		EXPECT_EQ(got.type, 0x40u | 0x2000);
		check_decoder(tcp, content,
			      header_text(20, ", ack", swapped ? "sport 21 dport 80" : "sport 80 dport 21") + "      #http: ONE\n"
													      "      #ftp: TWO\n");
	}
	EXPECT_EQ(decode(tcp, header(20, 0x10, 80, 443)).type, 0x40u | 0x2000 | 0x4000);
	const result ftp = decode(tcp, header(20, 0x10, 443, 21) + text("QUIT\n"));
	EXPECT_EQ(ftp.type, 0x40u | 0x4000);
	EXPECT_EQ(ftp.text, header_text(20, ", ack", "sport 443 dport 21") + "      #ftp: QUIT\n");
}

TEST_F(tcp_test, timestamps_option)
{
	const bytes content = with_options(hex("01 01 08 0a 0102030405060708"));
	EXPECT_EQ(decode(tcp, content).consumed, 32u);
	check_decoder(tcp, content, header_text(32) + "    #tcp: option type 8 len 10 0102030405060708\n");
}

TEST_F(tcp_test, option_of_40_bytes)
{
	const bytes content = with_options(hex("1e 28") + hex("000102030405060708090a0b0c0d0e0f") + bytes(22, 0xee));
	EXPECT_EQ(decode(tcp, content).consumed, 60u);
	check_decoder(tcp, content, header_text(60) + "    #tcp: option type 30 len 40 000102030405060708090a0b0c0d0e\n");
}

// The value of an option depends on its length alone.
TEST_F(tcp_test, every_option_length)
{
	const char *values[] = {"",
				"",
				"",
				"161",
				"41378",
				"a1a2a3",
				"a1a2a3a4",
				"a1a2a3a4a5",
				"a1a2a3a4a5a6",
				"a1a2a3a4a5a6a7",
				"a1a2a3a4a5a6a7a8",
				"a1a2a3a4a5a6a7a8a9",
				"a1a2a3a4a5a6a7a8a9aa",
				"a1a2a3a4a5a6a7a8a9aaab",
				"a1a2a3a4a5a6a7a8a9aaabac",
				"a1a2a3a4a5a6a7a8a9aaabacad",
				"a1a2a3a4a5a6a7a8a9aaabacadae",
				"a1a2a3a4a5a6a7a8a9aaabacadaeaf"};
	for (uint32_t length = 2; length <= 40; ++length)
		for (const uint8_t kind : bytes{2, 5, 255}) {
			SCOPED_TRACE(length);
			bytes options = bytes{kind, static_cast<uint8_t>(length)};
			for (uint32_t i = 2; i < length; ++i)
				options.push_back(static_cast<uint8_t>(0xa0 + i - 1));
			const uint32_t filled = static_cast<uint32_t>(options.size() + 3) / 4 * 4;
			options.resize(filled, 1); // no operation
			const result got = decode(tcp, with_options(options) + bytes{1});
			EXPECT_EQ(got.text, header_text(20 + filled) + "    #tcp: option type " + std::to_string(kind) + " len " +
						    std::to_string(length) + " " + values[length < 17 ? length : 17] + "\n");
			EXPECT_EQ(got.consumed, 20 + filled);
		}
}

TEST_F(tcp_test, numbers_of_one_and_two_bytes)
{
	const bytes content = with_options(hex("03 03 00 03 03 ff 02 04 0000 02 04 ffff 01 01"));
	check_decoder(tcp, content + hex("01"),
		      header_text(36) + "    #tcp: option type 3 len 3 0\n"
					"    #tcp: option type 3 len 3 255\n"
					"    #tcp: option type 2 len 4 0\n"
					"    #tcp: option type 2 len 4 65535\n");
}

// The blank in front of an empty value stays. An option of length 1 is stepped over by its kind byte alone.
TEST_F(tcp_test, options_without_a_value)
{
	check_decoder(tcp, with_options(hex("04 02 01 01")) + hex("01"), header_text(24) + "    #tcp: option type 4 len 2 \n");
	const bytes content = with_options(hex("05 01 05 01 05 01 05 01 05 01 05 01"));
	// The length byte of each is the next option's kind: no operation.
	EXPECT_EQ(decode(tcp, content + hex("01")).consumed, 32u);
	check_decoder(tcp, content + hex("01"),
		      header_text(32) + "    #tcp: option type 5 len 1 \n"
					"    #tcp: option type 5 len 1 \n"
					"    #tcp: option type 5 len 1 \n"
					"    #tcp: option type 5 len 1 \n"
					"    #tcp: option type 5 len 1 \n"
					"    #tcp: option type 5 len 1 \n");
	const result last = decode(tcp, with_options(hex("01 01 01 09")) + hex("01"));
	EXPECT_EQ(last.consumed, 24u);
	EXPECT_EQ(last.text, header_text(24) + "    #tcp: option type 9 len 1 \n") << "the length byte lies behind the header";
}

// The payload starts at an end-of-list byte, wherever the header ends.
TEST_F(tcp_test, end_of_list)
{
	const bytes options = hex("02 04 05b4 00 04 02 04");
	const result got = decode(tcp, with_options(options));
	EXPECT_EQ(got.consumed, 24u);
	EXPECT_EQ(got.text, header_text(28) + "    #tcp: option type 2 len 4 1460\n");
	EXPECT_EQ(decode(tcp, with_options(hex("00 ff ff ff"))).consumed, 20u);
	// Text that starts there ends at that very byte.
	const result http = decode(tcp, header(28, 0x10, 80, 40001) + options + text("GET\n"));
	EXPECT_EQ(http.consumed, 25u);
	EXPECT_EQ(http.text, header_text(28, ", ack", "sport 80 dport 40001") + "    #tcp: option type 2 len 4 1460\n");
}

TEST_F(tcp_test, option_of_length_zero)
{
	const result got = decode(tcp, with_options(hex("02 04 05b4 0a 00 04 02")));
	EXPECT_EQ(got.consumed, 24u);
	EXPECT_EQ(got.text, header_text(28) + "    #tcp: option type 2 len 4 1460\n");
	// The payload starts at its kind byte: a line feed and the zero here.
	EXPECT_EQ(decode(tcp, header(28, 0x10, 80, 40001) + hex("02 04 05b4 0a 00 04 02")).consumed, 26u);
}

// The length of zero is seen before the kind is: a no-operation byte in front of a zero ends the walk.
TEST_F(tcp_test, no_operation_in_front_of_zero)
{
	const result got = decode(tcp, with_options(hex("02 04 05b4 01 00 04 02")) + hex("01"));
	EXPECT_EQ(got.consumed, 24u);
	EXPECT_EQ(got.text, header_text(28) + "    #tcp: option type 2 len 4 1460\n");
	// Also where that zero is the payload's first byte, or is read behind the packet.
	EXPECT_EQ(decode(tcp, with_options(hex("01 01 01 01")) + hex("00")).consumed, 23u);
	EXPECT_EQ(decode(tcp, with_options(hex("01 01 01 01"))).consumed, 23u);
	EXPECT_EQ(decode(tcp, with_options(hex("01 01 01 01")) + hex("47")).consumed, 24u);
}

// An option longer than what is left of the header is not shown but stepped over; the payload is behind it.
TEST_F(tcp_test, option_longer_than_the_header)
{
	const bytes options = hex("01 01 08 0a");
	const result alone = decode(tcp, with_options(options));
	EXPECT_EQ(alone.consumed, 32u);
	EXPECT_EQ(alone.text, header_text(24));
	const result http = decode(tcp, header(24, 0x10, 40000, 80) + options + text("GET / Hi\nA"));
	EXPECT_EQ(http.consumed, 22u + 10 + 2);
	EXPECT_EQ(http.text, header_text(24, ", ack", "sport 40000 dport 80")) << "behind it: a line feed and one character";
	const result one_more = decode(tcp, with_options(hex("02 05 aa bb")) + hex("cc"));
	EXPECT_EQ(one_more.consumed, 25u);
	EXPECT_EQ(one_more.text, header_text(24));
	const result longest = decode(tcp, with_options(hex("ff ff aa bb")));
	EXPECT_EQ(longest.consumed, 20u + 255);
	EXPECT_EQ(longest.text, header_text(24));
	// Past the packet's end the length of the payload wraps, and its first byte reads as 0.
	EXPECT_EQ(decode(tcp, header(24, 0x10, 80, 9) + options).consumed, 32u + 1);
}

TEST_F(tcp_test, length_that_wraps)
{
	const bytes content = header(20, 0x10, 21, 9) + text("A\nB\n");
	const std::string front = header_text(20, ", ack", "sport 21 dport 9");
	EXPECT_EQ(decode(tcp_of(20), content).text, front);
	EXPECT_EQ(decode(tcp_of(22), content).text, front + "      #ftp: A\n");
	for (uint32_t length : {0u, 19u, 0x10014u, 0xffffffffu}) {
		EXPECT_EQ(decode(tcp_of(length), content).text, front + "      #ftp: A\n      #ftp: B\n");
		EXPECT_EQ(decode(tcp_of(length), content).consumed, 25u);
	}
	// Header lengths below 20 count as 20.
	const result shortest = decode(tcp, header(0, 0x10, 21, 9) + text("A\n"));
	EXPECT_EQ(shortest.consumed, 22u);
	EXPECT_EQ(shortest.text, header_text(0, ", ack", "sport 21 dport 9") + "      #ftp: A\n");
}

TEST_F(tcp_test, cut)
{
	EXPECT_EQ(decode(tcp, {}).text, "    #tcp: sport 0 dport 0, seq 0, ack 0, cksum 0, hdr len 0\n");
	EXPECT_EQ(decode(tcp, {}).consumed, 20u);
	EXPECT_EQ(decode(tcp, {}).match, 0x40u);
	EXPECT_EQ(decode(tcp, hex("0050 0009 00000001 00000002 f0")).text,
		  "    #tcp: sport 80 dport 9, seq 1, ack 2, cksum 0, hdr len 60\n");
	EXPECT_EQ(decode(tcp, hex("0050 0009 00000001 00000002 f0")).consumed, 21u);
	// Inside an option: what is missing of its value reads as 0.
	EXPECT_EQ(decode(tcp, header(32) + hex("08 0a 0102")).text,
		  header_text(32) + "    #tcp: option type 8 len 10 0102000000000000\n");
	EXPECT_EQ(decode(tcp, header(32) + hex("08 0a 0102")).consumed, 30u);
	EXPECT_EQ(decode(tcp, header(32) + hex("08")).text, header_text(32));
	EXPECT_EQ(decode(tcp, header(32) + hex("08")).consumed, 20u);
}

TEST_F(tcp_test, text_full)
{
	debug_pkt_port = 80;
	const bytes content = header(24, 0x10, 80, 443) + hex("02 04 05b4") + text("A\n");
	const result got = decode(tcp, content, 4095);
	EXPECT_EQ(got.consumed, 26u);
	EXPECT_EQ(got.type, 0x40u | 0x2000 | 0x4000);
	EXPECT_EQ(got.match, 0x40u);
	EXPECT_EQ(got.len, 4095u);
}

TEST_F(tcp_test, later_fragment)
{
	for (uint32_t flag : {1u, 0xffffffffu})
		for (uint32_t start : {0u, 100u, 4095u}) {
			const result later = decode([flag](debug_pkt_ctx *ctx, const uint8_t *data,
							   uint32_t len) { return debug_pkt_tcp(ctx, data, len, flag); },
						    header(20, 0x10, 0, 80) + text("A\n"), start, 0x0800);
			EXPECT_EQ(later.consumed, 0u);
			EXPECT_EQ(later.type, 0x40u);
			EXPECT_EQ(later.match, 0u);
			EXPECT_EQ(later.proto, 0x0800u);
			EXPECT_EQ(later.len, start);
		}
}

} // namespace test
