// SPDX-License-Identifier: GPL-2.0-only
// Settings texts: each line of the input is written, read back and compared with a second reading of the rules.
#include "fuzz/support.h"

#include "config/settings.h"
#include "fuzz/settings_model.h"

namespace {

void require_same_line()
{
	const fuzz::block line(debug_pkt_settings_size);
	debug_pkt_get_sysctl(line.chars());
	const size_t length = strnlen(line.chars(), line.size());
	fuzz::require(length < line.size(), "the settings line fits");
	fuzz::require(std::string(line.chars(), length) == fuzz::line_of(fuzz::current_settings()),
		      "the settings read as they are");
}

void write_line(const std::string &line)
{
	const fuzz::settings expected = fuzz::after_line(fuzz::current_settings(), line);
	debug_pkt_cur_count = 5;
	const fuzz::block exact(line + '\0');
	fuzz::require(debug_pkt_set_sysctl(exact.chars()) == 0, "a settings line is never refused");
	fuzz::require(std::memchr(debug_pkt_dev, 0, sizeof debug_pkt_dev) != nullptr, "the device name is terminated");
	fuzz::require(fuzz::current_settings() == expected, "the line does what it says");
	require_same_line();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	fuzz::start();
	require_same_line();
	fuzz::input in(data, size);
	std::string text = in.rest();
	while (!text.empty()) {
		// A NUL parts lines here, since a newline is a blank of a line.
		const size_t end = text.find('\0');
		write_line(text.substr(0, end));
		text.erase(0, end == std::string::npos ? end : end + 1);
	}
	fuzz::settings wanted = fuzz::current_settings();
	if (!wanted.dev.empty()) {
		write_line(fuzz::line_for(wanted));
		wanted.count = 0;
		fuzz::require(fuzz::current_settings() == wanted, "settings written back stay the same");
	}
	fuzz::require_idle();
	return 0;
}
