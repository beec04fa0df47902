// SPDX-License-Identifier: GPL-2.0-only
// What the commands that render have in common on the command line.
#pragma once

#include "tools/appliance.h"
#include "tools/filter_options.h"

#include <CLI/CLI.hpp>

// Every packet passes: no criterion, all types (the only value that also passes frames without a type).
inline constexpr char all_packets[] = "0.0.0.0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0.0.0.0 "
				      "0 0 0 0 4294967295 0 7";

struct rendering_options : capture_options {
	wanted_filter wanted; // what the settings are made of when it is given
};

void add_capture_options(CLI::App &command, rendering_options &options);
