// SPDX-License-Identifier: GPL-2.0-only
// Filters under a name: text files with an option of "debug-pkt set" and its value on each line.
#pragma once

#include "tools/filter.h"

#include <string>

// NAME, NAME=VALUE, or with a "/" in it the path of a file. The reason why it cannot be taken, or "".
std::string read_profile(const std::string &profile, filter_words &words);
