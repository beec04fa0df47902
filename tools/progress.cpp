// SPDX-License-Identifier: GPL-2.0-only
#include "tools/progress.h"

#include <cstdio>
#include <unistd.h>

namespace {

inline constexpr auto interval = std::chrono::seconds(1);

} // namespace

// Text that scrolls by shows the progress by itself.
progress_line::progress_line()
    : next(std::chrono::steady_clock::now() + interval), watched(isatty(STDERR_FILENO) && !isatty(STDOUT_FILENO))
{
}

bool progress_line::is_due()
{
	if (!watched)
		return false;
	const auto now = std::chrono::steady_clock::now();
	if (now < next)
		return false;
	next = now + interval;
	return true;
}

void progress_line::show(const std::string &text)
{
	std::fprintf(stderr, "\r%s\033[K", text.c_str());
	shown = true;
}

void progress_line::clear()
{
	if (shown)
		std::fputs("\r\033[K", stderr);
	shown = false;
}
