// SPDX-License-Identifier: GPL-2.0-only
// A pcap file (link type raw IP, nanoseconds) of the datagrams that would have gone to the collector.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct pcap;
struct pcap_dumper;

class mirror_file {
public:
	// Where stop is a descriptor and readable (a request to end), a reader of a pipe is not waited for.
	explicit mirror_file(int stop);
	~mirror_file();
	mirror_file(const mirror_file &) = delete;
	mirror_file &operator=(const mirror_file &) = delete;

	// Each is false, and error() says why, when the file cannot be written.
	bool open(const std::string &path);
	bool write(const uint8_t *datagram, uint32_t length, int64_t seconds, long nanoseconds);
	bool close();
	bool is_open() const { return dumper != nullptr; }
	const std::string &error() const { return reason; }

private:
	static ssize_t write_out(void *file, const char *bytes, size_t size);
	static int close_file(void *file);
	bool fail();

	int descriptor = -1, stop_descriptor;
	int error_number = 0; // of the first bytes that could not be written
	std::vector<char> stream_buffer;
	std::unique_ptr<pcap, void (*)(pcap *)> format;
	pcap_dumper *dumper = nullptr;
	std::string reason;
};
