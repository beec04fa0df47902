// SPDX-License-Identifier: GPL-2.0-only
#include "tools/rotating_pcapng.h"

#include "tools/message.h"

#include <fmt/chrono.h>

#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

inline constexpr uint16_t link_type_ethernet = 1;

} // namespace

rotating_pcapng::rotating_pcapng(const std::string &wanted, const rotation &ends, int stop) : path(wanted), limits(ends), file(stop)
{
	if (limits.seconds)
		age_timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
}

rotating_pcapng::~rotating_pcapng()
{
	if (age_timer >= 0)
		::close(age_timer);
}

size_t rotating_pcapng::add_source(const std::string &source_name)
{
	source added;
	added.name = source_name;
	sources.push_back(added);
	return sources.size() - 1;
}

std::string rotating_pcapng::next_name()
{
	if (!limits.wanted())
		return path;
	const std::string part = fmt::format("-{:%Y%m%dT%H%M%SZ}-{:05}", fmt::gmtime(std::time(nullptr)), ++files);
	const size_t folder = path.rfind('/'), dot = path.rfind('.');
	const bool has_ending = dot != std::string::npos && dot > (folder == std::string::npos ? 0 : folder + 1);
	return std::string(path).insert(has_ending ? dot : path.size(), part);
}

bool rotating_pcapng::check(bool worked)
{
	if (!worked && reason.empty())
		reason = fmt::format("{}: {}", name == "-" ? "standard output" : name, file.error());
	return worked;
}

bool rotating_pcapng::open()
{
	name = next_name();
	interfaces = 0;
	packets = 0;
	for (source &each : sources)
		each.number.reset();
	return check(file.open(name));
}

void rotating_pcapng::start_timer(long seconds) const
{
	const itimerspec once = {{0, 0}, {seconds, 0}};
	if (age_timer >= 0)
		timerfd_settime(age_timer, 0, &once, nullptr);
}

bool rotating_pcapng::write(size_t which, pcapng_packet packet, uint64_t missing)
{
	if (!file.is_open() && !open())
		return false;
	source &from = sources[which];
	if (!from.number) {
		if (!check(file.add_interface(link_type_ethernet, from.name, "frames mirrored by " + from.name)))
			return false;
		from.number = interfaces++;
	}
	if (packets++ == 0)
		start_timer(limits.seconds);
	++from.received;
	from.missing = missing;
	from.seconds = packet.seconds;
	from.nanoseconds = packet.nanoseconds;
	packet.interface = *from.number;
	if (!check(file.write(packet)))
		return false;
	return !limits.bytes || file.size() < limits.bytes || end_file();
}

bool rotating_pcapng::flush()
{
	return check(!file.is_open() || file.flush());
}

bool rotating_pcapng::end_file()
{
	if (!file.is_open())
		return reason.empty();
	start_timer(0);
	for (const source &each : sources)
		if (each.number)
			file.write_statistics(*each.number, each.seconds, each.nanoseconds, each.received, each.missing);
	const bool worked = check(file.close());
	if (limits.wanted())
		message("{}: packets {}, bytes {}", name, packets, file.size());
	return worked;
}

bool rotating_pcapng::close()
{
	return end_file();
}
