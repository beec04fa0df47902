// SPDX-License-Identifier: GPL-2.0-only
// What the commands that render have in common. Readers of an option's text return the reason when they cannot read it.
#pragma once

#include "tools/appliance.h"
#include "tools/wanted_filter.h"

#include <string>

// Every packet passes: no criterion, all types (the only value that also passes frames without a type).
inline constexpr char all_packets[] = "0.0.0.0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0.0.0.0 "
				      "0 0 0 0 4294967295 0 7";

struct rendering_options : capture_options {
	wanted_filter wanted; // what the settings are made of when it is given
};

// MINUTES_WEST or MINUTES_WEST,DST.
std::string read_time_zone(const std::string &text, int32_t &minutes_west, int32_t &dst);
// A settings line as it is written to the module, or as reading it from there gives it; all that the module reads differently from
// how it looks is said. line: as the module is to read it.
std::string read_settings_line(const std::string &text, std::string &line);
// The settings line of a filter in the operator's words, and what may surprise of it.
std::string read_wanted_filter(const wanted_filter &wanted, std::string &line);
