// SPDX-License-Identifier: GPL-2.0-only
#include "tools/message.h"

#include <cstdio>

void write_message(fmt::string_view format, fmt::format_args values)
{
	std::fprintf(stderr, "debug-pkt: %s\n", fmt::vformat(format, values).c_str());
}
