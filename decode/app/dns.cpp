// SPDX-License-Identifier: GPL-2.0-only
// DNS (RFC 1035) with AAAA records (RFC 3596).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/app/app.h"

namespace {

inline constexpr uint32_t dns_length = 12;
inline constexpr uint16_t type_a = 1, type_ptr = 12, type_aaaa = 28, class_in = 1;
inline constexpr uint8_t response_flag = 0x80, opcode_mask = 0x78, response_code_mask = 0x0f;

constexpr name_row<uint8_t> response_code_names[] = {
	{1, "format error"}, {2, "server failure"}, {3, "name error"}, {4, "not implemented"}, {5, "refused"},
};

constexpr name_row<uint16_t> record_type_names[] = {
	{type_a, "A"},
	{type_ptr, "PTR"},
	{type_aaaa, "AAAA"},
};

constexpr name_row<uint16_t> class_names[] = {
	{class_in, "IN"},
};

struct message {
	uint16_t question_count, answer_count;
	uint8_t response_code;
	bool is_response, is_standard;
};

message emit_message(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<dns_length> dns(data);
	const message header = {dns.u16(4), dns.u16(6), static_cast<uint8_t>(dns[3] & response_code_mask),
				(dns[2] & response_flag) != 0, (dns[2] & opcode_mask) == 0};
	emit<"      #dns: message-type: %s %s, txn id: %d\n">(ctx, text::choice<"standard", "other">(header.is_standard),
							      text::choice<"response", "query">(header.is_response), dns.u16(0));
	if (header.response_code)
		emit<"             response code: %s(%d)\n">(ctx, find_name(response_code_names, header.response_code, "other"),
							     header.response_code);
	return header;
}

// Collects the labels of a name, joined by ".", and moves the cursor to the zero byte that ends it. A label that does not fit is
// dropped, and shorter ones behind it still go in; length bytes are taken literally.
text::word collect_name(const uint8_t *&cursor, char (&name)[128])
{
	uint32_t position = 0;
	while (const uint8_t length = wire::read_u8(cursor)) {
		if (position + length + 1 <= sizeof name - 1) {
			const uint32_t present = wire::available(cursor + 1, length);
			__builtin_memcpy(name + position, cursor + 1, present);
			__builtin_memset(name + position + present, 0, length - present);
			name[position + length] = '.';
			position += length + 1u;
		}
		cursor += length + 1;
	}
	if (!position)
		return {};
	name[position - 1] = 0;
	return name;
}

// A compression pointer, or a NUL-terminated byte string: labels that end in a pointer are not recognised.
const uint8_t *skip_owner_name(const uint8_t *cursor)
{
	if (wire::read_u8(cursor) & 0xc0)
		return cursor + 2;
	return cursor + wire::read_string(cursor, UINT32_MAX).length + 1;
}

// One answer record; the cursor behind it. A PTR leaves it on the zero byte of its name.
const uint8_t *decode_answer(debug_pkt_ctx *ctx, const uint8_t *cursor)
{
	cursor = skip_owner_name(cursor);
	const wire::header<10> record(cursor);
	const uint16_t type = record.u16(0), length = record.u16(8);
	const int32_t ttl = static_cast<int32_t>(record.u32(4));
	cursor += 10;
	if (record.u16(2) != class_in)
		return cursor + length;
	if (type == type_a) {
		const wire::header<4> address(cursor);
		emit<"             domain IP: %d.%d.%d.%d, ttl %d\n">(ctx, address.ipv4(0), ttl);
		if (equals_filter_ip(address.at(0)))
			ctx->match |= match_ip;
	} else if (type == type_ptr) {
		char name[128];
		emit<"             domain name response: %s, ttl %d\n">(ctx, collect_name(cursor, name), ttl);
		return cursor;
	} else if (type == type_aaaa) {
		const wire::header<16> address(cursor);
		emit<"             domain IP: %pI6, ttl %d\n">(ctx, address.ipv6(0), ttl);
		if (equals_filter_ip6(address.at(0)))
			ctx->match |= match_ipv6;
	}
	return cursor + length;
}

const uint8_t *decode_question(debug_pkt_ctx *ctx, const uint8_t *cursor)
{
	char name[128];
	const text::word domain = collect_name(cursor, name);
	const wire::header<5> fields(cursor);
	emit<"             domain name: %s, type: %s(%d), class: %s(%d)\n">(
		ctx, domain, find_name(record_type_names, fields.u16(1), "other"), fields.u16(1),
		find_name(class_names, fields.u16(3), "other"), fields.u16(3));
	return cursor + 5;
}

} // namespace

uint32_t debug_pkt_dns(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t, const uint8_t *)
{
	ctx->type |= type_dns;
	const message header = emit_message(ctx, data);
	if (header.question_count == 0)
		return 0;
	if (header.question_count != 1 || !header.is_standard) {
		emit<"             query count: %d, answer count %d\n">(ctx, header.question_count, header.answer_count);
		return 0;
	}
	const uint8_t *cursor = decode_question(ctx, data + dns_length);
	if (header.is_response && header.response_code == 0)
		for (uint32_t i = 0; i < header.answer_count && wire::in_packet(cursor); ++i)
			cursor = decode_answer(ctx, cursor);
	return static_cast<uint32_t>(cursor - data);
}

void print_fqdn(char *destination, uint32_t, const uint8_t *name)
{
	while (const uint8_t length = wire::read_u8(name++)) {
		for (uint8_t i = 0; i < length; ++i)
			*destination++ = static_cast<char>(wire::read_u8(name++));
		if (wire::read_u8(name))
			*destination++ = '.';
	}
}
