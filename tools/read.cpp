// SPDX-License-Identifier: GPL-2.0-only
#include "tools/read.h"

#include "config/settings.h"
#include "platform/host/host.h"
#include "tools/frame_batches.h"
#include "tools/mirror_file.h"
#include "tools/output_files.h"
#include "tools/progress.h"
#include "tools/stop_signals.h"
#include "tools/text_output.h"
#include "tools/text_views.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <poll.h>
#include <thread>
#include <vector>

namespace {

inline constexpr uint8_t mirror_source[4] = {192, 0, 2, 1};

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool watches_frames = true;
#else
inline constexpr bool watches_frames = false;
#endif

// Reads the files one behind the other.
class frame_source {
public:
	// Once stop is readable there are no more.
	frame_source(const std::vector<std::string> &paths, int stop) : files(paths), stop_descriptor(stop) {}

	// What is done before a pipe that gives nothing now is waited for.
	void set_pastime(std::function<void()> what) { pastime = std::move(what); }

	// Hands one frame after the other, valid during the call, with its number in its file, to take, until it returns false for
	// enough or there are no more.
	template <class Take> void read(Take take)
	{
		const auto count_and_take = [this, take](const captured_packet &packet) {
			constexpr uint64_t frames_between_looks = 1024;
			const bool goes_on = take(packet, static_cast<int32_t>(file->packets()));
			return ++packets_read % frames_between_looks ? goes_on : look_around() && goes_on;
		};
		for (bool goes_on = !is_stopped(); goes_on && (file || next_file < files.size()); file.reset()) {
			if (!file) {
				file = std::make_unique<capture_file>(files[next_file++], stop_descriptor);
				file->set_pastime([this] { pastime(); });
			}
			if (file->error().empty() && file->read(count_and_take))
				return;
			goes_on = !is_stopped();
			if (goes_on && !file->error().empty()) {
				const std::string &path = files[next_file - 1];
				bar.clear();
				message("{}: {}", path == "-" ? "standard input" : path, file->error());
				all_read = false;
			}
		}
	}

	// When nothing more is read.
	void finish() { bar.clear(); }
	uint64_t packets() const { return packets_read; }
	// Of the last frame.
	const std::string &file_name() const { return files[next_file - 1]; }
	// Whether every file so far could be read to its end.
	bool complete() const { return all_read; }

private:
	// Now and then; false when a signal asked for the end.
	bool look_around()
	{
		if (bar.is_due())
			bar.show(progress_text());
		return !is_stopped();
	}

	bool is_stopped() const
	{
		pollfd stop = {stop_descriptor, POLLIN, 0};
		return stop_descriptor >= 0 && poll(&stop, 1, 0) > 0;
	}

	std::string progress_text() const
	{
		std::string text = fmt::format("{}: {} packets", files[next_file - 1], packets_read);
		if (const uint64_t size = file->file_size())
			text += fmt::format(", {} %", file->file_position() * 100 / size);
		return text;
	}

	const std::vector<std::string> &files;
	const int stop_descriptor;
	progress_line bar;
	std::unique_ptr<capture_file> file;
	std::function<void()> pastime;
	size_t next_file = 0;
	uint64_t packets_read = 0;
	bool all_read = true;
};

// What the threads share. Each thread is a CPU of its own; all have number 0, so that the text does not show how many there are.
struct replay {
	replay(const read_options &wanted, int stop)
	    : options(wanted), source(wanted.files, stop), output(stop), mirror(stop), views(wanted.views, output.text, stop)
	{
	}

