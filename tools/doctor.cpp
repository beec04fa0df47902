// SPDX-License-Identifier: GPL-2.0-only
#include "tools/doctor.h"

#include "tools/clock_text.h"
#include "tools/current_settings.h"
#include "tools/module_counters.h"
#include "tools/set.h"
#include "tools/settings_entry.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <net/if.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct advice {
	const char *counter, *meaning;
};

// What each counter that should stay 0 says.
constexpr advice losses[] = {
	{"cut_texts", "texts were longer than the 4095 bytes of a buffer and cut: narrow the filter (--type, --ip)"},
	{"dropped_texts",
	 "texts were dropped, as those before them could not be delivered: narrow the filter, see the causes below"},
	{"discarded_bytes", "bytes of waiting text were thrown away: each write to debug_pkt_set_buff does so"},
	{"delivery_no_buffer", "deliveries failed for want of memory: free some"},
	{"delivery_no_bridge", "deliveries failed as br0 was not there: ip link add br0 type bridge && ip link set br0 up"},
	{"delivery_refused", "deliveries were lost, as the receive queue was full or br0 down: narrow the filter, raise "
			     "net.core.netdev_max_backlog, ip link set br0 up"},
	{"mirror_no_route", "frames were not mirrored, as there was no route to the collector: ip route get ADDRESS"},
	{"mirror_own_packet",
	 "frames were not mirrored, as they were mirrored ones already: filter by a device (--dev) that the mirror "
	 "does not leave by"},
	{"mirror_no_buffer", "frames were not mirrored for want of memory: free some"},
	{"mirror_too_long", "frames were too long to be mirrored (above 65511 bytes): ethtool -K DEVICE gro off lro off"},
};

inline constexpr unsigned oldest_kernel[2] = {4, 19};
inline constexpr int cap_net_raw = 13;

class report {
public:
	template <class... Values> void good(fmt::format_string<Values...> format, Values &&...values)
	{
		print("ok", format, fmt::make_format_args(values...));
	}
	template <class... Values> void note(fmt::format_string<Values...> format, Values &&...values)
	{
		print("note", format, fmt::make_format_args(values...));
	}
	template <class... Values> void missing(fmt::format_string<Values...> format, Values &&...values)
	{
		print("missing", format, fmt::make_format_args(values...));
		++gaps;
	}
	int count_of_missing() const { return gaps; }

private:
	static void print(const char *kind, fmt::string_view format, fmt::format_args values)
	{
		std::printf("%-8s %s\n", kind, fmt::vformat(format, values).c_str());
	}

	int gaps = 0;
};

std::string first_line(const fs::path &path)
{
	std::ifstream file(path);
	std::string line;
	std::getline(file, line);
	return line;
}

bool is_there(const fs::path &path)
{
	std::error_code unknown;
	return fs::exists(path, unknown);
}

std::string check_kernel(const doctor_options &options, report &out)
{
	std::string release = first_line(options.sysctl_root + "/kernel/osrelease");
	unsigned version[2];
	if (std::sscanf(release.c_str(), "%u.%u", version, version + 1) != 2)
		out.missing("kernel: its version cannot be read from {}/kernel/osrelease; is /proc mounted?", options.sysctl_root);
	else if (std::lexicographical_compare(version, version + 2, oldest_kernel, oldest_kernel + 2))
		out.missing("kernel {}: older than 4.19, the module is not made for it", release);
	else
		out.good("kernel {}", release);
	return release;
}

bool is_built_for(const std::string &release)
{
	std::ifstream file("/lib/modules/" + release + "/modules.dep");
	std::string line;
	while (std::getline(file, line))
		if (line.substr(0, line.find(':')).find("debug_pkt_dump.ko") != line.npos)
			return true;
	return false;
}

bool check_module(const doctor_options &options, const std::string &release, report &out)
{
	if (is_there(options.sys_root + "/module/debug_pkt_dump") || is_there(settings_entry(options.sysctl_root))) {
		out.good("module debug_pkt_dump is loaded");
		return true;
	}
	if (is_built_for(release))
		out.missing("module debug_pkt_dump is not loaded: modprobe debug_pkt_dump");
	else
		out.missing(
			"module debug_pkt_dump is not loaded, and none is installed for this kernel: install debug-pkt-dkms and "
			"linux-headers-{}, or make modules_install; then modprobe debug_pkt_dump",
			release);
	return false;
}

bool check_entries(const doctor_options &options, report &out)
{
	const fs::path folder = options.sysctl_root + "/net/fw";
	std::string absent;
	for (const char *const name : {"debug_pkt_params", "debug_pkt_set_buff", "gre_type"})
		if (!is_there(folder / name))
			absent += fmt::format("{}{}", absent.empty() ? "" : ", ", name);
	if (absent.empty())
		out.good("sysctl entries in {}", folder.string());
	else
		out.missing(
			"sysctl entries in {}: there is no {}; dmesg tells why they could not be registered, load the module again",
			folder.string(), absent);
	return absent.empty();
}

