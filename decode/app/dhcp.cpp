// SPDX-License-Identifier: GPL-2.0-only
// DHCPv4 (RFC 2131, RFC 2132) and its relay agent option (RFC 3046).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/app/app.h"

namespace {

inline constexpr uint32_t udp_length = 8;
inline constexpr uint32_t bootp_length = 240; // fixed part and magic cookie
inline constexpr uint8_t pad_option = 0, end_option = 255;

constexpr name_row<uint8_t> op_names[] = {
	{1, "request"},
	{2, "reply"},
};

constexpr name_row<uint8_t> message_type_names[] = {
	{1, "discover"}, {2, "offer"}, {3, "request"}, {4, "decline"}, {5, "ack"}, {6, "nack"}, {7, "release"}, {8, "inform"},
};

struct option_slot {
	uint8_t code;
	const uint8_t *dhcp_options::*slot;
};
constexpr option_slot option_slots[] = {
	{1, &dhcp_options::netmask},       {3, &dhcp_options::router},        {6, &dhcp_options::dns_server},
	{15, &dhcp_options::domain_name},  {50, &dhcp_options::requested_ip}, {53, &dhcp_options::msg_type},
	{54, &dhcp_options::server_id},    {62, &dhcp_options::opt62},        {82, &dhcp_options::relay_agent},
	{254, &dhcp_options::vendor_vlan}, {12, &dhcp_options::host_name},    {55, &dhcp_options::param_req},
	{60, &dhcp_options::vendor_class},
};
constexpr row_index row_of_code = index_rows<256>(option_slots);

bool is_zero(const uint8_t *p, uint32_t size)
{
	for (uint32_t i = 0; i < size; ++i)
		if (p[i])
			return false;
	return true;
}

template <text::literal F> void emit_address_if_set(debug_pkt_ctx *ctx, const uint8_t *address)
{
	if (!is_zero(address, 4))
		emit<F>(ctx, text::octets<4>(address));
}

void match_fixed_part(debug_pkt_ctx *ctx, const wire::header<bootp_length> &bootp)
{
	if (equals_filter_ip(bootp.at(12)) || equals_filter_ip(bootp.at(16)) || equals_filter_ip(bootp.at(20)) ||
	    equals_filter_ip(bootp.at(24)))
		ctx->match |= match_ip;
	if (equals_filter_mac(bootp.at(28)))
		ctx->match |= match_mac;
}

void emit_fixed_part(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<bootp_length> bootp(data);
	match_fixed_part(ctx, bootp);
	emit<"      #dhcp: message-type: %s\n">(ctx, find_name(op_names, bootp[0], "unknown"));
	emit<"             hardware type: %d, len: %d, hops: %d\n">(ctx, bootp[1], bootp[2], bootp[3]);
	emit<"             txn id: 0x%08x, seconds elapsed: %d\n">(ctx, bootp.u32(4), bootp.u16(8));
	if (bootp.u16(10))
		emit<"             boot flags: 0x%04x\n">(ctx, bootp.u16(10));
	emit_address_if_set<"             client ip: %d.%d.%d.%d\n">(ctx, bootp.at(12));
	emit_address_if_set<"             your ip: %d.%d.%d.%d\n">(ctx, bootp.at(16));
	emit_address_if_set<"             next server ip: %d.%d.%d.%d\n">(ctx, bootp.at(20));
	emit_address_if_set<"             relay agent ip: %d.%d.%d.%d\n">(ctx, bootp.at(24));
	if (!is_zero(bootp.at(28), 6))
		emit<"             client mac: %02x:%02x:%02x:%02x:%02x:%02x\n">(ctx, bootp.mac(28));
	// Printed in place: a name that fills its field runs on into what follows.
	if (bootp[44])
		emit<"             server host name: %s\n">(ctx, wire::read_string(data + 44, text_full));
	if (bootp[108])
		emit<"             boot file name: %s\n">(ctx, wire::read_string(data + 108, text_full));
	emit<"             magic cookie: 0x%02x%02x%02x%02x\n">(ctx, text::octets<4>(bootp.at(236)));
}

template <text::literal F> void emit_address(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (option)
		emit<F>(ctx, wire::header<6>(option).ipv4(2));
}

template <text::literal F> void emit_text(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (option)
		emit<F>(ctx, wire::read_string(option + 2, wire::read_u8(option + 1)));
}

// A length that is no multiple of 4 shows one more address, whose bytes lie behind the option.
void emit_dns_servers(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	const uint8_t length = wire::read_u8(option + 1);
	const uint8_t *const addresses = option + 2;
	if (length == 0 || !wire::in_packet(addresses))
		return;
	emit<"      #dhcp-option: dns-server: %d.%d.%d.%d">(ctx, wire::header<4>(addresses).ipv4(0));
	for (uint32_t i = 4; i < length && wire::in_packet(addresses + i); i += 4)
		emit<",%d.%d.%d.%d">(ctx, wire::header<4>(addresses + i).ipv4(0));
	emit<"\n">(ctx);
}

// A sub-option that is longer than what is left is stepped into, and one that has only its header left is not shown.
void emit_relay_agent(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	uint8_t left = wire::read_u8(option + 1);
	const uint8_t *p = option + 2;
	while (left > 2 && wire::in_packet(p)) {
		left = static_cast<uint8_t>(left - 2);
		const uint8_t type = wire::read_u8(p), length = wire::read_u8(p + 1);
		p += 2;
		if (length > left)
			continue;
		const text::word value = wire::read_string(p, length);
		if (type == 1)
			emit<"      #dhcp-option: option-82: Agent Circuit ID: %s\n">(ctx, value);
		else if (type == 2)
			emit<"      #dhcp-option: option-82: Agent Remote  ID: %s\n">(ctx, value);
		else
			emit<"      #dhcp-option: option-82: Type %d, Value: %s\n">(ctx, type, value);
		left = static_cast<uint8_t>(left - length);
		p += length;
	}
}

void emit_options(debug_pkt_ctx *ctx, const dhcp_options &options)
{
	emit_address<"      #dhcp-option: netmask: %d.%d.%d.%d\n">(ctx, options.netmask);
	emit_address<"      #dhcp-option: router: %d.%d.%d.%d\n">(ctx, options.router);
	emit_dns_servers(ctx, options.dns_server);
	emit_text<"      #dhcp-option: dns-name: %s\n">(ctx, options.domain_name);
	emit_address<"      #dhcp-option: requested-ip: %d.%d.%d.%d\n">(ctx, options.requested_ip);
	if (options.msg_type)
		emit<"      #dhcp-option: message-type: %s\n">(
			ctx, find_name(message_type_names, wire::read_u8(options.msg_type + 2), "unknown"));
	emit_address<"      #dhcp-option: dhcp-server: %d.%d.%d.%d\n">(ctx, options.server_id);
	emit_relay_agent(ctx, options.relay_agent);
	if (options.vendor_vlan)
		emit<"      #dhcp-option: telvo-vlan: %d\n">(ctx, wire::read_u16(options.vendor_vlan + 2));
	emit_text<"      #dhcp-option: Host Name: %s\n">(ctx, options.host_name);
	emit_text<"      #dhcp-option: Vendor Class ID: %s\n">(ctx, options.vendor_class);
}

} // namespace

void dhcp_parse(const uint8_t *udp, uint16_t length, dhcp_options *options)
{
	const uint8_t op = wire::read_u8(udp + udp_length);
	if (op != 1 && op != 2)
		return;
	// A length below the fixed part's wraps to a bound far behind it; the end option or the packet's end stops the walk then.
	const uint8_t *const start = udp + udp_length + bootp_length;
	const uint32_t end = static_cast<uint16_t>(length - (udp_length + bootp_length));
	for (uint32_t pos = 0; pos < end && wire::in_packet(start + pos);) {
		const uint8_t *const option = start + pos;
		const uint8_t code = *option;
		if (code == end_option)
			return;
		if (code == pad_option) {
			++pos;
			continue;
		}
		pos += 2u + wire::read_u8(option + 1);
		if (pos > end)
			return;
		if (const uint8_t row = row_of_code.rows[code]; row != no_row)
			options->*option_slots[row].slot = option;
	}
}

uint32_t debug_pkt_dhcp(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header)
{
	ctx->type |= type_dhcp;
	emit_fixed_part(ctx, data);
	dhcp_options options = {};
	dhcp_parse(udp_header, static_cast<uint16_t>(len + udp_length), &options);
	emit_options(ctx, options);
	return bootp_length;
}
