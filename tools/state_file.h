// SPDX-License-Identifier: GPL-2.0-only
// What debug-pkt wrote last to a settings entry, as reading the entry does not show all of it.
#pragma once

#include "tools/filter.h"

#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>

struct saved_state {
	filter_settings settings; // the mode too, when it is known
	time_t since = 0;
	// While they are set for a time only: what comes back, when, and the process that sees to it.
	std::optional<filter_settings> previous;
	time_t until = 0;
	pid_t owner = 0;
};

// One file for each entry (its whole path), in $XDG_STATE_HOME/debug-pkt; without that variable in /run/debug-pkt for root,
// elsewise in
// ~/.local/state/debug-pkt.
std::string state_file(const std::string &entry);

// The following give the reason why it did not work, or "". A file that is not there is no state.
std::string load_state(const std::string &entry, std::optional<saved_state> &state);
// Replaces the file as a whole; without a state removes it.
std::string save_state(const std::string &entry, const std::optional<saved_state> &state);