	const read_options &options;
	net_device *device = nullptr;
	std::mutex source_lock;
	frame_source source;
	size_t next_sequence = 0;
	ordered_output output;
	text_block texts; // of one thread alone
	mirror_file mirror;
	text_views views;
	std::mutex counters_lock;
	debug_pkt_counters counters = {};
	std::atomic<bool> failed = false; // an output could not be written
};

// Where the texts go that a thread renders.
thread_local text_block *current_texts;

// The CLI at the far end of br0.
int keep_message(void *, sk_buff *message)
{
	current_texts->add(message);
	return 0;
}

int view_message(void *context, sk_buff *message)
{
	static_cast<replay *>(context)->views.take_text(message_text(message->data, message->len));
	host::free_skb(message);
	return 0;
}

int keep_datagram(void *context, sk_buff *datagram)
{
	replay &run = *static_cast<replay *>(context);
	const platform_time moment = platform_clock(); // the packet's
	if (run.mirror.is_open())
		run.mirror.write(datagram->data, datagram->len, moment.seconds, moment.nanoseconds);
	host::free_skb(datagram);
	return 0;
}

bool set_up(replay &run)
{
	uint32_t source;
	std::memcpy(&source, mirror_source, sizeof source);
	run.device = start_appliance(run.options, "eth0", 2, source);
	if (!run.device)
		return false;
	host::set_output(keep_datagram, &run);
	return true;
}

// What the operator may not expect of these settings.
void explain_settings(const read_options &options)
{
	const bool mirrors = read_setting(debug_pkt_mirror_ip) != 0;
	if (!debug_pkt_enabled())
		message("the settings turn capture off (packet types 0): nothing is rendered");
	else if (mirrors && options.mirror_out.empty())
		message("the settings mirror frames instead of rendering them: --mirror-out FILE.pcap keeps them");
	else if (!mirrors && !options.mirror_out.empty())
		message("{} stays empty: the settings have no mirror address", options.mirror_out);
}

void render(const replay &run, datapath &forwarding, const captured_packet &packet, int32_t number)
{
	if (watches_frames) {
		// Alone in its block, so that a read behind it is seen.
		const std::vector<uint8_t> block(packet.data, packet.data + packet.len);
		captured_packet alone = packet;
		alone.data = block.data();
		forwarding.take(run.device, alone, number);
	} else {
		forwarding.take(run.device, packet, number);
	}
}

void keep_counters(replay &run)
{
	const std::lock_guard guard(run.counters_lock);
	add_counters(run.counters);
}

// Text gathers in the buffer as in the module, and frames are rendered where they were read.
void render_alone(replay &run)
{
	constexpr size_t enough = 16; // messages: they stay in the second-level cache
	current_texts = &run.texts;
	host::set_receiver(keep_message, nullptr);
	const auto show = [&run] {
		const bool shown = run.texts.show(run.output.text);
		run.texts.clear();
		return shown;
	};
	const auto show_pending = [show] {
		deliver_pending();
		show();
	};
	run.source.set_pastime(show_pending);
	datapath forwarding(run.options.follow_ups);
	run.source.read([&run, &forwarding, show](const captured_packet &packet, int32_t number) {
		render(run, forwarding, packet, number);
		return (run.texts.size() < enough || show()) && run.mirror.error().empty();
	});
	show_pending();
	keep_counters(run);
}

// Each call's text on its own, beside its frame.
void render_for_views(replay &run)
{
	host::set_receiver(view_message, &run);
	run.source.set_pastime([&run] {
		run.output.text.flush();
		run.views.flush();
	});
	datapath forwarding(run.options.follow_ups, true);
	run.source.read([&run, &forwarding](const captured_packet &packet, int32_t number) {
		run.views.begin_frame(frame_of(packet, run.source.file_name()));
		render(run, forwarding, packet, number);
		run.views.end_frame();
		return !run.output.text.failed() && run.views.error().empty() && run.mirror.error().empty();
	});
	keep_counters(run);
	run.views.finish();
}

// One CPU among several.
class renderer {
public:
	explicit renderer(replay &shared) : run(shared), forwarding(shared.options.follow_ups) {}
	~renderer()
	{
		run.output.wait_for(texts);
		keep_counters(run);
	}
	renderer(const renderer &) = delete;
	renderer &operator=(const renderer &) = delete;

	// Batches until there are no more.
	void work()
	{
		for (read_ahead(); filled; read_ahead())
			render_oldest();
	}

private:
	// While no other thread reads, so that a turn at it is seldom waited for. What has been read is rendered, come what may:
	// the other threads' texts wait for it.
	void read_ahead()
	{
		for (; filled < batches.size() && !run.failed; ++filled) {
			std::unique_lock turn(run.source_lock, std::try_to_lock);
			if (!turn && filled)
				return;
			if (!turn)
				wait_for(turn);
			batch &next = batches[(oldest + filled) % batches.size()];
			begin(next);
			run.source.set_pastime([this] { catch_up(); });
			run.source.read([&next](const captured_packet &packet, int32_t number) {
				next.add(packet, number);
				return !next.is_full();
			});
			if (next.frames.empty())
				return;
		}
	}

