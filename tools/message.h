// SPDX-License-Identifier: GPL-2.0-only
// What the tool says to its user, on standard error, and how it ends.
#pragma once

#include <fmt/format.h>

enum exit_status : int {
	exit_done = 0,
	exit_nothing_matched = 1,
	exit_bad_input = 2,   // usage, or an input that is missing, damaged or of an unknown kind
	exit_environment = 3, // an output that cannot be written, or no memory
};

void write_message(fmt::string_view format, fmt::format_args values);

// One line "debug-pkt: …"; the format has no newline at its end, and the compiler checks it.
template <class... Values> void message(fmt::format_string<Values...> format, Values &&...values)
{
	write_message(format, fmt::make_format_args(values...));
}
