// SPDX-License-Identifier: GPL-2.0-only
#include "capture/context.h"

#include "platform/platform.h"

void debug_pkt_ctx_reset(debug_pkt_ctx *ctx)
{
	__builtin_memset(ctx, 0, sizeof *ctx);
}

debug_pkt_ctx *new_context()
{
	return static_cast<debug_pkt_ctx *>(platform_alloc_atomic(sizeof(debug_pkt_ctx)));
}

void free_context(debug_pkt_ctx *ctx)
{
	const size_t written = ctx->len + text::slack;
	platform_free_atomic(ctx, offsetof(debug_pkt_ctx, buf) + (written < sizeof ctx->buf ? written : sizeof ctx->buf));
}
