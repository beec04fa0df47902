// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt collect: the far end of the mirror.
#pragma once

#include "tools/message.h"
#include "tools/rendering_options.h"
#include "tools/rotating_pcapng.h"
#include "tools/view_options.h"

#include <string>

struct collect_options : rendering_options {
	view_options views;
	std::string output; // a pcapng file; "-" is standard output, which then carries no text
	rotation limits;
};

exit_status run_collect(const collect_options &options);
