// SPDX-License-Identifier: GPL-2.0-only
#include "tools/view.h"

#include "tools/open_file.h"
#include "tools/output_files.h"
#include "tools/stop_signals.h"
#include "tools/text_views.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

// What comes next, as soon as there is anything; 0 at the end, and when the program is asked to end, -1 and errno.
ssize_t read_some(int file, std::string &block, const stop_signals &stop)
{
	pollfd sources[] = {{stop.descriptor(), POLLIN, 0}, {file, POLLIN, 0}};
	while (poll(sources, 2, -1) < 0)
		if (errno != EINTR)
			return -1;
	return sources[0].revents ? 0 : read(file, block.data(), block.size());
}

// False when the file cannot be read to its end.
bool view_file(const std::string &path, text_views &views, text_output &text, const stop_signals &stop)
{
	const std::string name = path == "-" ? "standard input" : path;
	const int file = path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : open_input(path, stop.descriptor());
	if (file < 0) {
		message("{}: {}", name, std::strerror(errno));
		return false;
	}
	text_splitter texts(false);
	std::string block(1 << 16, '\0');
	ssize_t length = 0;
	while (!text.failed() && (length = read_some(file, block, stop)) > 0) {
		texts.add(std::string_view(block).substr(0, static_cast<size_t>(length)));
		views.take_kept(texts, name);
		text.flush();
	}
	const int error = !text.failed() && length < 0 ? errno : 0;
	texts.end();
	views.take_kept(texts, name);
	close(file);
	if (error)
		message("{}: {}", name, std::strerror(error));
	return error == 0;
}

} // namespace

exit_status run_view(const view_command_options &options)
{
	if (const std::string reason = output_conflict(options.files, {options.views.graph}); !reason.empty()) {
		message("{}", reason);
		return exit_bad_input;
	}
	const stop_signals stop;
	text_output text(stop.descriptor());
	text_views views(options.views, text, stop.descriptor());
	if (!views.open()) {
		stop.end_if_asked();
		message("{}", views.error());
		return exit_environment;
	}
	bool all_read = true;
	for (const std::string &path : options.files)
		all_read = view_file(path, views, text, stop) && all_read;
	views.finish();
	text.flush();
	const int signal = stop.take();
	if (!signal && text.error_number() == EPIPE)
		end_by_signal(SIGPIPE);
	message("packets {}, texts {}", views.packet_count(), views.text_count());
	if (signal)
		end_by_signal(signal);
	if (!views.error().empty())
		message("{}", views.error());
	if (text.failed())
		message("standard output: {}", std::strerror(text.error_number()));
	if (!views.error().empty() || text.failed())
		return exit_environment;
	if (!all_read)
		return exit_bad_input;
	return views.packet_count() ? exit_done : exit_nothing_matched;
}
