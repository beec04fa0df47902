// SPDX-License-Identifier: GPL-2.0-only
// ESP in UDP (RFC 3948). Key-exchange traffic on the same port is rendered alike.
#include "capture/packet.h"
#include "decode/net/net.h"

uint32_t debug_pkt_esp(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t, const uint8_t *)
{
	const wire::header<8> esp(data);
	emit<"      #esp: spi: 0x%08x, sequence: 0x%08x\n">(ctx, esp.u32(0), esp.u32(4));
	return 8;
}
