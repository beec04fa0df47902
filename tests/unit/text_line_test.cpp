// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using text_line_test = core_test;

static uint32_t sip(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_text_line(ctx, data, len, "sip");
}

// The printer with another length than the packet's.
static decoder sip_of(uint32_t length)
{
	return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) {
		return debug_pkt_text_line(ctx, data, length, "sip");
	};
}

static bytes repeat(size_t count, char c)
{
	return text(std::string(count, c));
}

TEST_F(text_line_test, two_lines)
{
	const bytes content = text("INVITE sip:a@b SIP/2.0\r\nVia: c\r\n");
	const result got = decode(sip, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 32u);
	EXPECT_EQ(got.type, 0u);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0x0800u);
	check_decoder(sip, content,
		      "      #sip: INVITE sip:a@b SIP/2.0\n"
		      "      #sip: Via: c\n");
}

TEST_F(text_line_test, label)
{
	const auto labelled = [](const char *label) {
		return decode([label](debug_pkt_ctx *ctx, const uint8_t *data,
				      uint32_t len) { return debug_pkt_text_line(ctx, data, len, label); },
			      text("x\n"))
			.text;
	};
	EXPECT_EQ(labelled("http"), "      #http: x\n");
	EXPECT_EQ(labelled("ftp"), "      #ftp: x\n");
	EXPECT_EQ(labelled(""), "      #: x\n");
}

TEST_F(text_line_test, empty_lines)
{
	const bytes content = text("\n\r\n\nA\n\n\r\r\n\nB\n\n");
	EXPECT_EQ(decode(sip, content).consumed, 14u);
	check_decoder(sip, content,
		      "      #sip: A\n"
		      "      #sip: B\n");
	EXPECT_EQ(decode(sip, text("\n\n\n")).consumed, 3u);
	EXPECT_EQ(decode(sip, text("\n\n\n")).text, "");
}

TEST_F(text_line_test, carriage_returns_are_skipped_anywhere)
{
	EXPECT_EQ(decode(sip, text("\rA\r\rB\r \r\n\r")).text, "      #sip: AB \n");
	EXPECT_EQ(decode(sip, text("\rA\r\rB\r \r\n\r")).consumed, 10u);
	EXPECT_EQ(decode(sip, text("\r\r\r")).consumed, 3u);
}

// Each byte value behind two characters, in front of a line feed.
TEST_F(text_line_test, every_byte)
{
	for (uint32_t c = 0; c < 256; ++c) {
		SCOPED_TRACE(c);
		const result got = decode(sip, text("ab") + bytes{static_cast<uint8_t>(c)} + text("z\n"));
		if (c == '\n') {
			EXPECT_EQ(got.text, "      #sip: ab\n      #sip: z\n");
			EXPECT_EQ(got.consumed, 5u);
		} else if (c == '\r') {
			EXPECT_EQ(got.text, "      #sip: abz\n");
			EXPECT_EQ(got.consumed, 5u);
		} else if (c >= 0x20 && c <= 0x7e) {
			EXPECT_EQ(got.text, std::string("      #sip: ab") + static_cast<char>(c) + "z\n");
			EXPECT_EQ(got.consumed, 5u);
		} else {
			EXPECT_EQ(got.text, "");
			EXPECT_EQ(got.consumed, 3u);
		}
	}
}

TEST_F(text_line_test, all_printable_characters)
{
	check_decoder(sip,
		      text(" !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~\n"),
		      "      #sip:  !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
		      "abcdefghijklmnopqrstuvwxyz{|}~\n");
	EXPECT_EQ(decode(sip, text("%s%n%d\n")).text, "      #sip: %s%n%d\n");
}

TEST_F(text_line_test, other_byte_at_offset_10)
{
	const bytes content = text("0123456789\tabc\n");
	EXPECT_EQ(decode(sip, content).consumed, 11u);
	check_decoder(sip, content, "");
	const result behind_a_line = decode(sip, text("A\nB\xff\n"));
	EXPECT_EQ(behind_a_line.text, "      #sip: A\n");
	EXPECT_EQ(behind_a_line.consumed, 4u);
	EXPECT_EQ(decode(sip, hex("00")).consumed, 1u);
}

TEST_F(text_line_test, unterminated_line_is_dropped)
{
	EXPECT_EQ(decode(sip, text("A\nB")).text, "      #sip: A\n");
	EXPECT_EQ(decode(sip, text("A\nB")).consumed, 3u);
	EXPECT_EQ(decode(sip, text("A\r")).text, "");
	EXPECT_EQ(decode(sip, text("A\r")).consumed, 2u);
}

TEST_F(text_line_test, lines_of_127_characters)
{
	const std::string full = "      #sip: " + std::string(127, 'x') + "\n";
	const result shorter = decode(sip, repeat(126, 'x') + text("\n"));
	EXPECT_EQ(shorter.text, "      #sip: " + std::string(126, 'x') + "\n");
	// The 127th character emits the line: no line feed is needed, and one behind it ends an empty line.
	EXPECT_EQ(decode(sip, repeat(126, 'x')).text, "");
	EXPECT_EQ(decode(sip, repeat(127, 'x')).text, full);
	EXPECT_EQ(decode(sip, repeat(127, 'x')).consumed, 127u);
	EXPECT_EQ(decode(sip, repeat(127, 'x') + text("\r\n")).text, full);
	EXPECT_EQ(decode(sip, repeat(127, 'x') + text("\r\n")).consumed, 129u);
	EXPECT_EQ(decode(sip, repeat(127, 'x') + text("\t")).text, full);
	EXPECT_EQ(decode(sip, repeat(128, 'x')).text, full);
	EXPECT_EQ(decode(sip, repeat(128, 'x') + text("\n")).text, full + "      #sip: x\n");
	EXPECT_EQ(decode(sip, repeat(100, 'x') + text("\r") + repeat(27, 'x')).text, full) << "a carriage return is no character";
	check_decoder(sip, repeat(254, 'x'), full + full);
}

