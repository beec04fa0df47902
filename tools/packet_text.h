// SPDX-License-Identifier: GPL-2.0-only
// Finds the packets in the module's text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <regex.h>
#include <string>
#include <string_view>

// Where a packet's text begins at or behind from: the empty line before "… received packet from …". npos when none does.
size_t find_packet(std::string_view text, size_t from = 0);
// The CPU that the first of those lines names; 0 when it names none.
unsigned packet_cpu(std::string_view packet);

// Lets whole packets through: one whose text matches, with all its later checkpoints. A packet is shown when its first line that
// matches has come.
class packet_grep {
public:
	packet_grep();
	~packet_grep();
	packet_grep(const packet_grep &) = delete;
	packet_grep &operator=(const packet_grep &) = delete;

	// An extended regular expression, looked for in each line. The reason why it is none, or "".
	std::string compile(const std::string &pattern);
	// Adds to shown what is to be shown of a message's text. What stands before its first packet belongs to the last packet of
	// the CPU that the message comes from: it is the CPU of that first packet, or where there is none, that of the message
	// before.
	void take(std::string_view text, std::string &shown);
	uint64_t packets() const { return packets_shown; }

private:
	struct packet {
		std::string held; // not shown yet
		bool matches = false;
	};
	void add(packet &which, std::string_view piece, std::string &shown);

	regex_t expression = {};
	bool compiled = false;
	std::map<unsigned, packet> last; // of each CPU
	unsigned current_cpu = 0;
	uint64_t packets_shown = 0;
};
