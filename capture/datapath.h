// SPDX-License-Identifier: GPL-2.0-only
// The text export. The exported entry points of the datapath are in include/debug_pkt_dump.h.
#pragma once

#include "include/debug_pkt_dump.h"

// Renders the descriptor's packet into out, at most size - 1 characters and a NUL (a size of 0 sets no bound), without filter,
// count, timestamp or mirror. Characters stored; 0 and out untouched when there is no memory.
uint32_t debug_pkt_to_str(const debug_pkt_desc *desc, uint32_t level, uint32_t ethertype, char *out, uint32_t size);
