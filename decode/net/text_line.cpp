// SPDX-License-Identifier: GPL-2.0-only
// Clear-text payloads (SIP, HTTP, FTP), line by line.
#include "capture/packet.h"
#include "decode/net/net.h"

uint32_t debug_pkt_text_line(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, const char *label)
{
	constexpr uint32_t most_examined = 512, longest_text = 127;
	const uint32_t limit = len < most_examined ? len : most_examined;
	const uint32_t present = wire::available(data, limit);
	char line[longest_text];
	uint32_t n = 0;
	const auto emit_text = [&] {
		emit<"      #%s: %s\n">(ctx, label, text::word(line, n));
		n = 0;
	};
	for (uint32_t i = 0; i < present; ++i) {
		const uint8_t c = data[i];
		if (c >= 0x20 && c <= 0x7e) {
			line[n++] = static_cast<char>(c);
			if (n == longest_text)
				emit_text();
		} else if (c == '\n') {
			if (n)
				emit_text();
		} else if (c != '\r') {
			return i + 1;
		}
	}
	// A line that no line feed has ended is dropped. Behind the packet's end a 0 byte is what is read, which ends the scan.
	return present < limit ? present + 1 : limit;
}
