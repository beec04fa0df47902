// SPDX-License-Identifier: GPL-2.0-only
// A second, slow reading of what settings lines do and how they print, to compare the core with.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace fuzz {

struct settings {
	std::array<uint8_t, 4> mirror, ip; // in network order
	std::string dev;
	std::array<uint8_t, 6> mac;
	std::array<uint8_t, 16> ip6;
	int32_t vlan, proto, port;
	uint32_t match, type;
	int32_t limit, count;
	uint32_t mod;

	bool operator==(const settings &) const = default;
};

// What the core's variables hold.
settings current_settings();
// What they hold after the line was written.
settings after_line(settings before, const std::string &line);
// The line that reading gives.
std::string line_of(const settings &shown);
// A line that sets exactly these; the device name has no blanks and is not empty.
std::string line_for(const settings &wanted);
// Scans a number; false and value as it was when there is none.
bool scan_number_slowly(const std::string &text, size_t &at, int32_t &value);

} // namespace fuzz
