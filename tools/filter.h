// SPDX-License-Identifier: GPL-2.0-only
// Between what an operator says (names, addresses in any form) and the settings line that the module reads. Pure text and
// numbers: nothing here touches the module.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

inline constexpr uint32_t all_types = 0xffffffff; // also passes packets without any type

// The fields of a settings line; a criterion whose match bit is off has a value that nobody looks at.
struct filter_settings {
	std::array<uint8_t, 4> mirror{}, ip{};
	std::string dev = "all";
	std::array<uint8_t, 6> mac{};
	std::array<uint8_t, 16> ip6{};
	int32_t vlan = 0, proto = 0, port = 0;
	uint32_t match = 0, type = all_types;
	int32_t limit = 0;
	std::optional<uint32_t> mode; // left out: the module keeps its own

	bool operator==(const filter_settings &) const = default;
};

// An option of "debug-pkt set" without its dashes, and its text.
using filter_words = std::map<std::string, std::string>;

struct filter_option {
	const char *name, *value, *help;
};
extern const std::array<filter_option, 11> filter_options; // in the order of command_line()

// The note of read_settings() for who has no use for the mode, and for who says it otherwise.
inline constexpr char mode_not_shown[] = "the line does not show the mode";

// The following two give the reason why the text cannot be taken, or "".
std::string read_filter(const filter_words &words, filter_settings &settings);
// A line as it is written to debug_pkt_params, read as the module reads it, or as reading that entry gives it. Notes say what
// was read differently from how it looks, and what the line does not show.
std::string read_settings(const std::string &line, filter_settings &settings, std::vector<std::string> &notes);

std::string settings_line(const filter_settings &settings);
// The command line that sets them; "" when there is none.
std::string command_line(const filter_settings &settings);
// A mode that is not there is hidden (the settings are in force, somewhere), or left out.
std::vector<std::string> in_words(const filter_settings &settings, bool mode_hidden);

// Why no packet can pass, and what may not be what was meant.
std::vector<std::string> impossible(const filter_settings &settings);
std::vector<std::string> surprises(const filter_settings &settings);
