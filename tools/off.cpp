// SPDX-License-Identifier: GPL-2.0-only
#include "tools/current_settings.h"
#include "tools/set.h"
#include "tools/settings_entry.h"

#include <cstdio>

exit_status run_off(const std::string &sysctl_root)
{
	const std::string entry = settings_entry(sysctl_root);
	current_settings current;
	if (const std::string reason = read_current(entry, current); !reason.empty()) {
		message("{}", reason);
		return exit_environment;
	}
	saved_state state;
	state.settings = current.settings;
	state.settings.type = 0;
	state.since = std::time(nullptr);

	filter_settings written = state.settings;
	written.mode.reset();
	if (const std::string reason = write_entry(entry, settings_line(written)); !reason.empty()) {
		message("{}", reason);
		return exit_environment;
	}
	if (const std::string not_noted = save_state(entry, state); !not_noted.empty())
		message("note: {}", not_noted);
	std::printf("capture is off\n");
	return end_of_output();
}
