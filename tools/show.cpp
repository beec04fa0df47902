// SPDX-License-Identifier: GPL-2.0-only
#include "tools/clock_text.h"
#include "tools/current_settings.h"
#include "tools/set.h"
#include "tools/settings_entry.h"

#include <cstdio>

exit_status run_show(const std::string &sysctl_root)
{
	current_settings current;
	const std::string reason = read_current(settings_entry(sysctl_root), current);
	if (!reason.empty() || !current.unreadable.empty()) {
		message("{}{}", reason, current.unreadable);
		return exit_environment;
	}
	if (!current.settings.mode)
		current.notes.emplace_back(mode_not_shown);
	if (current.limit_reached)
		current.notes.push_back(fmt::format("the limit of {} packets was reached: capture has switched itself off",
						    current.settings.limit));
	if (current.state && current.state->previous) {
		const std::string previous = command_line(*current.state->previous);
		current.notes.push_back(fmt::format("set by process {} until {}, then come back: {}", current.state->owner,
						    clock_text(current.state->until),
						    previous.empty() ? "settings that no command sets" : previous));
	}
	if (!current.damage.empty())
		message("{}", current.damage);
	const exit_status status = print_explanation(current.settings, current.notes);
	return status == exit_done && !current.damage.empty() ? exit_bad_input : status;
}
