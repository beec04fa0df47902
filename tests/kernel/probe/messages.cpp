// SPDX-License-Identifier: GPL-2.0-only
#include "tests/kernel/probe/probe.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

messages::messages(tap &eyes) : taken(eyes), bridge(index_of("br0")), delivered_before(read_counter("delivered")) {}

bool messages::has(const seen_frame &frame) const
{
	return frame.ifindex == bridge;
}

void messages::wait()
{
	for (int round = 0; round < 2; ++round)
		if (!(std::ofstream("/sys/module/debug_pkt_datapath/parameters/flush") << 1 << std::flush))
			fail("no datapath to flush");
	const std::vector<uint64_t> delivered = read_counter("delivered");
	wait_until(
		[&] {
			taken.look();
			for (unsigned cpu = 0; cpu < taken.cpus(); ++cpu)
				if (count(cpu) < delivered[cpu] - delivered_before[cpu])
					return false;
			return true;
		},
		"messages that were delivered do not come in on br0");
}

uint64_t messages::count(unsigned cpu) const
{
	return static_cast<uint64_t>(std::ranges::count_if(taken.seen(cpu), [this](const seen_frame &each) { return has(each); }));
}

std::string messages::text(unsigned cpu) const
{
	std::string text;
	for (const seen_frame &each : taken.seen(cpu)) {
		if (!has(each))
			continue;
		const bytes &message = each.data;
		if (message.size() < 2 || message.size() > 4095 + 2 || message[0] != 1)
			fail("a message of %zu bytes with flag %d", message.size(), message.empty() ? -1 : message[0]);
		if (message.size() > 2 && message.back() != 0)
			fail("a message does not end with a NUL");
		text.append(message.begin() + 1, message.end() - 1);
	}
	return text;
}

int show(int, char **)
{
	tap eyes;
	messages cli(eyes);
	announce_start();
	wait_for_end();
	cli.wait();
	for (unsigned cpu = 0; cpu < eyes.cpus(); ++cpu)
		std::fputs(cli.text(cpu).c_str(), stdout);
	return 0;
}
