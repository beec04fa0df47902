// SPDX-License-Identifier: GPL-2.0-only
#include "tools/timed_settings.h"

#include "tools/clock_text.h"
#include "tools/settings_entry.h"
#include "tools/stop_signals.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

// Not what somebody else has set meanwhile.
exit_status bring_back(const timed_settings &timed)
{
	std::string text;
	if (const std::string reason = read_entry(timed.entry, text); !reason.empty()) {
		message("the previous settings cannot be brought back: {}", reason);
		return exit_environment;
	}
	filter_settings limited = timed.written;
	limited.type = 0;
	std::optional<saved_state> now;
	const bool others = timed.noted && load_state(timed.entry, now).empty() && (!now || now->owner != timed.state.owner);
	if (others || !(shows(text, timed.written) || (timed.written.limit && shows(text, limited)))) {
		message("the settings were changed by somebody else meanwhile: they are left as they are");
		return exit_done;
	}
	const filter_settings &previous = *timed.state.previous;
	if (const std::string reason = write_entry(timed.entry, settings_line(previous)); !reason.empty()) {
		message("the previous settings cannot be brought back: {}", reason);
		return exit_environment;
	}
	saved_state state;
	state.settings = previous;
	if (!previous.mode)
		state.settings.mode = timed.state.settings.mode;
	state.since = std::time(nullptr);
	save_state(timed.entry, state);
	if (previous.type)
		message("the previous settings are back, capture is on: {}", command_line(previous));
	else
		message("the previous settings are back: capture is off");
	return exit_done;
}

bool wait_for(int first, int second)
{
	pollfd sources[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
	while (poll(sources, 2, -1) < 0)
		if (errno != EINTR)
			return false;
	return true;
}

// The peer never writes: its end of the pair is readable once the peer is gone.
[[noreturn]] void guard(const timed_settings &timed, int timer, int tool)
{
	setsid();
	prctl(PR_SET_NAME, "settings-guard"); // what ends every debug-pkt by its name leaves it alone
	for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP})
		std::signal(signal, SIG_IGN);
	const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
	dup2(nothing, STDIN_FILENO);
	dup2(nothing, STDOUT_FILENO);
	wait_for(tool, timer);
	_exit(bring_back(timed));
}

} // namespace

exit_status run_timed(timed_settings &timed)
{
	timed.state.owner = getpid();
	const stop_signals stop;
	int ends[2];
	itimerspec end = {};
	end.it_value.tv_sec = timed.seconds;
	const int timer = timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC);
	if (timer < 0 || timerfd_settime(timer, 0, &end, nullptr) != 0 ||
	    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
		throw std::system_error(errno, std::generic_category(), "the timer cannot be started");
	const std::string not_noted = save_state(timed.entry, timed.state);
	timed.noted = not_noted.empty();
	if (!timed.noted)
		message("note: {}", not_noted);
	const pid_t guardian = fork();
	if (guardian < 0)
		throw std::system_error(errno, std::generic_category(), "fork");
	if (guardian == 0) {
		close(ends[0]);
		guard(timed, timer, ends[1]);
	}
	close(ends[1]);
	close(timer);

	if (const std::string reason = write_entry(timed.entry, settings_line(timed.written)); !reason.empty()) {
		kill(guardian, SIGKILL);
		waitpid(guardian, nullptr, 0);
		save_state(timed.entry, timed.before);
		message("{}", reason);
		return exit_environment;
	}
	if (isatty(STDERR_FILENO))
		message("until {}; Ctrl-C brings the previous settings back now", clock_text(timed.state.until));
	wait_for(stop.descriptor(), ends[0]);
	close(ends[0]);
	int status = 0;
	while (waitpid(guardian, &status, 0) < 0 && errno == EINTR)
		;
	return WIFEXITED(status) ? static_cast<exit_status>(WEXITSTATUS(status)) : bring_back(timed);
}

std::optional<long> read_duration(const std::string &text)
{
	uint32_t number;
	const auto [unit, error] = std::from_chars(text.data(), text.data() + text.size(), number);
	if (error != std::errc() || unit + 1 != text.data() + text.size() || !number)
		return std::nullopt;
	switch (*unit) {
	case 's':
		return number;
	case 'm':
		return number * 60L;
	case 'h':
		return number * 3600L;
	default:
		return std::nullopt;
	}
}
