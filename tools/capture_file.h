// SPDX-License-Identifier: GPL-2.0-only
// A capture file, pcap or pcapng, compressed or not, read packet by packet.
#pragma once

#include "tools/input_stream.h"

#include <cstdint>
#include <memory>
#include <string>

struct pcap;
struct pcap_pkthdr;

struct captured_packet {
	const uint8_t *data;
	uint32_t len;      // captured bytes
	uint32_t wire_len; // with the header that the capture added
	int64_t seconds;
	long nanoseconds; // 0 to 999,999,999
	// As debug_pkt_dump takes them: 0 and 0, an Ethernet frame; 1 and the ethertype whose payload data is.
	uint32_t level, ethertype;
	uint32_t header_len; // bytes before data, of that header
	int link_type;
};

// Whether packets of a libpcap link type can be handed to the capture.
bool is_readable_link_type(int link_type);
std::string link_type_name(int link_type);
std::string readable_link_types();
// Makes it of what libpcap gives. A packet that is no Ethernet frame loses the header that the capture added.
captured_packet packet_of(int link_type, const pcap_pkthdr &header, const uint8_t *data);

class capture_file {
public:
	// "-" is standard input. Look at error() before the first packet. Once stop is readable, a pipe is not waited for.
	explicit capture_file(const std::string &path, int stop = -1);
	~capture_file();
	capture_file(const capture_file &) = delete;
	capture_file &operator=(const capture_file &) = delete;

	// Hands one packet after the other, valid during the call, to take, until it returns false for enough; false at the end and
	// where the file is damaged. (libpcap is asked once for many: each asking takes it 20 ns.)
	template <class Take> bool read(Take take)
	{
		return read_with(
			[](void *context, const captured_packet &packet) { return (*static_cast<Take *>(context))(packet); },
			&take);
	}
	uint64_t packets() const { return packets_read; }
	// What is wrong with the file, and where; empty when nothing is.
	const std::string &error() const { return reason; }
	// What is done before a pipe that gives nothing now is waited for.
	void set_pastime(std::function<void()> what) { input.set_pastime(std::move(what)); }
	uint64_t file_size() const { return input.file_size(); }
	uint64_t file_position() const { return input.file_position(); }

private:
	using take_function = bool (*)(void *context, const captured_packet &packet);
	struct reading;

	bool read_with(take_function take, void *context);
	static void take_packet(unsigned char *context, const pcap_pkthdr *header, const unsigned char *data);
	void fail_here(const char *what);
	void find_offset();

	input_stream input;
	std::unique_ptr<pcap, void (*)(pcap *)> handle;
	long long offset = 0; // behind the last packet; of a file that can seek, behind what comes before the first
	int link_type = 0;
	uint64_t packets_read = 0;
	std::string reason;
};