	// A turn is over sooner than a sleep, but for one that waits for a pipe.
	static void wait_for(std::unique_lock<std::mutex> &turn)
	{
		constexpr int looks = 1000;
		for (int i = 0; i < looks; ++i) {
			std::this_thread::yield();
			if (turn.try_lock())
				return;
		}
		turn.lock();
	}

	void begin(batch &next)
	{
		next.clear();
		next.sequence = run.next_sequence++;
	}

	// All that this thread has read, with the batch that it is reading.
	void catch_up()
	{
		while (filled)
			render_oldest();
		batch &unfinished = batches[oldest];
		if (!unfinished.frames.empty()) {
			render_batch(unfinished);
			begin(unfinished);
		}
	}

	void render_oldest()
	{
		render_batch(batches[oldest]);
		oldest = (oldest + 1) % batches.size();
		--filled;
	}

	void render_batch(batch &next)
	{
		batch_texts &own = run.output.take(texts);
		current_texts = &own;
		const uint8_t *data = next.bytes.data();
		for (kept_frame &frame : next.frames) {
			frame.packet.data = data;
			data += frame.packet.len;
			// The batch is more than the first-level cache holds: the next frame's headers come while this one is
			// rendered.
			__builtin_prefetch(data);
			__builtin_prefetch(data + host::cache_line);
			render(run, forwarding, frame.packet, frame.number);
		}
		deliver_pending();
		if (!run.output.write(next.sequence, own))
			run.failed = true;
	}

	replay &run;
	datapath forwarding;
	std::array<batch, 3> batches;
	size_t oldest = 0, filled = 0;
	std::array<batch_texts, 3> texts;
};

// A limit counts the packets of all CPUs, and mirror datagrams go out as they come: both want the file's order.
unsigned thread_count(const read_options &options)
{
	return read_setting(debug_pkt_max_count) || read_setting(debug_pkt_mirror_ip) ? 1 : options.threads;
}

void run_threads(replay &run)
{
	const unsigned count = thread_count(run.options);
	if (run.options.views.wanted()) {
		render_for_views(run);
	} else if (count == 1) {
		render_alone(run);
	} else {
		host::set_receiver(keep_message, nullptr);
		std::vector<std::thread> others;
		for (unsigned i = 1; i < count; ++i)
			others.emplace_back([&] { renderer(run).work(); });
		renderer(run).work();
		for (std::thread &other : others)
			other.join();
	}
	run.output.text.flush();
}

bool reader_is_gone(const replay &run)
{
	return run.output.text.error_number() == EPIPE || run.views.reader_is_gone();
}

} // namespace

exit_status run_read(const read_options &options)
{
	if (const std::string reason =
		    output_conflict(options.files, {options.mirror_out, options.views.frames, options.views.graph});
	    !reason.empty()) {
		message("{}", reason);
		return exit_bad_input;
	}
	// Text may end anywhere; what else is written is brought to an end first.
	std::optional<stop_signals> stop;
	if (options.views.wanted() || !options.mirror_out.empty())
		stop.emplace();
	replay run(options, stop ? stop->descriptor() : -1);
	if (!options.mirror_out.empty() && !run.mirror.open(options.mirror_out)) {
		stop->end_if_asked();
		message("{}: {}", options.mirror_out, run.mirror.error());
		return exit_environment;
	}
	if (!set_up(run))
		return exit_environment;
	if (!run.views.open()) {
		if (stop)
			stop->end_if_asked();
		message("{}", run.views.error());
		return exit_environment;
	}
	explain_settings(options);

	run_threads(run);
	run.source.finish();
	run.mirror.close();
	const int signal = stop ? stop->take() : 0;
	if (!signal && reader_is_gone(run))
		end_by_signal(SIGPIPE);
	message("packets read {}{}", run.source.packets(), counters_text(run.counters));
	if (signal)
		end_by_signal(signal);
	if (run.output.text.failed())
		message("standard output: {}", std::strerror(run.output.text.error_number()));
	if (!run.mirror.error().empty())
		message("{}: {}", options.mirror_out, run.mirror.error());
	if (!run.views.error().empty())
		message("{}", run.views.error());
	if (run.output.text.failed() || !run.mirror.error().empty() || !run.views.error().empty())
		return exit_environment;
	if (!run.source.complete())
		return exit_bad_input;
	return run.counters.matched ? exit_done : exit_nothing_matched;
}
