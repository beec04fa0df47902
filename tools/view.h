// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt view: the views of text that was kept, as watch or read printed it.
#pragma once

#include "tools/message.h"
#include "tools/view_options.h"

#include <string>
#include <vector>

struct view_command_options {
	view_options views;
	std::vector<std::string> files; // "-" is standard input
};

exit_status run_view(const view_command_options &options);
