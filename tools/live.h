// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt live: what passes an interface of this machine, through the capture's own entry points.
#pragma once

#include "tools/message.h"
#include "tools/rendering_options.h"
#include "tools/view_options.h"

#include <string>

struct live_options : rendering_options {
	std::string interface;
	view_options views;
};

exit_status run_live(const live_options &options);
