// SPDX-License-Identifier: GPL-2.0-only
#include "tools/collect.h"

#include "config/settings.h"
#include "include/debug_pkt_dump.h"
#include "tools/gre.h"
#include "tools/gre_socket.h"
#include "tools/output_files.h"
#include "tools/sequence.h"
#include "tools/stop_signals.h"
#include "tools/text_output.h"
#include "tools/text_views.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <pcap/dlt.h>
#include <poll.h>
#include <unistd.h>

namespace {

inline constexpr size_t most_senders = 1000, most_streams = 256; // forged addresses and keys must not fill the memory
inline constexpr uint64_t gaps_reported = 10;
inline constexpr size_t longest_port_name = sizeof(net_device::name) - 1;

// An appliance, by its address.
struct sender {
	std::string name;
	net_device *port; // what the text calls it
	size_t source;    // in the file
	std::map<gre_stream, sequence_window> streams;
	uint64_t frames = 0, passed = 0, bytes = 0;
	uint64_t missing = 0, gaps = 0, late = 0, twice = 0, anew = 0;
	uint64_t missing_in_file = 0; // before the next frame that is kept
	uint64_t others = 0, damaged = 0, wrong_checksums = 0, copies = 0;
};

struct session {
	session(const collect_options &wanted, int stop)
	    : options(wanted),
	      forwarding(wanted.follow_ups, !wanted.output.empty() || wanted.views.wanted()),
	      text(stop),
	      views(wanted.views, text, stop)
	{
		if (!wanted.output.empty())
			file = std::make_unique<rotating_pcapng>(wanted.output, wanted.limits, stop);
	}

