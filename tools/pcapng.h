// SPDX-License-Identifier: GPL-2.0-only
// Writes a pcapng file with any number of interfaces and a comment on each packet that wants one. Times are in nanoseconds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct pcapng_packet {
	uint32_t interface; // as add_interface counts them
	int64_t seconds;
	long nanoseconds;
	std::string_view data;         // what was captured
	uint32_t length;               // on the wire
	std::string_view comment = {}; // UTF-8, lines end with a newline; nothing: no comment
	uint64_t lost = 0;             // packets of the interface that are missing before this one
};

class pcapng_file {
public:
	// Where stop is a descriptor and readable (a request to end), the writer does not wait for a reader of the pipe that it
	// writes.
	explicit pcapng_file(int stop = -1) : stop_descriptor(stop) {}
	~pcapng_file();
	pcapng_file(const pcapng_file &) = delete;
	pcapng_file &operator=(const pcapng_file &) = delete;

	// Each is false, and error() says why, once the file cannot be written; a file that is full then ends with its last whole
	// block. Blocks are gathered: flush() where somebody may want to read them.
	bool open(const std::string &path); // "-" is standard output
	// The first interface has number 0. link_type as libpcap's DLT_ (EN10MB, RAW …) in files: 1 Ethernet, 101 raw IP.
	bool add_interface(uint16_t link_type, std::string_view name, std::string_view description);
	bool write(const pcapng_packet &packet);
	// What is known of an interface at the end.
	bool write_statistics(uint32_t interface, int64_t seconds, long nanoseconds, uint64_t received, uint64_t lost);
	bool flush();
	bool close();

	bool is_open() const { return descriptor >= 0; }
	// Bytes of all blocks so far.
	uint64_t size() const { return flushed + pending.size(); }
	// The system's error number; 0 when all is well.
	int error_number() const { return reason; }
	std::string error() const;

private:
	bool end_block(size_t start);

	std::string pending; // whole blocks
	uint64_t flushed = 0;
	int descriptor = -1;
	int stop_descriptor;
	int reason = 0;
};
