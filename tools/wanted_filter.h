// SPDX-License-Identifier: GPL-2.0-only
// A filter in an operator's words, from the command line.
#pragma once

#include "tools/filter.h"

struct wanted_filter {
	filter_words words;
	std::string profile;

	bool given() const { return !words.empty() || !profile.empty(); }
};

// The reasons why no packet could pass, or why it cannot be read; none when the settings are what is wanted.
std::vector<std::string> read_wanted(const wanted_filter &wanted, filter_settings &settings);