	const collect_options &options;
	datapath forwarding;
	gre_socket sockets[2];
	std::deque<sender> senders; // the first stands for all that are too many
	std::map<std::string, sender *, std::less<>> by_address;
	text_output text;
	text_views views;
	std::unique_ptr<rotating_pcapng> file;
	std::string comment; // of the frame in hand, for the file
	uint64_t datagrams = 0;
	int32_t frames = 0;
};

// The text of calls of one frame where somebody wants to know whose it is; else whatever has gathered.
int take_message(void *context, sk_buff *message)
{
	session &run = *static_cast<session *>(context);
	const std::string_view text = message_text(message->data, message->len);
	if (run.file) {
		text_record record;
		record.content = parse_text(text);
		run.comment += frame_comment(record);
	}
	if (run.options.views.wanted())
		run.views.take_text(text);
	else if (run.options.views.show_text())
		run.text.show(text);
	host::free_skb(message);
	return 0;
}

std::string address_text(std::string_view address)
{
	char text[INET6_ADDRSTRLEN];
	return inet_ntop(address.size() == 4 ? AF_INET : AF_INET6, address.data(), text, sizeof text);
}

sender &add_sender(session &run, const std::string &name, net_device *port)
{
	sender added = {};
	added.name = name;
	added.port = port;
	added.source = run.file ? run.file->add_source(name) : 0;
	return run.senders.emplace_back(added);
}

sender &sender_of(session &run, std::string_view address)
{
	if (const auto known = run.by_address.find(address); known != run.by_address.end())
		return *known->second;
	if (run.senders.size() > most_senders)
		return run.senders.front();
	const std::string name = address_text(address);
	const std::string port = name.size() <= longest_port_name ? name : "sender-" + std::to_string(run.senders.size());
	message("new sender {}{}", name, port == name ? "" : ", the text says " + port);
	sender &added = add_sender(run, name, host::add_device(port));
	run.by_address.emplace(address, &added);
	return added;
}

void follow_sequence(sender &from, const gre_datagram &datagram)
{
	if (!datagram.sequence || (from.streams.size() >= most_streams && !from.streams.contains(datagram.stream)))
		return;
	sequence_window &window = from.streams[datagram.stream];
	switch (window.take(*datagram.sequence)) {
	case sequence_window::arrival::next:
		break;
	case sequence_window::arrival::behind_gap:
		from.missing += window.missing();
		from.missing_in_file += window.missing();
		if (++from.gaps <= gaps_reported)
			message("{}: missing before sequence number {}: {}{}", from.name, *datagram.sequence, window.missing(),
				from.gaps == gaps_reported ? "; more gaps are counted only" : "");
		break;
	case sequence_window::arrival::late:
		++from.late;
		--from.missing;
		break;
	case sequence_window::arrival::twice:
		++from.twice;
		break;
	case sequence_window::arrival::anew:
		++from.anew;
		break;
	}
}

// Whether the settings let it pass.
bool render(session &run, const sender &from, const received_datagram &outer, std::string_view frame)
{
	captured_packet packet = {};
	packet.data = reinterpret_cast<const uint8_t *>(frame.data());
	packet.len = static_cast<uint32_t>(frame.size());
	packet.wire_len = packet.len;
	packet.link_type = DLT_EN10MB;
	packet.seconds = outer.seconds;
	packet.nanoseconds = outer.nanoseconds;
	run.comment.clear();
	run.views.begin_frame(frame_of(packet, from.name));
	const uint64_t before = this_cpu(debug_pkt_stats).matched;
	run.forwarding.take(from.port, packet, ++run.frames);
	run.views.end_frame();
	return this_cpu(debug_pkt_stats).matched != before;
}

void take_datagram(session &run, const received_datagram &outer)
{
	++run.datagrams;
	sender &from = sender_of(run, outer.source);
	gre_datagram inner;
	switch (read_gre(outer.payload, inner)) {
	case gre_result::frame:
		break;
	case gre_result::other:
		++from.others;
		return;
	case gre_result::damaged:
		++from.damaged;
		return;
	case gre_result::wrong_checksum:
		++from.wrong_checksums;
		return;
	}
	follow_sequence(from, inner);
	if (holds_gre_between(inner.frame, outer.source, outer.destination)) {
		++from.copies;
		return;
	}
	++from.frames;
	from.bytes += inner.frame.size();
	if (!render(run, from, outer, inner.frame))
		return;
	++from.passed;
	if (!run.file)
		return;
	run.file->write(from.source,
			{.interface = 0,
			 .seconds = outer.seconds,
			 .nanoseconds = outer.nanoseconds,
			 .data = inner.frame,
			 .length = static_cast<uint32_t>(inner.frame.size()),
			 .comment = run.comment,
			 .lost = from.missing_in_file},
			from.missing);
	from.missing_in_file = 0;
}

bool outputs_work(const session &run)
{
	return !run.text.failed() && run.views.error().empty() && (!run.file || run.file->error().empty());
}

// Some of what has arrived; false when there is no more.
bool take_datagrams(session &run)
{
	constexpr unsigned at_once = 256;
	bool more = false;
	for (gre_socket &each : run.sockets) {
		received_datagram datagram;
		unsigned count = 0;
		while (count < at_once && outputs_work(run) && each.next(datagram)) {
			take_datagram(run, datagram);
			++count;
		}
		more = more || count == at_once;
	}
	return more;
}

// Whoever reads the outputs wants what is there as soon as nothing more waits.
void flush(session &run)
{
	deliver_pending();
	run.text.flush();
	if (run.file)
		run.file->flush();
}

bool open_sockets(session &run)
{
	const bool opened = run.sockets[0].open(AF_INET);
	const int reason = errno;
	// A machine without IPv6 has nothing to collect there.
	const bool opened_too = opened && run.sockets[1].open(AF_INET6);
	if (opened) {
		message("collecting GRE datagrams over {}", opened_too ? "IPv4 and IPv6" : "IPv4");
		return true;
	}
	message("raw socket: {}{}", std::strerror(reason),
		reason == EPERM ? "; it needs the capability CAP_NET_RAW: run it as root" : "");
	return false;
}

// Until a signal comes, or an output fails.
void collect(session &run, const stop_signals &stop)
{
	pollfd sources[] = {{stop.descriptor(), POLLIN, 0},
			    {run.sockets[0].descriptor(), POLLIN, 0},
			    {run.sockets[1].descriptor(), POLLIN, 0},
			    {run.file ? run.file->timer() : -1, POLLIN, 0}};
	while (outputs_work(run) && !sources[0].revents) {
		if (poll(sources, std::size(sources), -1) < 0)
			continue;
		if (!take_datagrams(run))
			flush(run);
		if (uint64_t ticks; sources[3].revents && read(sources[3].fd, &ticks, sizeof ticks) > 0)
			run.file->end_file();
	}
	// What has arrived before the end, as far as there is one.
	for (unsigned rounds = 0; rounds < 256 && take_datagrams(run); ++rounds)
		;
	flush(run);
}

void append_count(std::string &line, const char *meaning, uint64_t count)
{
	if (count)
		line += fmt::format(", {} {}", meaning, count);
}

debug_pkt_counters print_counters(const session &run)
{
	uint64_t dropped = 0;
	for (const gre_socket &each : run.sockets)
		dropped += each.dropped();
	for (const sender &each : run.senders) {
		std::string line =
			fmt::format("{}: frames {}, bytes {}, passed {}", each.name, each.frames, each.bytes, each.passed);
		append_count(line, "missing", each.missing);
		append_count(line, "gaps", each.gaps);
		append_count(line, "late", each.late);
		append_count(line, "twice", each.twice);
		append_count(line, "sequence started anew", each.anew);
		append_count(line, "copies of mirror datagrams left out", each.copies);
		append_count(line, "other GRE datagrams", each.others);
		append_count(line, "damaged datagrams", each.damaged);
		append_count(line, "wrong checksums", each.wrong_checksums);
		if (&each != &run.senders.front() || each.frames)
			message("{}", line);
	}
	debug_pkt_counters counters = {};
	add_counters(counters);
	std::string line =
		fmt::format("datagrams received {}, dropped by the sockets {}{}", run.datagrams, dropped, counters_text(counters));
	append_count(line, "text bytes not written", run.text.lost());
	message("{}", line);
	return counters;
}

bool is_real_failure(int error)
{
	return error && error != EPIPE && error != ECANCELED;
}

bool start(session &run, const stop_signals &stop)
{
	net_device *const port = start_appliance(run.options, "others", 0, 0);
	if (!port)
		return false;
	add_sender(run, "other senders", port);
	host::set_receiver(take_message, &run);
	if (read_setting(debug_pkt_mirror_ip)) {
		write_setting(debug_pkt_mirror_ip, 0);
		message("the mirror address in the settings is left out: what was collected is not sent on");
	}
	if (!debug_pkt_enabled())
		message("the settings turn capture off (packet types 0): nothing is rendered");
	if (run.file && !run.file->open()) {
		stop.end_if_asked();
		message("{}", run.file->error());
		return false;
	}
	if (!run.views.open()) {
		stop.end_if_asked();
		message("{}", run.views.error());
		return false;
	}
	return open_sockets(run);
}

} // namespace

exit_status run_collect(const collect_options &options)
{
	if (const std::string reason = output_conflict({}, {options.output, options.views.graph}); !reason.empty()) {
		message("{}", reason);
		return exit_bad_input;
	}
	const stop_signals stop;
	session run(options, stop.descriptor());
	if (!start(run, stop))
		return exit_environment;
	collect(run, stop);
	run.views.finish();
	run.text.flush();
	if (run.file)
		run.file->close();
	const debug_pkt_counters counters = print_counters(run);
	if (is_real_failure(run.text.error_number())) {
		message("standard output: {}", std::strerror(run.text.error_number()));
		return exit_environment;
	}
	if (!run.views.error().empty()) {
		message("{}", run.views.error());
		return exit_environment;
	}
	if (run.file && is_real_failure(run.file->error_number())) {
		message("{}", run.file->error());
		return exit_environment;
	}
	return counters.matched ? exit_done : exit_nothing_matched;
}
