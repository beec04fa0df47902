// SPDX-License-Identifier: GPL-2.0-only
// Settings for a time only. A guardian, a process in a session of its own, brings the previous ones back when the time is over and
// when the tool ends before, however it ends.
#pragma once

#include "tools/filter.h"
#include "tools/message.h"
#include "tools/state_file.h"

#include <optional>
#include <string>

struct timed_settings {
	std::string entry;
	filter_settings written;           // as the line says it: without a mode that was not given
	saved_state state;                 // of the time while they are set; its owner is set by run_timed()
	std::optional<saved_state> before; // what the state file comes back to when they cannot be written
	long seconds;
	bool noted = false; // in the state file
};

// Writes the settings, waits, brings the previous ones back.
exit_status run_timed(timed_settings &timed);

// "60s", "5m" or "2h"; nothing when it is none of these.
std::optional<long> read_duration(const std::string &text);
