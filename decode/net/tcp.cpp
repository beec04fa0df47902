// SPDX-License-Identifier: GPL-2.0-only
// TCP (RFC 9293), its options, and the services that its ports choose.
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr int32_t fixed_length = 20;
inline constexpr uint8_t end_of_list = 0, no_operation = 1;

struct tcp_header {
	uint16_t source, destination;
	int32_t length;

	bool either(uint16_t port) const { return source == port || destination == port; }
};

tcp_header emit_tcp(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<fixed_length> tcp(data);
	const uint8_t length = static_cast<uint8_t>((tcp[12] >> 4) * 4), flags = tcp[13];
	emit<"    #tcp: sport %d dport %d, seq %u, ack %u, cksum %x, hdr len %d%s%s%s%s%s%s\n">(
		ctx, tcp.u16(0), tcp.u16(2), tcp.u32(4), tcp.u32(8), tcp.u16(16), length, text::when<", fin">(flags & 0x01),
		text::when<", syn">(flags & 0x02), text::when<", rst">(flags & 0x04), text::when<", psh">(flags & 0x08),
		text::when<", ack">(flags & 0x10), text::when<", urg">(flags & 0x20));
	return {tcp.u16(0), tcp.u16(2), length};
}

// The value by length alone: none, a number of one or two bytes, or at most 15 bytes in hex.
void emit_option(debug_pkt_ctx *ctx, const uint8_t *p, uint8_t kind, uint8_t length)
{
	constexpr uint32_t most_bytes = 15;
	const wire::header<2 + most_bytes> option(p);
	if (!has_room(ctx))
		return;
	char value[2 * most_bytes + 1 + text::slack];
	uint32_t count = 0;
	if (length == 3)
		count = text::format<"%d">(value, sizeof value, option[2]);
	else if (length == 4)
		count = text::format<"%d">(value, sizeof value, option.u16(2));
	else if (length > 4)
		count = text::put_hex_bytes(value, option.at(2), length - 2u < most_bytes ? length - 2u : most_bytes);
	emit<"    #tcp: option type %d len %d %s\n">(ctx, kind, length, text::word(value, count));
}

// Bytes of header that the payload follows: where an end-of-list byte stands, the payload is taken to start at it.
int32_t walk_options(debug_pkt_ctx *ctx, const uint8_t *data, int32_t header_length)
{
	int32_t pos = fixed_length;
	for (int32_t left = header_length - fixed_length; left > 0;) {
		const wire::header<2> option(data + pos);
		const uint8_t kind = option[0], length = option[1];
		if (kind == end_of_list)
			break;
		if (length == 0) // also behind a no-operation byte
			break;
		if (kind == no_operation) {
			++pos;
			--left;
			continue;
		}
		if (length <= left)
			emit_option(ctx, data + pos, kind, length);
		pos += length;
		left -= length;
	}
	return pos;
}

} // namespace

uint32_t debug_pkt_tcp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag)
{
	ctx->type |= type_tcp;
	if (flag)
		return 0;
	const tcp_header tcp = emit_tcp(ctx, data);
	const uint32_t header_length = static_cast<uint32_t>(walk_options(ctx, data, tcp.length));

	const uint8_t *payload = data + header_length;
	const uint32_t length = len - header_length;
	if (tcp.either(80)) {
		ctx->type |= type_http;
		payload += debug_pkt_text_line(ctx, payload, length, "http");
	}
	if (tcp.either(443))
		ctx->type |= type_https;
	if (tcp.either(21))
		payload += debug_pkt_text_line(ctx, payload, length, "ftp");

	if (tcp.either(static_cast<uint16_t>(read_setting(debug_pkt_port))))
		ctx->match |= match_port;
	return static_cast<uint32_t>(payload - data);
}
