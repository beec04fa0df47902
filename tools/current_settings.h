// SPDX-License-Identifier: GPL-2.0-only
// What is set now, as far as the entry and debug-pkt's own notes about it tell.
#pragma once

#include "tools/filter.h"
#include "tools/state_file.h"

#include <optional>
#include <string>
#include <vector>

struct current_settings {
	filter_settings settings;
	std::vector<std::string> notes; // what is unknown or was read differently from how it looks
	bool limit_reached = false;
	std::optional<saved_state> state; // when it is about what is set now
	std::string damage;               // of the state file
	std::string unreadable;           // why the entry's text tells nothing: the settings are then those of "off"
};

// The reason why they cannot be told, or "".
std::string read_current(const std::string &entry, current_settings &current);
