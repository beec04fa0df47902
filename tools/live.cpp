// SPDX-License-Identifier: GPL-2.0-only
#include "tools/live.h"

#include "config/settings.h"
#include "include/debug_pkt_dump.h"
#include "tools/output_files.h"
#include "tools/stop_signals.h"
#include "tools/text_output.h"
#include "tools/text_views.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <pcap/pcap.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

inline constexpr int snapshot_length = 262144;
inline constexpr int ring_size = 16 << 20;
inline constexpr uint32_t ipv4_header_length = 20;

using capture_handle = std::unique_ptr<pcap_t, void (*)(pcap_t *)>;

struct session {
	session(const live_options &wanted, int stop)
	    : options(wanted), forwarding(wanted.follow_ups, wanted.views.wanted()), text(stop), views(wanted.views, text, stop)
	{
	}

	const live_options &options;
	net_device *device = nullptr;
	datapath forwarding;
	capture_handle handle{nullptr, pcap_close};
	int link_type = 0;
	bool counts_nanoseconds = false;
	text_output text;
	text_views views;
	uint64_t packets = 0;
	int mirror_socket = -1;
	uint64_t datagrams_not_sent = 0;
	int send_error = 0;
};

int print_message(void *context, sk_buff *message)
{
	session &run = *static_cast<session *>(context);
	const std::string_view text = message_text(message->data, message->len);
	if (run.options.views.wanted())
		run.views.take_text(text);
	else
		run.text.show(text);
	host::free_skb(message);
	return 0;
}

// The kernel writes the IPv4 header anew, the same but for the identification, and fragments what the route cannot take.
int send_datagram(void *context, sk_buff *datagram)
{
	session &run = *static_cast<session *>(context);
	sockaddr_in collector = {};
	collector.sin_family = AF_INET;
	std::memcpy(&collector.sin_addr, datagram->data + 16, sizeof collector.sin_addr);
	if (sendto(run.mirror_socket, datagram->data + ipv4_header_length, datagram->len - ipv4_header_length, 0,
		   reinterpret_cast<const sockaddr *>(&collector), sizeof collector) < 0) {
		++run.datagrams_not_sent;
		run.send_error = errno;
	}
	host::free_skb(datagram);
	return 0;
}

// The address that the kernel would send from.
bool find_source(uint32_t collector, uint32_t &source)
{
	sockaddr_in address = {};
	address.sin_family = AF_INET;
	address.sin_port = htons(9);
	address.sin_addr.s_addr = collector;
	socklen_t length = sizeof address;
	const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
	const bool found = probe >= 0 && connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
			   getsockname(probe, reinterpret_cast<sockaddr *>(&address), &length) == 0;
	const int reason = errno;
	if (probe >= 0)
		close(probe);
	errno = reason;
	source = address.sin_addr.s_addr;
	return found;
}

std::string address_text(uint32_t address)
{
	char text[INET_ADDRSTRLEN];
	return inet_ntop(AF_INET, &address, text, sizeof text);
}

// The mirror's own guard sends no datagram again, but each would be a packet that counts against the limit; and it knows them by
// their GRE header, which later fragments do not have.
bool ignore_own_datagrams(session &run, uint32_t source, uint32_t collector)
{
	const std::string rule = fmt::format("not (ip proto 47 and src host {} and dst host {} and "
					     "(ip[22:2] = 0x6558 or ip[6:2] & 0x1fff != 0))",
					     address_text(source), address_text(collector));
	bpf_program program;
	if (pcap_compile(run.handle.get(), &program, rule.c_str(), 1, PCAP_NETMASK_UNKNOWN) != 0)
		return false;
	const bool set = pcap_setfilter(run.handle.get(), &program) == 0;
	pcap_freecode(&program);
	return set;
}

exit_status open_interface(session &run)
{
	const std::string &name = run.options.interface;
	char what[PCAP_ERRBUF_SIZE];
	run.handle.reset(pcap_create(name.c_str(), what));
	pcap_t *const handle = run.handle.get();
	if (!handle) {
		message("{}: {}", name, what);
		return exit_environment;
	}
	pcap_set_snaplen(handle, snapshot_length);
	pcap_set_promisc(handle, 1);
	pcap_set_immediate_mode(handle, 1);
	pcap_set_buffer_size(handle, ring_size);
	pcap_set_tstamp_precision(handle, PCAP_TSTAMP_PRECISION_NANO);
	if (const int result = pcap_activate(handle); result < 0) {
		const std::string details = pcap_geterr(handle);
		const std::string reason = pcap_statustostr(result);
		message("{}: {}{}{}", name, reason, details.empty() || details == reason ? "" : " (" + details + ")",
			result == PCAP_ERROR_NO_SUCH_DEVICE ? "; ip link lists the devices" : "");
		if (result == PCAP_ERROR_PERM_DENIED)
			message("capturing needs the capability CAP_NET_RAW: run it as root");
		return exit_environment;
	}
	run.link_type = pcap_datalink(handle);
	run.counts_nanoseconds = pcap_get_tstamp_precision(handle) == PCAP_TSTAMP_PRECISION_NANO;
	if (!is_readable_link_type(run.link_type)) {
		message("{}: link type {} cannot be read, only {}", name, link_type_name(run.link_type), readable_link_types());
		return exit_bad_input;
	}
	if (pcap_setnonblock(handle, 1, what) == 0)
		return exit_done;
	message("{}: {}", name, what);
	return exit_environment;
}

