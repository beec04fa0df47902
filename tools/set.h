// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt set, show, off and explain: filters in the operator's words.
#pragma once

#include "tools/message.h"
#include "tools/wanted_filter.h"

struct set_options {
	wanted_filter wanted;
	std::string duration;
	std::string sysctl_root;
	bool print = false;
};

exit_status run_set(const set_options &options);
exit_status run_show(const std::string &sysctl_root);
exit_status run_off(const std::string &sysctl_root);
exit_status run_explain(const std::string &line);

// What they share: prints the settings in words, the notes, and the command that sets them.
exit_status print_explanation(const filter_settings &settings, std::vector<std::string> notes);
// Whether all of standard output could be written.
exit_status end_of_output();
