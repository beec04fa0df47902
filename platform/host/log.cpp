// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

#include <mutex>
#include <utility>

namespace host {

namespace {

std::mutex log_lock;
std::vector<log_line> lines;
log_function sink;
void *sink_context;

void add(bool information, const char *text)
{
	const std::lock_guard guard(log_lock);
	const log_line line = {information, text};
	if (sink)
		sink(sink_context, line);
	else
		lines.push_back(line);
}

} // namespace

std::vector<log_line> take_log()
{
	const std::lock_guard guard(log_lock);
	return std::exchange(lines, {});
}

void set_log(log_function function, void *context)
{
	const std::lock_guard guard(log_lock);
	sink = function;
	sink_context = context;
}

} // namespace host

void platform_log(const char *line)
{
	host::add(false, line);
}

void platform_log_info(const char *line)
{
	host::add(true, line);
}
