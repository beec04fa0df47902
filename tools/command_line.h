// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt's command line: its commands, their options and their help.
#pragma once

#include "tools/bench.h"
#include "tools/collect.h"
#include "tools/doctor.h"
#include "tools/live.h"
#include "tools/read.h"
#include "tools/set.h"
#include "tools/view.h"
#include "tools/watch.h"

#include <optional>
#include <string>

// The command that is asked for, and every command's options.
struct wanted_command {
	std::string command;
	read_options read;
	live_options live;
	collect_options collect;
	watch_options watch;
	set_options set;
	std::string line;        // for explain
	std::string sysctl_root; // for show and off
	doctor_options doctor;
	bench_options bench;
	view_command_options view;
};

// When there is nothing to run (help, a usage error), that has been answered, and this is the exit status.
std::optional<int> read_command_line(int argc, char **argv, wanted_command &wanted);
