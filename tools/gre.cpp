// SPDX-License-Identifier: GPL-2.0-only
#include "tools/gre.h"

namespace {

enum gre_flag : uint32_t { has_checksum = 0x8000, has_routing = 0x4000, has_key = 0x2000, has_sequence = 0x1000, version = 0x0007 };
enum gre_protocol : uint32_t { transparent_ethernet = 0x6558, erspan = 0x88be };
inline constexpr size_t erspan_header_length = 8;
inline constexpr uint32_t erspan_type_2 = 1; // the version in its header
inline constexpr char protocol_gre = 47, ipv6_fragment_header = 44;

uint32_t u8(std::string_view bytes, size_t at)
{
	return static_cast<uint8_t>(bytes[at]);
}

uint32_t u16(std::string_view bytes, size_t at)
{
	return u8(bytes, at) << 8 | u8(bytes, at + 1);
}

uint32_t u32(std::string_view bytes, size_t at)
{
	return u16(bytes, at) << 16 | u16(bytes, at + 2);
}

// The Internet checksum of bytes that hold their own is 0.
bool sums_up(std::string_view bytes)
{
	uint32_t sum = bytes.size() % 2 ? u8(bytes, bytes.size() - 1) << 8 : 0;
	for (size_t at = 0; at + 1 < bytes.size(); at += 2)
		sum += u16(bytes, at);
	while (sum >> 16)
		sum = (sum & 0xffff) + (sum >> 16);
	return sum == 0xffff;
}

} // namespace

gre_result read_gre(std::string_view bytes, gre_datagram &datagram)
{
	datagram = {};
	if (bytes.size() < 4)
		return gre_result::damaged;
	const uint32_t flags = u16(bytes, 0);
	const uint32_t protocol = u16(bytes, 2);
	if ((flags & (has_routing | version)) != 0 || (protocol != transparent_ethernet && protocol != erspan))
		return gre_result::other;
	const size_t key_at = flags & has_checksum ? 8 : 4;
	const size_t sequence_at = key_at + (flags & has_key ? 4 : 0);
	size_t end = sequence_at + (flags & has_sequence ? 4 : 0);
	if (bytes.size() < end)
		return gre_result::damaged;
	if ((flags & has_checksum) && !sums_up(bytes))
		return gre_result::wrong_checksum;
	datagram.stream.protocol = static_cast<uint16_t>(protocol);
	if (flags & has_key)
		datagram.stream.key = u32(bytes, key_at);
	if (flags & has_sequence)
		datagram.sequence = u32(bytes, sequence_at);
	// Type I has neither a sequence number nor a header of its own.
	if (protocol == erspan && (flags & has_sequence)) {
		if (bytes.size() < end + erspan_header_length)
			return gre_result::damaged;
		if (u8(bytes, end) >> 4 != erspan_type_2)
			return gre_result::other;
		datagram.stream.session = u16(bytes, end + 2) & 0x3ff;
		end += erspan_header_length;
	}
	datagram.frame = bytes.substr(end);
	return gre_result::frame;
}

bool holds_gre_between(std::string_view frame, std::string_view source, std::string_view destination)
{
	constexpr size_t tag_length = 4, ipv4_length = 20, ipv6_length = 40;
	constexpr uint32_t vlan = 0x8100, service_vlan = 0x88a8, ipv4 = 0x0800, ipv6 = 0x86dd;
	size_t type_at = 12;
	while (frame.size() >= type_at + 2 && (u16(frame, type_at) == vlan || u16(frame, type_at) == service_vlan))
		type_at += tag_length;
	if (frame.size() < type_at + 2)
		return false;
	const std::string_view packet = frame.substr(type_at + 2);
	if (u16(frame, type_at) == ipv4)
		return packet.size() >= ipv4_length && packet[9] == protocol_gre && packet.substr(12, 4) == source &&
		       packet.substr(16, 4) == destination;
	if (u16(frame, type_at) != ipv6 || packet.size() < ipv6_length)
		return false;
	const char next = packet[6] == ipv6_fragment_header && packet.size() > ipv6_length ? packet[ipv6_length] : packet[6];
	return next == protocol_gre && packet.substr(8, 16) == source && packet.substr(24, 16) == destination;
}