TEST_F(text_line_test, run_of_300)
{
	const result got = decode(sip, repeat(300, 'a'));
	EXPECT_EQ(got.consumed, 300u);
	EXPECT_EQ(got.text, "      #sip: " + std::string(127, 'a') + "\n      #sip: " + std::string(127, 'a') + "\n");
}

TEST_F(text_line_test, limit_of_512)
{
	bytes lines;
	std::string expected;
	for (int i = 0; i < 60; ++i) {
		lines = lines + text("line " + std::to_string(100 + i) + "\r\n");
		if (i < 51)
			expected += "      #sip: line " + std::to_string(100 + i) + "\n";
	}
	ASSERT_EQ(lines.size(), 600u);
	EXPECT_EQ(decode(sip, lines).consumed, 512u);
	EXPECT_EQ(decode(sip, lines).text, expected) << "the 52nd line ends behind the limit";

	// 508 characters make four lines; a line feed is the last byte examined, or the first one that is not.
	const bytes run = repeat(508, 'a');
	const std::string one = "      #sip: " + std::string(127, 'a') + "\n", four = one + one + one + one;
	EXPECT_EQ(decode(sip, run).text, four);
	EXPECT_EQ(decode(sip, run + text("end\n")).text, four + "      #sip: end\n");
	EXPECT_EQ(decode(sip, run + text("end\n")).consumed, 512u);
	EXPECT_EQ(decode(sip, run + text("ends\n")).text, four);
	EXPECT_EQ(decode(sip, run + text("ends\n")).consumed, 512u);
	EXPECT_EQ(decode(sip, run + text("end\t")).consumed, 512u);
	EXPECT_EQ(decode(sip, run + text("en\t\n")).consumed, 511u);
	EXPECT_EQ(decode(sip, run + text("ends\t")).consumed, 512u);
	EXPECT_EQ(decode(sip, run + text("en\n")).consumed, 511u);
	EXPECT_EQ(decode(sip_of(0xffffffff), run + text("end\nmore\n")).text, four + "      #sip: end\n");
	EXPECT_EQ(decode(sip_of(0xffffffff), run + text("end\nmore\n")).consumed, 512u);
}

TEST_F(text_line_test, length_of_zero)
{
	const result got = decode(sip_of(0), text("A\n"));
	EXPECT_EQ(got.consumed, 0u);
	EXPECT_EQ(got.text, "");
	EXPECT_EQ(decode(sip, {}).consumed, 0u);
}

TEST_F(text_line_test, length_within_the_packet)
{
	EXPECT_EQ(decode(sip_of(3), text("A\nB\n")).text, "      #sip: A\n");
	EXPECT_EQ(decode(sip_of(3), text("A\nB\n")).consumed, 3u);
	EXPECT_EQ(decode(sip_of(4), text("A\nB\n")).text, "      #sip: A\n      #sip: B\n");
	EXPECT_EQ(decode(sip_of(1), text("\tA\n")).consumed, 1u);
}

// A 0 byte is what is read behind the packet: it ends the scan, and counts.
TEST_F(text_line_test, packet_that_ends_inside_the_limit)
{
	for (uint32_t length : {5u, 511u, 512u, 513u, 0x80000000u, 0xffffffffu}) {
		const result got = decode(sip_of(length), text("A\nBC"));
		EXPECT_EQ(got.text, "      #sip: A\n");
		EXPECT_EQ(got.consumed, 5u);
	}
	EXPECT_EQ(decode(sip_of(4), text("A\nBC")).consumed, 4u);
	EXPECT_EQ(decode(sip_of(1), {}).consumed, 1u);
	EXPECT_EQ(decode(sip_of(512), repeat(512, '\n')).consumed, 512u);
	EXPECT_EQ(decode(sip_of(512), repeat(511, '\n')).consumed, 512u);
}

// Nothing but the limit bounds a scan when no packet was announced.
TEST_F(text_line_test, direct_call)
{
	const packet packet(text("GET /\r\nHost: a\r\nrest"));
	debug_pkt_ctx ctx;
	debug_pkt_ctx_reset(&ctx);
	EXPECT_EQ(debug_pkt_text_line(&ctx, packet.data(), packet.size(), "http"), 20u);
	EXPECT_EQ(std::string(ctx.buf, ctx.len), "      #http: GET /\n      #http: Host: a\n");
}

// With the text full the lines are lost, but the scan goes on to the same result.
TEST_F(text_line_test, text_full)
{
	const bytes content = text("A\nB\n") + repeat(200, 'c') + text("\t\n");
	EXPECT_EQ(decode(sip, content).consumed, 205u);
	const result full = decode(sip, content, 4095);
	EXPECT_EQ(full.consumed, 205u);
	EXPECT_EQ(full.text, "");
	const result cut = decode(sip, content, 4080);
	EXPECT_EQ(cut.consumed, 205u);
	EXPECT_EQ(cut.text, std::string("      #sip: A\n") + '\0');
	EXPECT_EQ(cut.len, 4095u);
}

} // namespace test
