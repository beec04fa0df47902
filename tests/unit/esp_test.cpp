// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using esp_test = core_test;

static uint32_t esp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_esp(ctx, data, static_cast<uint16_t>(len), nullptr);
}

TEST_F(esp_test, header)
{
	const bytes content = hex("00001001 00000005 aabbccdd");
	const result got = decode(esp, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 8u);
	EXPECT_EQ(got.type, 0u);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0x0800u);
	check_decoder(esp, content, "      #esp: spi: 0x00001001, sequence: 0x00000005\n");
}

TEST_F(esp_test, all_digits)
{
	check_decoder(esp, hex("fedcba98 76543210"), "      #esp: spi: 0xfedcba98, sequence: 0x76543210\n");
	check_decoder(esp, bytes(8, 0xff), "      #esp: spi: 0xffffffff, sequence: 0xffffffff\n");
}

// Key exchange on the same port, and a keep-alive byte.
TEST_F(esp_test, what_is_no_esp_is_rendered_as_esp)
{
	check_decoder(esp, hex("00000000 0102030405060708"), "      #esp: spi: 0x00000000, sequence: 0x01020304\n");
	check_decoder(esp, hex("ff"), "      #esp: spi: 0xff000000, sequence: 0x00000000\n");
}

TEST_F(esp_test, length_is_not_looked_at)
{
	for (uint16_t length : bytes{0, 7, 8, 255}) {
		const result got = decode([length](debug_pkt_ctx *ctx, const uint8_t *data,
						   uint32_t) { return debug_pkt_esp(ctx, data, length, nullptr); },
					  hex("00001001 00000005"));
		EXPECT_EQ(got.text, "      #esp: spi: 0x00001001, sequence: 0x00000005\n");
		EXPECT_EQ(got.consumed, 8u);
	}
}

TEST_F(esp_test, cut)
{
	EXPECT_EQ(decode(esp, {}).text, "      #esp: spi: 0x00000000, sequence: 0x00000000\n");
	EXPECT_EQ(decode(esp, hex("12345678 9a")).text, "      #esp: spi: 0x12345678, sequence: 0x9a000000\n");
	EXPECT_EQ(decode(esp, hex("12345678 9a")).consumed, 8u);
}

TEST_F(esp_test, text_full)
{
	const result got = decode(esp, hex("00001001 00000005"), 4095);
	EXPECT_EQ(got.consumed, 8u);
	EXPECT_EQ(got.text, "");
}

} // namespace test
