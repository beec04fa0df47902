// SPDX-License-Identifier: GPL-2.0-only
// The per-CPU text buffer and its delivery to the CLI: one packet on br0, ethertype 0x8ffa, data = flag byte, text, the byte
// behind the text.
#pragma once

#include "include/debug_pkt_dump.h"

// Adds n bytes of text to this CPU's buffer, delivering what is pending first when they do not fit with a NUL. Text that does
// not fit after the delivery attempt is dropped whole and counted. Packet path.
void debug_pkt_buf_append(const char *text, uint32_t n);
