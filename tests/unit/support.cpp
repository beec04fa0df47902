// SPDX-License-Identifier: GPL-2.0-only
#include "tests/unit/support.h"

#include "capture/ifname.h"
#include "capture/percpu.h"
#include "output/mirror.h"

#include <algorithm>
#include <cstring>

namespace test {

bytes hex(std::string_view digits)
{
	bytes result;
	int high = -1;
	for (char c : digits) {
		if (c == ' ' || c == '\n' || c == '\t')
			continue;
		const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
		if (high < 0) {
			high = digit;
		} else {
			result.push_back(static_cast<uint8_t>(high << 4 | digit));
			high = -1;
		}
	}
	EXPECT_EQ(high, -1) << "odd number of hex digits";
	return result;
}

bytes operator+(const bytes &left, const bytes &right)
{
	bytes sum = left;
	sum.insert(sum.end(), right.begin(), right.end());
	return sum;
}

bytes text(std::string_view characters)
{
	return bytes(characters.begin(), characters.end());
}

bytes zeros(size_t count)
{
	return bytes(count, 0);
}

bytes big16(uint32_t value)
{
	return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

bytes big32(uint32_t value)
{
	return big16(value >> 16) + big16(value);
}

bytes ip4(std::string_view dotted)
{
	const uint32_t address = in_aton(std::string(dotted).c_str());
	bytes result(4);
	std::memcpy(result.data(), &address, 4);
	return result;
}

packet::packet(const bytes &content) : block(new uint8_t[content.size()]), length(static_cast<uint32_t>(content.size()))
{
	if (!content.empty())
		std::memcpy(block.get(), content.data(), content.size());
}

result decode(const decoder &decode, const bytes &content, uint32_t start_len, uint32_t start_proto)
{
	constexpr char guard = 0x5a;
	const packet packet(content);
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	ctx->len = start_len;
	ctx->proto = start_proto;
	ctx->buf[4095] = guard;
	const wire::announced_packet bounds(packet.data(), packet.size());
	const uint32_t consumed = decode(ctx.get(), packet.data(), packet.size());
	EXPECT_LE(ctx->len, 4095u);
	EXPECT_GE(ctx->len, start_len);
	EXPECT_EQ(ctx->buf[4095], guard) << "the last byte of the text area was written";
	const char *const behind = ctx->buf + std::min(ctx->len + text::slack, 4095u);
	EXPECT_EQ(std::count(behind, const_cast<const char *>(ctx->buf) + 4095, 0), ctx->buf + 4095 - behind)
		<< "bytes behind the text that nobody clears";
	return {consumed, std::string(ctx->buf + start_len, ctx->len - start_len), ctx->match, ctx->type, ctx->proto, ctx->len};
}

outcome outcome_of(const result &made)
{
	return {made.consumed, made.match, made.type, made.proto};
}

std::ostream &operator<<(std::ostream &out, const outcome &shown)
{
	return out << "consumed " << shown.consumed << std::hex << std::showbase << ", match " << shown.match << ", type "
		   << shown.type << ", proto " << shown.proto << std::dec << std::noshowbase;
}

static void expect_same_bits(const result &one, const result &other)
{
	EXPECT_EQ(outcome_of(one), outcome_of(other));
}

void check_decoder(const decoder &decoder_checked, const bytes &content, const std::string &expected, uint32_t start_proto)
{
	const result whole = decode(decoder_checked, content, 0, start_proto);
	EXPECT_EQ(whole.text, expected);
	const uint32_t length = static_cast<uint32_t>(whole.text.size());
	for (uint32_t start = length < 4093 ? 4093 - length : 0; start <= 4095; ++start) {
		SCOPED_TRACE("text starts at " + std::to_string(start));
		const result cut = decode(decoder_checked, content, start, start_proto);
		expect_same_bits(cut, whole);
		if (start + length <= 4094) {
			EXPECT_EQ(cut.text, whole.text);
		} else if (start == 4095 || length == 0) {
			EXPECT_EQ(cut.text, "");
		} else {
			EXPECT_EQ(cut.len, 4095u);
			EXPECT_EQ(cut.text, whole.text.substr(0, 4094 - start) + '\0');
		}
		if (::testing::Test::HasFailure())
			return;
	}
	for (size_t size = 0; size < content.size(); ++size) {
		SCOPED_TRACE("packet cut to " + std::to_string(size) + " bytes");
		const bytes shorter(content.begin(), content.begin() + static_cast<ptrdiff_t>(size));
		const result once = decode(decoder_checked, shorter, 0, start_proto),
			     again = decode(decoder_checked, shorter, 0, start_proto);
		EXPECT_EQ(once.text, again.text);
		expect_same_bits(once, again);
		expect_same_bits(once, decode(decoder_checked, shorter, 4095, start_proto));
		if (::testing::Test::HasFailure())
			return;
	}
}

void reset_all()
{
	host::reset();
	host::bind_cpu(0);
	debug_pkt_mirror_ip = 0;
	std::memcpy(debug_pkt_dev, "all\0\0\0\0\0\0\0\0", sizeof debug_pkt_dev);
	std::memset(debug_pkt_mac, 0, sizeof debug_pkt_mac);
	debug_pkt_ip = 0;
	std::memset(debug_pkt_ip6, 0, sizeof debug_pkt_ip6);
	debug_pkt_vlan = debug_pkt_proto = debug_pkt_port = 0;
	debug_pkt_match_flags = 0xffffffff;
	debug_pkt_type_flags = 0;
	debug_pkt_max_count = debug_pkt_cur_count = 0;
	debug_pkt_mod = 7;
	gre_type = 0;
	firewall_cp_ifindex = 0;
	iphdrid = 0;
	platform_free(debug_pkt_sysctls);
	debug_pkt_sysctls = nullptr;
	debug_pkt_sysctl_header = nullptr;
	debug_pkt_matched = 0;
	last_matched_pkt = nullptr;
	std::memset(hdrcache, 0, sizeof hdrcache);
	hdrlen = 0;
	sbeth = {};
	std::memset(debug_pkt_buf, 0, sizeof debug_pkt_buf);
	debug_pkt_buf_end = nullptr;
	debug_pkt_packet = {UINTPTR_MAX, 0};
	debug_pkt_stats = {};
}

} // namespace test
