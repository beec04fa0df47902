// SPDX-License-Identifier: GPL-2.0-only
// The dump context: the text of one capture and the bits that its decoders set.
#pragma once

#include "text/format.h"

#include <stddef.h>
#include <stdint.h>

struct debug_pkt_ctx {
	uint32_t proto; // 16-bit value that the decoder now dispatching looks up
	uint32_t match; // criteria that the packet satisfied (match_bit)
	uint32_t type;  // packet types seen (type_bit)
	uint32_t len;   // text bytes in buf, at most 4095
	char buf[4096]; // no terminator is required behind len
};
static_assert(sizeof(debug_pkt_ctx) == 4112);
static_assert(offsetof(debug_pkt_ctx, proto) == 0 && offsetof(debug_pkt_ctx, match) == 4 && offsetof(debug_pkt_ctx, type) == 8 &&
	      offsetof(debug_pkt_ctx, len) == 12 && offsetof(debug_pkt_ctx, buf) == 16);

// The text length at which nothing more is written.
inline constexpr uint32_t text_full = 4095;

// Sets all 4112 bytes to 0.
void debug_pkt_ctx_reset(debug_pkt_ctx *ctx);

// A context of one capture call, all 0; NULL when there is no memory. Packet path.
debug_pkt_ctx *new_context();
void free_context(debug_pkt_ctx *ctx);

inline bool has_room(const debug_pkt_ctx *ctx)
{
	return ctx->len < text_full;
}

// Adds one line, or a part of one: skipped when the text is full, cut as a bounded printf would cut it when it does not fit.
template <text::literal F, class... A> [[gnu::always_inline]] inline void emit(debug_pkt_ctx *ctx, const A &...arguments)
{
	if (!has_room(ctx))
		return;
	ctx->len += text::format_clipped<F>(ctx->buf + ctx->len, text_full - ctx->len, arguments...);
}

// Searches a name table of {value, name} rows.
template <class Value> struct name_row {
	Value value;
	text::word name;
};
template <class Value, size_t N, class Key>
inline text::word find_name(const name_row<Value> (&table)[N], Key value, text::word fallback)
{
	for (const name_row<Value> &row : table)
		if (row.value == value)
			return row.name;
	return fallback;
}
