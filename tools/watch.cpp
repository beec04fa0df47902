// SPDX-License-Identifier: GPL-2.0-only
#include "tools/watch.h"

#include "tools/appliance.h"
#include "tools/keyboard.h"
#include "tools/message_ring.h"
#include "tools/module_counters.h"
#include "tools/packet_text.h"
#include "tools/stop_signals.h"
#include "tools/text_output.h"
#include "tools/text_views.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <glob.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <vector>

namespace {

// A datapath that can deliver the pending text of every CPU has a parameter for it; the kernel knows who uses the module.
inline constexpr char flush_parameters[] = "/sys/module/debug_pkt_dump/holders/*/parameters/flush";

struct session {
	session(const watch_options &wanted, int stop) : options(wanted), text(stop), views(wanted.views, text, stop) {}

	const watch_options &options;
	message_ring ring;
	packet_grep grep;
	text_output text;
	text_views views;
	std::vector<std::string> flushers;
	bool paused = false, is_down = false;
	uint64_t messages = 0, text_bytes = 0, bytes_shown = 0, drops_before_pause = 0;
};

std::vector<std::string> find_flushers()
{
	std::vector<std::string> paths;
	glob_t found = {};
	if (glob(flush_parameters, 0, nullptr, &found) == 0)
		paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
	globfree(&found);
	if (paths.empty())
		message("nobody can be asked for pending text: no datapath has a parameter flush ({}), and "
			"net/fw/debug_pkt_set_buff "
			"never delivers, it discards; a CPU's text comes when its 4095 bytes are full",
			flush_parameters);
	return paths;
}

// Who cannot be asked is not asked again.
void ask_for_text(session &run)
{
	std::erase_if(run.flushers, [](const std::string &path) {
		const int parameter = open(path.c_str(), O_WRONLY | O_CLOEXEC);
		const bool asked = parameter >= 0 && write(parameter, "1\n", 2) == 2;
		if (!asked)
			message("{}: {}: pending text is not asked for", path, std::strerror(errno));
		if (parameter >= 0)
			close(parameter);
		return !asked;
	});
}

void show(session &run, std::string_view text)
{
	std::string filtered;
	if (!run.options.grep.empty()) {
		run.grep.take(text, filtered);
		text = filtered;
	}
	run.bytes_shown += text.size();
	if (run.options.views.wanted()) {
		run.views.take_message(text);
		return;
	}
	run.text.show(text);
}

// What has arrived.
void show_messages(session &run)
{
	message_ring::message each;
	while (!run.text.failed() && run.ring.next(each)) {
		const std::string_view text = message_text(each.data, each.length);
		++run.messages;
		run.text_bytes += text.size();
		show(run, text);
	}
	run.text.flush();
}

void toggle_pause(session &run)
{
	run.paused = !run.paused;
	if (run.paused) {
		run.drops_before_pause = run.ring.dropped();
		message("paused: the ring keeps {} messages; p or space goes on", run.ring.room());
		return;
	}
	const size_t waiting = run.ring.waiting();
	message("goes on: messages kept {}, dropped {}", waiting, run.ring.dropped() - run.drops_before_pause);
	show_messages(run);
}

// False when there is nothing to watch any more.
bool look_at_device(session &run)
{
	const std::string &name = run.options.interface;
	switch (run.ring.state()) {
	case message_ring::device_state::gone:
		message("{} has vanished: nothing can arrive any more", name);
		return false;
	case message_ring::device_state::renamed:
		message("{} is called {} now, and the module delivers by the name: nothing can arrive any more", name,
			run.ring.present_name());
		return false;
	case message_ring::device_state::down:
		if (!run.is_down)
			message("{0} is down: no text arrives until it is up (ip link set {0} up)", name);
		run.is_down = true;
		return true;
	case message_ring::device_state::up:
		if (run.is_down)
			message("{} is up again", name);
		run.is_down = false;
		return true;
	}
	return true;
}

// True when the user wants to end.
bool take_key(session &run, keyboard &keys)
{
	switch (keys.key()) {
	case 'p':
	case ' ':
		toggle_pause(run);
		return false;
	case 'q':
		return true;
	default:
		return false;
	}
}

// Ticks every second from now on when somebody can be asked for text.
int start_flush_timer(const session &run)
{
	if (run.flushers.empty())
		return -1;
	const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
	const itimerspec every_second = {{1, 0}, {0, 1}};
	timerfd_settime(timer, 0, &every_second, nullptr);
	return timer;
}

// Until a signal or a key ends it; false when the device goes before.
bool watch(session &run, const stop_signals &stop, keyboard &keys)
{
	const int timer = start_flush_timer(run);
	bool worked = true, ended = false;
	while (worked && !ended && !run.text.failed()) {
		pollfd sources[] = {{stop.descriptor(), POLLIN, 0},
				    {run.ring.descriptor(), static_cast<short>(run.paused ? 0 : POLLIN), 0},
				    {keys.keys(), POLLIN, 0},
				    {keys.continuation(), POLLIN, 0},
				    {timer, POLLIN, 0},
				    {run.ring.device_news(), POLLIN, 0}};
		if (poll(sources, std::size(sources), -1) < 0 && errno != EINTR)
			worked = false;
		ended = sources[0].revents != 0;
		if (sources[5].revents || (sources[1].revents & POLLERR))
			worked = look_at_device(run);
		if (sources[1].revents & POLLIN)
			show_messages(run);
		if (sources[2].revents && take_key(run, keys))
			ended = true;
		if (sources[3].revents)
			keys.take_again();
		if (uint64_t ticks; sources[4].revents && read(timer, &ticks, sizeof ticks) > 0)
			ask_for_text(run);
	}
	if (timer >= 0)
		close(timer);
	return worked;
}

uint64_t growth(const std::map<std::string, uint64_t> &before, const std::map<std::string, uint64_t> &after, const char *name)
{
	const auto old = before.find(name), now = after.find(name);
	if (now == after.end())
		return 0;
	// A module that was loaded anew counts from 0.
	return old == before.end() || old->second > now->second ? now->second : now->second - old->second;
}

std::string module_text(const std::map<std::string, uint64_t> &before)
{
	const std::map<std::string, uint64_t> after = read_module_counters();
	if (after.empty())
		return fmt::format("the module's counters cannot be read ({}: {})", module_counters_path,
				   errno ? std::strerror(errno) : "empty");
	std::string text = fmt::format("the module meanwhile: messages delivered {}, texts rendered {}, texts dropped {}",
				       growth(before, after, "delivered"), growth(before, after, "rendered"),
				       growth(before, after, "dropped_texts"));
	for (const auto &[name, meaning] :
	     {std::pair("discarded_bytes", "text bytes discarded"),
	      std::pair("delivery_no_buffer", "deliveries without a packet buffer"),
	      std::pair("delivery_no_bridge", "deliveries without br0"), std::pair("delivery_refused", "deliveries refused")})
		if (const uint64_t count = growth(before, after, name))
			text += fmt::format(", {} {}", meaning, count);
	return text;
}

void print_counters(session &run, const std::map<std::string, uint64_t> &module_before)
{
	std::string line = fmt::format("messages received {}, text bytes {}", run.messages, run.text_bytes);
	if (!run.options.grep.empty())
		line += fmt::format(", packets shown {} with text bytes {}", run.grep.packets(), run.bytes_shown);
	line += fmt::format(", messages dropped by the socket {}", run.ring.dropped());
	if (const size_t waiting = run.ring.waiting())
		line += fmt::format(", messages not shown {}", waiting);
	if (run.text.lost())
		line += fmt::format(", bytes not written {}", run.text.lost());
	message("{}; {}", line, module_text(module_before));
}

} // namespace

