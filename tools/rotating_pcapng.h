// SPDX-License-Identifier: GPL-2.0-only
// A pcapng file with an interface for each source of packets, or a row of such files that end at a size or an age.
#pragma once

#include "tools/pcapng.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct rotation {
	uint64_t bytes = 0; // a file ends once it has that many; 0: never
	long seconds = 0;   // and when its first packet is that old; 0: never
	bool wanted() const { return bytes || seconds; }
};

class rotating_pcapng {
public:
	// Files of a row are named after the path with the time (UTC) and a number before its last dot. stop: as pcapng_file's.
	rotating_pcapng(const std::string &path, const rotation &limits, int stop);
	~rotating_pcapng();
	rotating_pcapng(const rotating_pcapng &) = delete;
	rotating_pcapng &operator=(const rotating_pcapng &) = delete;

	size_t add_source(const std::string &name);

	// Each is false, and error() says which file and why, once one cannot be written.
	bool open();
	// The packet's interface is the source's; missing: of all the source's packets so far.
	bool write(size_t source, pcapng_packet packet, uint64_t missing);
	bool flush();
	bool close();
	const std::string &error() const { return reason; }
	// 0 when all is well; a reader that has gone is EPIPE, one that sleeps ECANCELED.
	int error_number() const { return file.error_number(); }

	// Readable when the file is old enough: end_file() then. -1 when age is no matter.
	int timer() const { return age_timer; }
	bool end_file();

private:
	struct source {
		std::string name;
		std::optional<uint32_t> number; // in the file that is open
		uint64_t received = 0, missing = 0;
		int64_t seconds = 0;
		long nanoseconds = 0;
	};
	std::string next_name();
	void start_timer(long seconds) const;
	bool check(bool worked);

	std::string path, name;
	rotation limits;
	pcapng_file file;
	std::vector<source> sources;
	uint32_t interfaces = 0; // in the file
	uint64_t packets = 0;    // in the file
	unsigned files = 0;
	int age_timer = -1;
	std::string reason;
};