void check_permissions(const doctor_options &options, bool entries, report &out)
{
	const std::string entry = settings_entry(options.sysctl_root);
	if (entries && faccessat(AT_FDCWD, entry.c_str(), R_OK | W_OK, AT_EACCESS) != 0)
		out.missing("permission to write {}: {}; run debug-pkt as root", entry, std::strerror(errno));
	else if (entries)
		out.good("permission to write the settings");

	uint64_t capabilities = 0;
	std::ifstream status("/proc/self/status");
	for (std::string line; std::getline(status, line);)
		if (line.starts_with("CapEff:"))
			capabilities = std::strtoull(line.c_str() + 7, nullptr, 16);
	if (capabilities >> cap_net_raw & 1)
		out.good("permission to open packet sockets");
	else
		out.missing("permission to open packet sockets, for watch and live: run debug-pkt as root or with CAP_NET_RAW");
}

void check_bridge(const doctor_options &options, report &out)
{
	const fs::path bridge = options.sys_root + "/class/net/br0";
	if (!is_there(bridge))
		out.missing("device br0, which text is delivered on: ip link add br0 type bridge && ip link set br0 up");
	else if (std::strtoul(first_line(bridge / "flags").c_str(), nullptr, 16) & IFF_UP)
		out.good("device br0 is up");
	else
		out.missing("device br0 is down, text on it is lost: ip link set br0 up");
}

void check_time(const current_settings &current, report &out)
{
	const saved_state &state = *current.state;
	if (!state.previous) {
		if (current.settings.type && !current.settings.limit)
			out.note("capture is on without a limit since {}: debug-pkt off when nobody needs it any longer",
				 clock_text(state.since));
		return;
	}
	if (std::time(nullptr) < state.until && (kill(state.owner, 0) == 0 || errno == EPERM))
		out.good("the settings are those of process {} until {}", state.owner, clock_text(state.until));
	else
		out.note("the settings were to be there until {}, but process {} has brought nothing back: debug-pkt off",
			 clock_text(state.until), state.owner);
}

// Whether capture is on.
bool check_capture(const doctor_options &options, report &out)
{
	current_settings current;
	const std::string reason = read_current(settings_entry(options.sysctl_root), current);
	if (!reason.empty() || !current.unreadable.empty()) {
		out.missing("settings: {}{}", reason, current.unreadable);
		return false;
	}
	if (!current.damage.empty())
		out.note("{}", current.damage);
	const filter_settings &settings = current.settings;
	if (current.limit_reached)
		out.note("capture is off: the limit of {} packets was reached; debug-pkt set starts it again", settings.limit);
	else if (!settings.type && settings.limit)
		out.note("capture is off, perhaps as the limit of {} packets was reached; debug-pkt set starts it again",
			 settings.limit);
	else
		out.good("{}", settings.type ? "capture is on (debug-pkt show)" : "capture is off; debug-pkt set switches it on");
	if (current.state)
		check_time(current, out);
	else if (settings.type && !settings.limit)
		out.note("capture is on without a limit, set by somebody else than debug-pkt: debug-pkt off when nobody needs it "
			 "any longer");
	if (!settings.type)
		return false;
	for (const std::string &why : impossible(settings))
		out.note("nothing can match: {}", why);
	if (settings.mirror != filter_settings().mirror)
		out.note("frames go to the collector: there is no text on br0");
	return true;
}

void check_counters(const doctor_options &options, bool armed, report &out)
{
	const std::string path = options.sys_root + "/kernel/debug/debug_pkt_dump/stats";
	std::map<std::string, uint64_t> counters = read_module_counters(path);
	if (counters.empty()) {
		if (errno == EACCES)
			out.note("counters: {} is for root only: run debug-pkt as root", path);
		else
			out.note("counters: there is no {}: mount -t debugfs none {}/kernel/debug", path, options.sys_root);
		return;
	}
	out.good("counters: {} packets matched, {} messages delivered, {} frames mirrored since the module was loaded",
		 counters["matched"], counters["delivered"], counters["mirrored"]);
	if (armed && !counters["matched"])
		out.note("no packet has matched yet: does a datapath call the module (debug_pkt_datapath on a stock kernel), "
			 "is the filter right (debug-pkt show)?");
	for (const advice &loss : losses)
		if (counters[loss.counter])
			out.note("{} {}", counters[loss.counter], loss.meaning);
}

} // namespace

exit_status run_doctor(const doctor_options &options)
{
	report out;
	const std::string release = check_kernel(options, out);
	const bool loaded = check_module(options, release, out);
	const bool entries = loaded && check_entries(options, out);
	check_permissions(options, entries, out);
	check_bridge(options, out);
	if (loaded) {
		const bool armed = entries && check_capture(options, out);
		check_counters(options, armed, out);
	}
	const exit_status status = end_of_output();
	return out.count_of_missing() ? exit_environment : status;
}