exit_status run_watch(const watch_options &options)
{
	const stop_signals stop;
	session run(options, stop.descriptor());
	if (const std::string reason = run.grep.compile(options.grep); !reason.empty()) {
		message("--grep {}: {}", options.grep, reason);
		return exit_bad_input;
	}
	if (const std::string reason = run.ring.open(options.interface); !reason.empty()) {
		message("{}", reason);
		return exit_environment;
	}
	if (!run.views.open()) {
		stop.end_if_asked();
		message("{}", run.views.error());
		return exit_environment;
	}
	const std::map<std::string, uint64_t> module_before = read_module_counters();
	if (options.flush)
		run.flushers = find_flushers();

	bool worked;
	{
		keyboard keys;
		message("watching {}{}", options.interface, keys.is_there() ? "; p or space pauses, q ends" : "");
		worked = look_at_device(run) && watch(run, stop, keys);
	}
	if (worked && !run.paused && !run.text.failed()) {
		ask_for_text(run);
		show_messages(run);
	}
	run.views.finish();
	run.text.flush();
	print_counters(run, module_before);
	const int error = run.text.error_number();
	if (error && error != EPIPE && error != ECANCELED) {
		message("standard output: {}", std::strerror(error));
		return exit_environment;
	}
	if (!run.views.error().empty())
		message("{}", run.views.error());
	if (!worked || !run.views.error().empty())
		return exit_environment;
	return run.bytes_shown ? exit_done : exit_nothing_matched;
}
