// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt watch: the text of the module in this machine's kernel, as it arrives.
#pragma once

#include "tools/message.h"
#include "tools/view_options.h"

#include <string>

struct watch_options {
	std::string interface = "br0";
	std::string grep;
	bool flush = false;
	view_options views;
};

exit_status run_watch(const watch_options &options);
