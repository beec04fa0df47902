// SPDX-License-Identifier: GPL-2.0-only
// A frame, or the payload of an ethertype, through debug_pkt_parse.
// Input: level, ethertype (2 bytes), filter (34), bits set before (8), where the text starts (2), packet.
#include "fuzz/support.h"

#include "capture/ethernet.h"
#include "capture/packet.h"
#include "config/settings.h"

#include <algorithm>

namespace {

inline constexpr char guard = 0x5a;

struct call {
	uint32_t level, ethertype;
};

struct outcome {
	uint32_t consumed, proto, match, type, len;
	std::string text;

	bool operator==(const outcome &) const = default;
};

// The text area holds `filler` before, so that nothing of it shows in the text.
outcome parse(const call &how, const uint8_t *data, uint32_t len, uint32_t start_len = 0, uint32_t match = 0, uint32_t type = 0,
	      char filler = 0)
{
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	std::memset(ctx->buf, filler, sizeof ctx->buf);
	ctx->buf[4095] = guard;
	ctx->proto = 0;
	ctx->match = match;
	ctx->type = type;
	ctx->len = start_len;
	uint32_t consumed;
	{
		const wire::announced_packet bounds(data, len);
		consumed = debug_pkt_parse(ctx.get(), data, len, how.level, how.ethertype);
	}
	fuzz::require_idle();
	fuzz::require(ctx->len <= 4095 && ctx->len >= start_len, "len only grows, to at most 4095");
	fuzz::require(ctx->buf[4095] == guard, "nothing is written at buf[4095]");
	fuzz::require(std::count(ctx->buf, ctx->buf + std::min(start_len, 4095u), filler) == std::min(start_len, 4095u),
		      "text that is there stays as it is");
	const char *const behind = ctx->buf + std::min(ctx->len + text::slack, 4095u);
	fuzz::require(std::all_of(behind, static_cast<const char *>(ctx->buf) + 4095, [=](char c) { return c == filler; }),
		      "behind the text only the slack is written");
	return {consumed, ctx->proto, ctx->match, ctx->type, ctx->len, std::string(ctx->buf + start_len, ctx->len - start_len)};
}

// The same packet with a block of other bytes behind it.
outcome parse_with_bytes_behind(const call &how, const fuzz::block &packet)
{
	constexpr uint32_t behind = 2048;
	const fuzz::block larger(packet.size() + behind);
	if (packet.size())
		std::memcpy(larger.data(), packet.data(), packet.size());
	uint32_t state = 2463534242u + packet.size();
	for (uint32_t i = 0; i < behind; ++i) {
		state ^= state << 13;
		state ^= state >> 17;
		state ^= state << 5;
		larger.data()[packet.size() + i] = static_cast<uint8_t>(state);
	}
	return parse(how, larger.data(), packet.size(), 0, 0, 0, 'x');
}

// What a text that starts at start_len must be when the whole one is `whole`.
std::string cut(const std::string &whole, uint32_t start_len)
{
	if (start_len >= 4095 || whole.empty())
		return "";
	if (start_len + whole.size() <= 4094)
		return whole;
	return whole.substr(0, 4094 - start_len) + '\0';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	fuzz::start();
	fuzz::input in(data, size);
	const uint32_t level = in.u8();
	const call how = {level, in.u16()};
	fuzz::take_filter(in);
	const uint32_t match = in.u32(), type = in.u32(), start_len = in.u16() % 4096u;
	const fuzz::block packet(in.rest());

	const outcome whole = parse(how, packet.data(), packet.size());
	fuzz::require(parse(how, packet.data(), packet.size(), 0, 0, 0, 'y') == whole, "a second run gives the same");
	fuzz::require(parse_with_bytes_behind(how, packet) == whole, "bytes behind the packet are not seen");

	const outcome full = parse(how, packet.data(), packet.size(), 4095);
	fuzz::require(full.consumed == whole.consumed && full.proto == whole.proto, "a full text does not change the result");
	fuzz::require(full.match == whole.match && full.type == whole.type, "a full text does not change the bits");

	const outcome later = parse(how, packet.data(), packet.size(), start_len, match, type, 'z');
	fuzz::require(later.consumed == whole.consumed && later.proto == whole.proto, "earlier text does not change the result");
	fuzz::require(later.text == cut(whole.text, start_len), "a text is cut where it must be");
	fuzz::require(later.match == (whole.match | match), "match bits only grow");
	fuzz::require(later.type == (whole.type | type) || (later.type == whole.type && whole.type & type_arp),
		      "type bits only grow, but where ARP assigns them");
	return 0;
}
