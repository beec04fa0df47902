// SPDX-License-Identifier: GPL-2.0-only
// AP messages: control messages of access points and controllers of the appliance family, ethertype 0x8ffd.
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/link/link.h"

namespace {

inline constexpr uint32_t apmsg_consumed = 64;
inline constexpr uint16_t apmsg_magic = 0xc2c9;

enum subtype : uint8_t {
	session_request = 0,
	session_response = 1,
	master_beacon = 3,
	hierarchy_beacon = 4,
	hierarchy_to_master = 5,
	foreign_session_response = 6,
	beacon_request = 7,
	dns_ip_map = 9,
};

constexpr name_row<uint8_t> hierarchy_names[] = {
	{master_beacon, "master beacon"},
	{hierarchy_beacon, "hierarchy beacon"},
	{hierarchy_to_master, "hierarchy msg to master"},
};

constexpr name_row<uint8_t> state_names[] = {
	{0, "initial"},
	{1, "slave"},
	{2, "pot-master"},
	{3, "master"},
};

// A string may run on to the end of the packet.
text::word string_at(const uint8_t *p)
{
	return wire::read_string(p, text_full);
}

void match_client(debug_pkt_ctx *ctx, const uint8_t *mac)
{
	ctx->type |= type_mobility;
	if (equals_filter_mac(mac))
		ctx->match |= match_mac;
}

void decode_session_request(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<64> request(data);
	match_client(ctx, request.at(50));
	emit<"    #session request: mac %02x:%02x:%02x:%02x:%02x:%02x, ap ip %d.%d.%d.%d">(ctx, request.mac(50), request.ipv4(60));
	const text::word user = string_at(data + 97);
	if (user.length)
		emit<" username %s\n">(ctx, user);
	else
		emit<"\n">(ctx);
}

void emit_session(debug_pkt_ctx *ctx, const uint8_t *record, uint16_t number)
{
	const wire::header<60> session(record);
	const uint16_t sport = session.u16(0), dport = session.u16(2), nport = session.u16(16);
	const uint8_t proto = session[4];
	if (session[18]) {
		emit<"      #session %03d: sip %pI6, dip %pI6\n">(ctx, number, session.ipv6(20), session.ipv6(36));
		emit<"                    proto %d, sport %d, dport %d, flags %x/%x/%x\n">(ctx, proto, sport, dport, session.u32(8),
											   session.u32(52), session[19]);
	} else {
		emit<"      #session %03d: sip %d.%d.%d.%d, dip %d.%d.%d.%d, nip %d.%d.%d.%d\n">(
			ctx, number, session.ipv4(20), session.ipv4(24), session.ipv4(28));
		emit<"                    proto %d, sport %d, dport %d, nport %d, flags %x/%x/%x\n">(
			ctx, proto, sport, dport, nport, session.u32(8), session.u32(52), session[19]);
	}
}

void decode_session_response(debug_pkt_ctx *ctx, const uint8_t *data)
{
	constexpr uint32_t fixed_length = 213, session_length = 60, entry_length = 16, address_length = 4;
	const wire::header<fixed_length> response(data);
	match_client(ctx, response.at(50));
	if (equals_filter_ip(response.at(56)))
		ctx->match |= match_ip;
	const uint8_t group_count = response[186], entry_count = response[187], session_count = response[210];
	const uint8_t *const sessions = data + fixed_length;
	const uint8_t *const groups = sessions + session_count * session_length;
	const text::word user = string_at(groups + entry_count * entry_length + group_count * address_length);

	emit<"    #session resp: mac %02x:%02x:%02x:%02x:%02x:%02x, ip %d.%d.%d.%d\n">(ctx, response.mac(50), response.ipv4(56));
	emit<"                   acl %d, aclname %s, vlan %d, ssid %s\n">(ctx, response.u16(72), string_at(data + 74),
									  response.u16(138), string_at(data + 141));
	emit<"                   dhcp ip %d.%d.%d.%d\n">(ctx, response.ipv4(178));
	emit<"                   dhcp ipv6 %pI6\n">(ctx, response.ipv6(194));
	emit<"                   ap ip %d.%d.%d.%d\n">(ctx, response.ipv4(182));
	emit<"                   sessions %d mcast groups %d\n">(ctx, session_count, group_count);
	if (user.length)
		emit<"                   username %s\n">(ctx, user);

	for (uint16_t i = 0; i < session_count; ++i) {
		const uint8_t *const record = sessions + i * session_length;
		if (!wire::in_packet(record))
			break;
		emit_session(ctx, record, static_cast<uint16_t>(i + 1));
	}
	for (uint16_t i = 0; i < group_count; ++i) {
		const uint8_t *const group = groups + i * address_length;
		if (!wire::in_packet(group))
			break;
		const wire::header<address_length> address(group);
		emit<"      #mcast group %d: ip %d.%d.%d.%d\n">(ctx, static_cast<uint16_t>(i + 1), address.ipv4(0));
	}
}

// The VLAN is printed as the little-endian target stores it, on any host.
void decode_foreign_session_response(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<66> response(data);
	match_client(ctx, response.at(50));
	const uint16_t vlan = static_cast<uint16_t>(response[57] << 8 | response[56]);
	emit<"    #foreign session resp: mac %02x:%02x:%02x:%02x:%02x:%02x, vlan %d, ssid %s, hap ip %d.%d.%d.%d, vc ip "
	     "%d.%d.%d.%d\n">(ctx, response.mac(50), vlan, string_at(data + 66), response.ipv4(58), response.ipv4(62));
}

// The uptime is printed as the little-endian target reads it, on any host.
void decode_hierarchy(debug_pkt_ctx *ctx, const uint8_t *data, uint8_t kind)
{
	const wire::header<59> hierarchy(data);
	ctx->type |= type_ap_hierarchy;
	emit<"    #%s: state %s/%d, uptime %u, ap ip %d.%d.%d.%d\n">(ctx, find_name(hierarchy_names, kind, "beacon request"),
								     find_name(state_names, hierarchy[50], "other"), hierarchy[50],
								     __builtin_bswap32(hierarchy.u32(51)), hierarchy.ipv4(55));
}

// Length-prefixed labels joined by ".", at most 63 characters; a byte that does not fit is dropped, and a full name read no
// further.
text::word join_labels(const uint8_t *label, char (&name)[64])
{
	constexpr uint32_t longest = sizeof name - 1;
	uint32_t length = 0;
	for (uint8_t left; length < longest && (left = wire::read_u8(label)) != 0;) {
		if (length)
			name[length++] = '.';
		for (++label; left && length < longest; --left, ++label)
			name[length++] = static_cast<char>(wire::read_u8(label));
	}
	name[length] = 0;
	return name;
}

void decode_dns_ip_map(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<54> map(data);
	ctx->type |= type_mobility;
	const uint16_t old_count = map.u16(50), new_count = map.u16(52);
	emit<"    #dns ip map: dns domain count %d, %s format\n">(ctx, old_count ? old_count : new_count,
								  text::choice<"old", "new">(old_count != 0));
	if (old_count)
		return;
	const uint8_t *entry = data + 54;
	for (uint32_t i = 0; i < new_count && wire::in_packet(entry); ++i) {
		char name[64];
		const uint8_t ipv4_count = wire::read_u8(entry + 256), ipv6_count = wire::read_u8(entry + 257);
		emit<"      #dns domain name %s ipv4/v6 count %d,%d\n">(ctx, join_labels(entry, name), ipv4_count, ipv6_count);
		entry += 260;
		for (uint32_t j = 0; j < ipv4_count && wire::in_packet(entry); ++j, entry += 4)
			emit<"                 ip %d.%d.%d.%d\n">(ctx, wire::header<4>(entry).ipv4(0));
		for (uint32_t j = 0; j < ipv6_count && wire::in_packet(entry); ++j, entry += 16)
			emit<"                 ipv6 %pI6\n">(ctx, wire::header<16>(entry).ipv6(0));
	}
}

} // namespace

uint32_t debug_pkt_apmsg(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t)
{
	const wire::header<49> message(data);
	ctx->type |= type_apmsg;
	const uint16_t magic = message.u16(0);
	if (magic != apmsg_magic) {
		static_assert(text::longest_line<"  #apmsg: magic 0x%04x, unsupported magic\n", uint16_t> == 42);
		emit<"  #apmsg: magic 0x%04x, unsupported magic\n">(ctx, magic);
		return 0;
	}
	const uint8_t kind = message[48];
	emit<"  #apmsg: magic 0x%04x, version %d, subtype %d\n">(ctx, magic, message[3], kind);
	switch (kind) {
	case session_request:
		decode_session_request(ctx, data);
		break;
	case session_response:
		decode_session_response(ctx, data);
		break;
	case master_beacon:
	case hierarchy_beacon:
	case hierarchy_to_master:
	case beacon_request:
		decode_hierarchy(ctx, data, kind);
		break;
	case foreign_session_response:
		decode_foreign_session_response(ctx, data);
		break;
	case dns_ip_map:
		decode_dns_ip_map(ctx, data);
		break;
	}
	return apmsg_consumed;
}
