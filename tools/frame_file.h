// SPDX-License-Identifier: GPL-2.0-only
// A pcapng file of frames, each with its rendered text as its comment.
#pragma once

#include "tools/pcapng.h"
#include "tools/text_record.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

struct viewed_frame {
	std::string_view source; // file or interface
	int link_type;           // as libpcap has it
	std::string_view data;   // as captured, with its link header
	uint32_t length;         // on the wire
	int64_t seconds;
	long nanoseconds;
};

class frame_file {
public:
	// Where stop is a descriptor and readable (a request to end), a reader that does not read is not waited for.
	explicit frame_file(int stop = -1) : file(stop) {}
	// Each is false, and error() says why, when the file cannot be written.
	bool open(const std::string &path) { return file.open(path); }
	bool write(const viewed_frame &frame, std::string_view comment);
	bool flush() { return file.flush(); }
	bool close() { return file.close(); }
	bool is_open() const { return file.is_open(); }
	int error_number() const { return file.error_number(); }
	std::string error() const { return file.error_number() ? file.error() : ""; }

private:
	pcapng_file file;
	std::map<std::pair<std::string, int>, uint32_t, std::less<>> interfaces; // by source and link type
};

// What the comment says of one call, its text included.
std::string frame_comment(const text_record &record);