bool open_mirror(session &run)
{
	const uint32_t collector = read_setting(debug_pkt_mirror_ip);
	if (!collector)
		return true;
	uint32_t source;
	if (!find_source(collector, source)) {
		message("no route to the mirror address {}: {}", address_text(collector), std::strerror(errno));
		return false;
	}
	// Fragments are allowed, and the same lifetime on every machine.
	const int may_fragment = IP_PMTUDISC_DONT, lifetime = 64;
	run.mirror_socket = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_GRE);
	if (run.mirror_socket < 0 ||
	    setsockopt(run.mirror_socket, IPPROTO_IP, IP_MTU_DISCOVER, &may_fragment, sizeof may_fragment) != 0 ||
	    setsockopt(run.mirror_socket, IPPROTO_IP, IP_TTL, &lifetime, sizeof lifetime) != 0) {
		message("the mirror's raw socket: {}", std::strerror(errno));
		return false;
	}
	if (!ignore_own_datagrams(run, source, collector)) {
		message("{}: {}", run.options.interface, pcap_geterr(run.handle.get()));
		return false;
	}
	host::set_route(run.device, source);
	return true;
}

void take_packet(u_char *context, const pcap_pkthdr *header, const u_char *data)
{
	session &run = *reinterpret_cast<session *>(context);
	pcap_pkthdr in_nanoseconds = *header;
	if (!run.counts_nanoseconds)
		in_nanoseconds.ts.tv_usec *= 1000;
	const captured_packet packet = packet_of(run.link_type, in_nanoseconds, data);
	run.views.begin_frame(frame_of(packet, run.options.interface));
	run.forwarding.take(run.device, packet, static_cast<int32_t>(++run.packets));
	run.views.end_frame();
}

// Until a signal comes; false when the interface fails before. What came is printed as soon as nothing more waits.
bool capture(session &run, const stop_signals &stop)
{
	constexpr int packets_at_once = 256;
	pollfd sources[] = {{pcap_get_selectable_fd(run.handle.get()), POLLIN, 0}, {stop.descriptor(), POLLIN, 0}};
	while (!run.text.failed() && run.views.error().empty()) {
		if (poll(sources, 2, -1) < 0 && errno != EINTR)
			return false;
		if (sources[1].revents)
			return true;
		if (!sources[0].revents)
			continue;
		const int count = pcap_dispatch(run.handle.get(), packets_at_once, take_packet, reinterpret_cast<u_char *>(&run));
		if (count < 0) {
			message("{}: {}", run.options.interface, pcap_geterr(run.handle.get()));
			return false;
		}
		if (count > 0 && !read_setting(debug_pkt_mirror_ip)) {
			deliver_pending();
			run.text.flush();
			run.views.flush();
		}
	}
	return true;
}

debug_pkt_counters print_counters(session &run)
{
	debug_pkt_counters counters = {};
	add_counters(counters);
	std::string line = fmt::format("packets seen {}", run.packets);
	pcap_stat stats;
	if (pcap_stats(run.handle.get(), &stats) == 0)
		line += fmt::format(", lost by the kernel {}", stats.ps_drop);
	line += counters_text(counters);
	if (run.datagrams_not_sent)
		line += fmt::format(", datagrams not sent {} ({})", run.datagrams_not_sent, std::strerror(run.send_error));
	message("{}", line);
	return counters;
}

} // namespace

exit_status run_live(const live_options &options)
{
	if (const std::string reason = output_conflict({}, {options.views.frames, options.views.graph}); !reason.empty()) {
		message("{}", reason);
		return exit_bad_input;
	}
	const stop_signals stop;
	session run(options, stop.descriptor());
	if (const exit_status status = open_interface(run); status != exit_done)
		return status;
	run.device =
		start_appliance(options, options.interface, static_cast<int32_t>(if_nametoindex(options.interface.c_str())), 0);
	if (!run.device)
		return exit_environment;
	host::set_receiver(print_message, &run);
	host::set_output(send_datagram, &run);
	if (!debug_pkt_enabled())
		message("the settings turn capture off (packet types 0): nothing is rendered");
	if (!open_mirror(run))
		return exit_environment;
	if (!run.views.open()) {
		stop.end_if_asked();
		message("{}", run.views.error());
		return exit_environment;
	}
	message("capturing on {}, link type {}", options.interface, link_type_name(run.link_type));

	const bool worked = capture(run, stop);
	run.views.finish();
	run.text.flush();
	const debug_pkt_counters counters = print_counters(run);
	if (run.mirror_socket >= 0)
		close(run.mirror_socket);
	if (!run.views.error().empty() && !run.views.reader_is_gone()) {
		message("{}", run.views.error());
		return exit_environment;
	}
	if (run.text.failed() && run.text.error_number() != EPIPE && run.text.error_number() != ECANCELED) {
		message("standard output: {}", std::strerror(run.text.error_number()));
		return exit_environment;
	}
	if (!worked)
		return exit_environment;
	return counters.matched ? exit_done : exit_nothing_matched;
}
