// SPDX-License-Identifier: GPL-2.0-only
// DHCPv6 (RFC 8415). Options 11 and 12 are numbered as this system numbers them: server-unicast and status-code.
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/app/app.h"

namespace {

inline constexpr uint32_t udp_length = 8;
inline constexpr uint32_t message_length = 4;
inline constexpr uint32_t option_header = 4;
inline constexpr uint32_t address_length = 16;

constexpr name_row<uint8_t> message_names[] = {
	{1, "solicit"}, {2, "advertise"}, {3, "request"},   {4, "confirm"},   {5, "renew"},      {6, "rebind"},       {7, "reply"},
	{8, "release"}, {9, "decline"},   {10, "reconfig"}, {11, "info-req"}, {12, "relay-fwd"}, {13, "relay-reply"},
};

constexpr name_row<uint16_t> duid_names[] = {
	{1, "llt"},
	{2, "en"},
	{3, "ll"},
};

constexpr name_row<uint16_t> requested_names[] = {
	{1, "client-id"}, {2, "server-id"}, {3, "ia-na"},    {4, "temp-ia"}, {7, "preference"},  {8, "elapsed"},
	{9, "relay-msg"}, {10, "auth"},     {11, "unicast"}, {12, "status"}, {23, "dns-server"}, {39, "client-fqdn"},
};

struct option_slot {
	uint16_t code;
	const uint8_t *dhcp6_options::*slot;
};
constexpr option_slot option_slots[] = {
	{1, &dhcp6_options::client_duid}, {2, &dhcp6_options::server_duid},  {3, &dhcp6_options::ia_na},
	{4, &dhcp6_options::ia_ta},       {5, &dhcp6_options::ia_addr},      {11, &dhcp6_options::server_addr},
	{6, &dhcp6_options::req_opts},    {7, &dhcp6_options::pref},         {8, &dhcp6_options::elapsed},
	{12, &dhcp6_options::status},     {23, &dhcp6_options::dns_servers}, {39, &dhcp6_options::client_fqdn},
};
inline constexpr uint16_t codes_indexed = 40;
constexpr row_index row_of_code = index_rows<codes_indexed>(option_slots);

uint32_t length_of(const uint8_t *option)
{
	return wire::read_u16(option + 2);
}

void emit_message(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<message_length> message(data);
	emit<"      #dhcpv6: message-type: %s (%d), xid %02x%02x%02x\n">(ctx, find_name(message_names, message[0], "unknown"),
									 message[0], text::octets<3>(message.at(1)));
}

// Emits the type of a DUID; where its Ethernet address stands, NULL when it has none.
template <text::literal F> const uint8_t *emit_duid_type(debug_pkt_ctx *ctx, const uint8_t *option)
{
	const uint8_t *const duid = option + option_header;
	const uint16_t type = wire::read_u16(duid), hardware_type = wire::read_u16(duid + 2);
	emit<F>(ctx, find_name(duid_names, type, "other"), type);
	if (hardware_type != 1)
		return nullptr;
	return type == 1 ? duid + 8 : type == 3 ? duid + 4 : nullptr;
}

void emit_duid(debug_pkt_ctx *ctx, const uint8_t *option)
{
	constexpr uint32_t most_bytes = 127;
	const uint32_t length = length_of(option);
	emit<"                      duid ">(ctx);
	for (uint32_t i = 0; i < length && i < most_bytes; ++i)
		emit<"%02x">(ctx, wire::read_u8(option + option_header + i));
	emit<"\n">(ctx);
}

// Both types, then the bytes of the later one; a server without an Ethernet address leaves the client's in place.
void emit_duids(debug_pkt_ctx *ctx, const uint8_t *client, const uint8_t *server)
{
	const uint8_t *link_address = nullptr;
	if (client)
		link_address = emit_duid_type<"      #dhcpv6-option: client-id duid type %s(%d)\n">(ctx, client);
	if (server)
		if (const uint8_t *address = emit_duid_type<"      #dhcpv6-option: server-id duid type %s(%d)\n">(ctx, server))
			link_address = address;
	if (!client && !server)
		return;
	emit_duid(ctx, server ? server : client);
	if (link_address)
		emit<"                      ll-addr %02x:%02x:%02x:%02x:%02x:%02x\n">(ctx, wire::header<6>(link_address).mac(0));
}

template <text::literal F> void emit_identity(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (option)
		emit<F>(ctx, text::octets<4>(wire::header<8>(option).at(4)));
}

template <text::literal F> void emit_address(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	const wire::header<address_length> address(option + option_header);
	emit<F>(ctx, address.ipv6(0));
	if (equals_filter_ip6(address.at(0)))
		ctx->match |= match_ipv6;
}

void emit_dns_servers(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	const uint8_t *const addresses = option + option_header;
	const uint32_t length = length_of(option);
	for (uint32_t i = 0; i < length && wire::in_packet(addresses + i); i += address_length) {
		const wire::header<address_length> address(addresses + i);
		if (i == 0)
			emit<"      #dhcpv6-option: dns %pI6\n">(ctx, address.ipv6(0));
		else
			emit<"                      dns %pI6\n">(ctx, address.ipv6(0));
	}
}

// The printable bytes of the name, at most 255; label lengths vanish and labels run together.
void emit_client_fqdn(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	constexpr uint32_t most_kept = 255;
	const uint8_t flags = wire::read_u8(option + option_header);
	const uint8_t *const name = option + option_header + 1;
	const uint32_t length = length_of(option);
	const uint32_t present = length ? wire::available(name, length - 1) : 0;
	char kept[most_kept];
	uint32_t n = 0;
	for (uint32_t i = 0; i < present && n < most_kept; ++i)
		if (name[i] >= 0x20 && name[i] <= 0x7e)
			kept[n++] = static_cast<char>(name[i]);
	emit<"      #dhcpv6-option: client-fqdn %s (flag %x)\n">(ctx, text::word(kept, n), flags);
}

void emit_status(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	constexpr uint32_t longest_message = 255;
	const uint32_t message = length_of(option) - 2; // wraps for a length below 2
	emit<"      #dhcpv6-option: status-code %d,%s\n">(
		ctx, wire::read_u16(option + option_header),
		wire::read_string(option + option_header + 2, message < longest_message ? message : longest_message));
}

// The list is gathered in 256 bytes, each entry with the room 255 - position; an odd length reads one byte more.
void emit_requested_options(debug_pkt_ctx *ctx, const uint8_t *option)
{
	if (!option)
		return;
	constexpr uint32_t last = 255;
	char list[last + 1];
	uint32_t position = 0;
	const uint8_t *const codes = option + option_header;
	const uint32_t length = length_of(option);
	for (uint32_t i = 0; i < length && wire::in_packet(codes + i); i += 2) {
		const uint16_t code = wire::read_u16(codes + i);
		position += text::format<"%s%s(%d)">(list + position, last - position, text::when<", ">(i != 0),
						     find_name(requested_names, code, "other"), code);
		if (position > last) {
			position = last;
			break;
		}
	}
	list[position] = 0;
	emit<"      #dhcpv6-option: req-opt %s\n">(ctx, text::word(list));
}

void emit_options(debug_pkt_ctx *ctx, const dhcp6_options &options)
{
	emit_duids(ctx, options.client_duid, options.server_duid);
	emit_identity<"      #dhcpv6-option: ia %02x%02x%02x%02x\n">(ctx, options.ia_na);
	emit_identity<"      #dhcpv6-option: temp-ia %02x%02x%02x%02x\n">(ctx, options.ia_ta);
	emit_address<"      #dhcpv6-option: ia-addr %pI6\n">(ctx, options.ia_addr);
	emit_address<"      #dhcpv6-option: server-addr %pI6\n">(ctx, options.server_addr);
	if (options.pref)
		emit<"      #dhcpv6-option: preference %d\n">(ctx, wire::read_u8(options.pref + option_header));
	if (options.elapsed)
		emit<"      #dhcpv6-option: elapsed-time %d ms\n">(
			ctx, static_cast<int32_t>(wire::read_u16(options.elapsed + option_header) * 10));
	emit_dns_servers(ctx, options.dns_servers);
	emit_client_fqdn(ctx, options.client_fqdn);
	emit_status(ctx, options.status);
	emit_requested_options(ctx, options.req_opts);
}

} // namespace

void dhcp6_parse(const uint8_t *udp, uint16_t, dhcp6_options *options)
{
	const uint32_t end = wire::read_u16(udp + 4);
	uint32_t pos = udp_length + message_length;
	while (pos < end && wire::in_packet(udp + pos)) {
		const uint8_t *const option = udp + pos;
		const uint16_t code = wire::read_u16(option);
		if (code == 0) {
			pos += 2;
			continue;
		}
		if (code < codes_indexed)
			if (const uint8_t row = row_of_code.rows[code]; row != no_row)
				options->*option_slots[row].slot = option;
		// What an IA holds is walked as if it stood at the top level.
		if (code == 3)
			pos += option_header + 12;
		else if (code == 4)
			pos += option_header + 4;
		else
			pos += option_header + length_of(option);
	}
}

uint32_t debug_pkt_dhcp6(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header)
{
	ctx->type |= type_dhcpv6;
	emit_message(ctx, data);
	dhcp6_options options = {};
	dhcp6_parse(udp_header, static_cast<uint16_t>(len + udp_length), &options);
	emit_options(ctx, options);
	return message_length;
}
