// SPDX-License-Identifier: GPL-2.0-only
#include "tools/clock_text.h"
#include "tools/current_settings.h"
#include "tools/set.h"
#include "tools/settings_entry.h"

#include <cstdio>

void add_show_command(CLI::App &app, std::string &sysctl_root)
{
	CLI::App *const show = app.add_subcommand("show", "Say in words what is set now, and the command that sets it.");
	show->footer(
		"The module shows neither the mode nor some bits: what debug-pkt has set itself is known from its state file,\n"
		"for everything else it says what is unknown.\n"
		"Exit status: 0 done, 2 the state file is damaged (the rest is shown), 3 the module's entry cannot be read.");
	add_sysctl_root(*show, sysctl_root);
}

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
