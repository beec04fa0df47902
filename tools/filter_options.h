// SPDX-License-Identifier: GPL-2.0-only
// A filter in an operator's words on the command line.
#pragma once

#include "tools/filter.h"

#include <CLI/CLI.hpp>

struct wanted_filter {
	filter_words words;
	std::string profile;

	bool given() const { return !words.empty() || !profile.empty(); }
};

// Some of filter_options and --profile, all of them in one group of the command's help; none of them beside `instead`.
void add_filter_options(CLI::App &command, wanted_filter &wanted, const std::vector<std::string> &left_out = {},
			CLI::Option *instead = nullptr);
// The reasons why no packet could pass, or why it cannot be read; none when the settings are what is wanted.
std::vector<std::string> read_wanted(const wanted_filter &wanted, filter_settings &settings);
