// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt collect: the far end of the mirror.
#pragma once

#include "tools/capture_options.h"
#include "tools/message.h"
#include "tools/rotating_pcapng.h"
#include "tools/view_options.h"

#include <string>

struct collect_options : rendering_options {
	view_options views;
	std::string output; // a pcapng file; "-" is standard output, which then carries no text
	rotation limits;
};

void add_collect_command(CLI::App &app, collect_options &options);
exit_status run_collect(const collect_options &options);
