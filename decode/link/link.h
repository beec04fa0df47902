// SPDX-License-Identifier: GPL-2.0-only
// The link-layer decoders. They write into the context by its emission rule and return the bytes they consumed; data is their
// header's first byte. They never look at len.
#pragma once

#include "capture/context.h"

// 28 always. Assigns the type word, on purpose: type bits of outer layers are dropped.
uint32_t debug_pkt_arp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len = 0);
// 6 always.
uint32_t debug_pkt_pppoed(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len = 0);
// 8 always; leaves the ethertype of IPv4 or IPv6 inside in proto.
uint32_t debug_pkt_pppoes(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len = 0);
// 2, 4 or 8; leaves the value it found in proto.
uint32_t debug_pkt_snap(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len = 0);
// 64, or 0 for an unsupported magic.
uint32_t debug_pkt_apmsg(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len = 0);
