// SPDX-License-Identifier: GPL-2.0-only
#include "tools/capture_file.h"

#include <fmt/format.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

inline constexpr long nanoseconds_per_second = 1'000'000'000;

enum ethertype : uint32_t { ethertype_none = 0, ethertype_ipv4 = 0x0800, ethertype_ipv6 = 0x86dd };

constexpr int readable[] = {DLT_EN10MB, DLT_LINUX_SLL, DLT_LINUX_SLL2, DLT_RAW, DLT_IPV4, DLT_IPV6};

uint32_t ethertype_of_version(const captured_packet &packet)
{
	const int version = packet.len ? packet.data[0] >> 4 : 0;
	return version == 4 ? ethertype_ipv4 : version == 6 ? ethertype_ipv6 : ethertype_none;
}

// A cooked header names its payload's ethertype; a packet that is cut inside it has neither.
void skip_cooked_header(captured_packet &packet, uint32_t header_length, uint32_t ethertype_at)
{
	const bool whole = packet.len >= header_length;
	packet.ethertype =
		whole ? static_cast<uint32_t>(packet.data[ethertype_at] << 8 | packet.data[ethertype_at + 1]) : ethertype_none;
	const uint32_t skipped = whole ? header_length : packet.len;
	packet.data += skipped;
	packet.header_len = skipped;
	packet.len -= skipped;
}

void find_payload(captured_packet &packet)
{
	switch (packet.link_type) {
	case DLT_LINUX_SLL:
		skip_cooked_header(packet, 16, 14);
		break;
	case DLT_LINUX_SLL2:
		skip_cooked_header(packet, 20, 0);
		break;
	case DLT_RAW:
		packet.ethertype = ethertype_of_version(packet);
		break;
	case DLT_IPV4:
		packet.ethertype = ethertype_ipv4;
		break;
	case DLT_IPV6:
		packet.ethertype = ethertype_ipv6;
		break;
	}
}

// A broken file may claim more than a second of fraction, or less than none.
void carry_seconds(captured_packet &packet)
{
	packet.seconds += packet.nanoseconds / nanoseconds_per_second;
	packet.nanoseconds %= nanoseconds_per_second;
	if (packet.nanoseconds < 0) {
		packet.nanoseconds += nanoseconds_per_second;
		--packet.seconds;
	}
}

// Of a file that is no capture, what it may be instead.
std::string kind_of(const std::string &path)
{
	constexpr struct {
		const char *magic, *advice;
	} kinds[] = {
		{"\xfd"
		 "7zXZ",
		 "; it is compressed: xz -dc FILE | debug-pkt read -"},
		{"BZh", "; it is compressed: bzip2 -dc FILE | debug-pkt read -"},
		{"\x04\x22\x4d\x18", "; it is compressed: lz4 -dc FILE | debug-pkt read -"},
		{"PK\x03\x04", "; it is an archive: unzip it first"},
		{"\nUOL received", "; it is rendered text: debug-pkt view"},
		{"\nASFP received", "; it is rendered text: debug-pkt view"},
		{"\nASAP received", "; it is rendered text: debug-pkt view"},
	};
	std::string start(16, '\0');
	std::ifstream(path).read(start.data(), static_cast<std::streamsize>(start.size()));
	for (const auto &kind : kinds)
		if (start.starts_with(kind.magic))
			return kind.advice;
	return "";
}

} // namespace

bool is_readable_link_type(int link_type)
{
	return std::find(std::begin(readable), std::end(readable), link_type) != std::end(readable);
}

std::string link_type_name(int link_type)
{
	const char *const name = pcap_datalink_val_to_name(link_type);
	if (!name)
		return std::to_string(link_type);
	return fmt::format("{} ({})", name, pcap_datalink_val_to_description(link_type));
}

std::string readable_link_types()
{
	std::string names;
	for (const int link_type : readable)
		names += (names.empty() ? "" : ", ") + link_type_name(link_type);
	return names;
}

captured_packet packet_of(int link_type, const pcap_pkthdr &header, const uint8_t *data)
{
	captured_packet packet = {.data = data,
				  .len = header.caplen,
				  .wire_len = header.len,
				  .seconds = header.ts.tv_sec,
				  .nanoseconds = header.ts.tv_usec,
				  .level = link_type != DLT_EN10MB,
				  .ethertype = ethertype_none,
				  .header_len = 0,
				  .link_type = link_type};
	if (packet.nanoseconds < 0 || packet.nanoseconds >= nanoseconds_per_second)
		carry_seconds(packet);
	if (packet.level != 0)
		find_payload(packet);
	return packet;
}

capture_file::capture_file(const std::string &path, int stop) : input(stop), handle(nullptr, pcap_close)
{
	FILE *const stream = input.open(path.c_str());
	if (!stream) {
		reason = std::strerror(errno);
		return;
	}
	char what[PCAP_ERRBUF_SIZE];
	handle.reset(pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, what));
	if (!handle) {
		reason = input.error().empty() ? what : input.error();
		if (input.can_seek())
			reason += kind_of(path);
		std::fclose(stream);
		return;
	}
	offset = ftello(stream);
	link_type = pcap_datalink(handle.get());
	if (!is_readable_link_type(link_type))
		reason = fmt::format("link type {} cannot be read, only {}", link_type_name(link_type), readable_link_types());
}

capture_file::~capture_file() = default;

struct capture_file::reading {
	capture_file *file;
	take_function take;
	void *context;
	bool goes_on = true;
};

void capture_file::take_packet(u_char *context, const pcap_pkthdr *header, const u_char *data)
{
	reading &now = *reinterpret_cast<reading *>(context);
	capture_file &file = *now.file;
	++file.packets_read;
	if (!file.input.can_seek())
		file.offset = ftello(pcap_file(file.handle.get()));
	now.goes_on = now.take(now.context, packet_of(file.link_type, *header, data));
	if (!now.goes_on)
		pcap_breakloop(file.handle.get());
}

bool capture_file::read_with(take_function take, void *context)
{
	reading now = {this, take, context};
	int result;
	do // libpcap may break at the beginning, as it was told to at the end of the last call
		result = pcap_dispatch(handle.get(), -1, take_packet, reinterpret_cast<u_char *>(&now));
	while (now.goes_on && (result > 0 || result == PCAP_ERROR_BREAK));
	if (result == PCAP_ERROR)
		fail_here(pcap_geterr(handle.get()));
	return !now.goes_on;
}

// A file's position costs a system call: it is not asked for at every packet, the packets are read again instead.
void capture_file::find_offset()
{
	FILE *const stream = pcap_file(handle.get());
	fseeko(stream, offset, SEEK_SET);
	pcap_pkthdr *header;
	const u_char *data;
	for (uint64_t i = 0; i < packets_read; ++i)
		pcap_next_ex(handle.get(), &header, &data);
	offset = ftello(stream);
}

void capture_file::fail_here(const char *what)
{
	reason = input.error().empty() ? what : input.error();
	if (input.can_seek())
		find_offset();
	reason += fmt::format(" (packet {}, offset {}{})", packets_read + 1, offset, input.packed() ? " of the unpacked data" : "");
}
