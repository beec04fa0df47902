// SPDX-License-Identifier: GPL-2.0-only
// The capture entry: capture calls with a packet's descriptor, follow-up calls for the last packet that passed on this CPU.
#include "capture/context.h"
#include "capture/ethernet.h"
#include "capture/ifname.h"
#include "capture/packet.h"
#include "config/settings.h"
#include "output/buffer.h"
#include "output/mirror.h"

DEFINE_PER_CPU_STATE(uint8_t) debug_pkt_matched;
DEFINE_PER_CPU_STATE(debug_pkt_desc *) last_matched_pkt;
DEFINE_PER_CPU_STATE(uint8_t) hdrcache[1024];
DEFINE_PER_CPU_STATE(uint32_t) hdrlen;
DEFINE_PER_CPU_STATE(debug_pkt_counters) debug_pkt_stats;

// The second that this CPU printed last, as text: packets of one second share it.
struct last_second {
	uint32_t seconds;
	uint32_t length; // 0: none yet
	char text[48];
};
static DEFINE_PER_CPU_STATE(last_second) debug_pkt_last_second;

namespace {

inline constexpr uint32_t hook_asap = 1, hook_asfp = 2, hook_uol = 4;
inline constexpr uint32_t all_types = 0xffffffff;
inline constexpr uint32_t most_cached = sizeof hdrcache - 1;

// The arguments of one call.
struct checkpoint {
	const char *func;
	int32_t line;
	const char *label;
	uint32_t level;
	uint32_t ethertype;
	uint32_t hook;
};

struct local_time {
	text::word second;
	long microseconds;
};

text::name tag_of(uint32_t hook)
{
	switch (hook) {
	case hook_asap:
		return text::name_of<"ASAP">();
	case hook_asfp:
		return text::name_of<"ASFP">();
	case hook_uol:
		return text::name_of<"UOL">();
	default:
		return text::name_of<"OTHER">();
	}
}

[[gnu::noinline]] void write_second(last_second &last, uint32_t seconds)
{
	platform_calendar date;
	platform_calendar_fields(seconds, &date);
	last.length = text::format<"%d-%d-%d %02u:%02u:%02u:">(last.text, sizeof last.text, static_cast<uint16_t>(date.year + 1900),
							       static_cast<uint8_t>(date.month + 1), static_cast<uint8_t>(date.day),
							       static_cast<uint8_t>(date.hour), static_cast<uint8_t>(date.minute),
							       static_cast<uint8_t>(date.second));
	last.seconds = seconds;
}

// A whole hour for each unit of the DST word, on purpose.
local_time to_local_time(const platform_time &moment)
{
	int32_t minutes_west, dst;
	platform_time_zone(&minutes_west, &dst);
	const uint32_t seconds = static_cast<uint32_t>(moment.seconds) - 60 * static_cast<uint32_t>(minutes_west) +
				 3600 * static_cast<uint32_t>(dst);
	last_second &last = this_cpu(debug_pkt_last_second);
	if (last.seconds != seconds || !last.length)
		write_second(last, seconds);
	return {{last.text, last.length}, moment.nanoseconds / 1000};
}

// For hook 2 the device that the buffer came in by, when there still is one; else the buffer's own.
text::name ingress_name(const debug_pkt_desc *desc, const platform_packet &packet, uint32_t hook)
{
	if (hook == hook_asfp) {
		net_device *const dev = platform_dev_get_by_index(platform_skb_iif(desc->skb));
		if (dev) {
			platform_dev_put(dev);
			return device_name(dev);
		}
	}
	return device_name(packet.dev);
}

// What the lines of one call show on both sides, looked up once.
struct side_names {
	// cppcheck-suppress uninitMemberVar ; room is for interface_name() to write
	side_names(const debug_pkt_desc *desc, const platform_packet &packet, uint32_t hook)
	    : egress(interface_name(desc->egress, room)), ingress(ingress_name(desc, packet, hook))
	{
	}
	interface_name_room room;
	const text::name egress, ingress;
};

// The line that every checkpoint but the last has. For hook 2 it ends in a blank.
[[gnu::always_inline]] inline void emit_checkpoint(debug_pkt_ctx *ctx, const debug_pkt_desc *desc, const platform_packet &packet,
						   const checkpoint &at, const side_names &names)
{
	const int32_t len = static_cast<int32_t>(packet.len);
	if (at.hook == hook_asfp)
		emit<"[%s(%d):%s] len %d, egress %s, ingress %s: \n">(ctx, at.func, at.line, at.label, len, names.egress,
								      names.ingress);
	else
		emit<"[%s(%d):%s] len %d, vlan %d, egress %s, ingress %s:\n">(ctx, at.func, at.line, at.label, len, desc->vlan,
									      names.egress, names.ingress);
}

// Both header lines. Not in the frame that stays on the stack while the packet is decoded.
[[gnu::noinline]] void emit_header(debug_pkt_ctx *ctx, const debug_pkt_desc *desc, const platform_packet &packet,
				   const checkpoint &at, const platform_time &moment)
{
	const side_names names(desc, packet, at.hook);
	const local_time time = to_local_time(moment);
	emit<"\n%s received packet from %s ([cpu %d] timestamp (%s%06ld))\n">(
		ctx, tag_of(at.hook), names.ingress, static_cast<int32_t>(platform_cpu()), time.second, time.microseconds);
	emit_checkpoint(ctx, desc, packet, at, names);
}

[[gnu::noinline]] void emit_process_done(debug_pkt_ctx *ctx, const checkpoint &at)
{
	const local_time time = to_local_time(platform_clock());
	emit<"%s[%s(%d)] process done(timestamp (%s%06ld))\n">(ctx, tag_of(at.hook), at.func, at.line, time.second,
							       time.microseconds);
}

uint32_t decode(debug_pkt_ctx *ctx, const platform_packet &packet, const checkpoint &at)
{
	const wire::announced_packet bounds(packet.data, packet.present);
	return debug_pkt_parse(ctx, packet.data, packet.len, at.level, at.ethertype);
}

// The whole text of a capture call; how many leading bytes of the packet were decoded as headers.
uint32_t render(debug_pkt_ctx *ctx, const debug_pkt_desc *desc, const platform_packet &packet, const checkpoint &at,
		const platform_time &moment)
{
	emit_header(ctx, desc, packet, at, moment);
	return decode(ctx, packet, at);
}

bool accepts_everything()
{
	return read_setting(debug_pkt_type_flags) == all_types && read_setting(debug_pkt_match_flags) == 0;
}

bool passes(const debug_pkt_ctx *ctx)
{
	const uint32_t types = read_setting(debug_pkt_type_flags);
	if ((types & ctx->type) == 0 && types != all_types)
		return false;
	return (read_setting(debug_pkt_match_flags) & ~ctx->match) == 0;
}

// Keeps the decoded headers, to see at later checkpoints whether they have changed.
void cache_headers(const platform_packet &packet, uint32_t consumed)
{
	const uint32_t n = consumed < most_cached ? consumed : most_cached;
	const uint32_t present = n < packet.present ? n : packet.present;
	uint8_t *const cache = this_cpu(hdrcache);
	__builtin_memcpy(cache, packet.data, present);
	if (present < n)
		__builtin_memset(cache + present, 0, n - present);
	this_cpu(hdrlen) = n;
}

bool headers_unchanged(const platform_packet &packet)
{
	const uint32_t n = this_cpu(hdrlen);
	return n != 0 && packet.present >= n && __builtin_memcmp(packet.data, this_cpu(hdrcache), n) == 0;
}

void append(const debug_pkt_ctx *ctx)
{
	count_event(&debug_pkt_counters::rendered);
	if (!has_room(ctx))
		count_event(&debug_pkt_counters::cut_texts);
	debug_pkt_buf_append(ctx->buf, ctx->len);
}

void mirror(const debug_pkt_desc *desc, uint32_t len)
{
	uint32_t present = len;
	const uint8_t *const data = platform_skb_linear(desc->skb, desc->data, &present);
	if (present < len && len <= longest_mirrored_frame) // a longer one is refused unread
		count_event(&debug_pkt_counters::mirror_no_buffer);
	else
		debug_pkt_mirror_send(data, len);
}

void capture(debug_pkt_ctx *ctx, debug_pkt_desc *desc, const checkpoint &at)
{
	const int32_t limit = read_setting(debug_pkt_max_count);
	if (limit != 0 && read_setting(debug_pkt_cur_count) == limit) {
		write_setting(debug_pkt_type_flags, 0u);
		return;
	}
	// A packet that the filter may refuse is first decoded with the text full: the bits are the same, and a text that nobody
	// would see is not formed. Behind one that has passed it is expected to pass, and decoded once.
	const bool expected = (this_cpu(debug_pkt_matched) || accepts_everything()) && read_setting(debug_pkt_mirror_ip) == 0;
	this_cpu(debug_pkt_matched) = 0;
	this_cpu(last_matched_pkt) = nullptr;

	const platform_packet packet = platform_skb_packet(desc->skb);
	const platform_time moment = platform_clock();
	if (equals_filter_dev(platform_dev_name(packet.dev)))
		ctx->match |= match_dev;

	uint32_t consumed;
	if (expected) {
		consumed = render(ctx, desc, packet, at, moment);
	} else {
		ctx->len = text_full;
		consumed = decode(ctx, packet, at);
		ctx->len = 0;
	}
	if (!passes(ctx))
		return;
	this_cpu(debug_pkt_matched) = 1;
	__atomic_fetch_add(&debug_pkt_cur_count, 1, __ATOMIC_RELAXED);
	this_cpu(last_matched_pkt) = desc;
	count_event(&debug_pkt_counters::matched);
	if (read_setting(debug_pkt_mirror_ip) != 0) {
		mirror(desc, packet.len);
		return;
	}
	if (!expected) {
		ctx->proto = 0;
		consumed = render(ctx, desc, packet, at, moment);
	}
	cache_headers(packet, consumed);
	append(ctx);
}

void follow_up(debug_pkt_ctx *ctx, const checkpoint &at)
{
	if (!this_cpu(debug_pkt_matched) || read_setting(debug_pkt_mirror_ip) != 0)
		return;
	debug_pkt_desc *const desc = this_cpu(last_matched_pkt);
	const platform_packet packet = platform_skb_packet(desc->skb);
	if (at.label[0] == 'T' && at.label[1] == '+') {
		emit_process_done(ctx, at);
	} else {
		if (at.hook == hook_asfp) {
			const uint32_t current = interface_code(packet.dev);
			if (desc->ingress != current)
				desc->egress = current;
		}
		emit_checkpoint(ctx, desc, packet, at, side_names(desc, packet, at.hook));
	}
	if (!headers_unchanged(packet))
		cache_headers(packet, decode(ctx, packet, at));
	append(ctx);
}

[[gnu::noinline]] void dump(debug_pkt_desc *desc, const char *func, int32_t line, const char *label, uint32_t level,
			    uint32_t ethertype, uint32_t hook)
{
	debug_pkt_ctx *const ctx = new_context();
	if (!ctx)
		return;
	const checkpoint at = {func, line, label, level, ethertype, hook};
	if (desc)
		capture(ctx, desc, at);
	else
		follow_up(ctx, at);
	free_context(ctx);
}

} // namespace

void debug_pkt_dump(debug_pkt_desc *desc, const char *func, int32_t line, const char *label, uint32_t level, uint32_t ethertype,
		    uint32_t hook)
{
	if (debug_pkt_enabled())
		dump(desc, func, line, label, level, ethertype, hook);
}
