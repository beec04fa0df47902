// SPDX-License-Identifier: GPL-2.0-only
#include "tests/kernel/probe/probe.h"

#include <fstream>
#include <numeric>
#include <sstream>

std::vector<uint64_t> read_counter(const std::string &name)
{
	std::ifstream file("/sys/kernel/debug/debug_pkt_dump/stats");
	for (std::string line; std::getline(file, line);) {
		std::istringstream columns(line);
		std::string title;
		uint64_t sum;
		if (!(columns >> title) || title != name || !(columns >> sum))
			continue;
		std::vector<uint64_t> values;
		for (uint64_t value; columns >> value;)
			values.push_back(value);
		if (std::accumulate(values.begin(), values.end(), uint64_t(0)) != sum)
			fail("%s: the sum is not that of the CPUs", name.c_str());
		return values;
	}
	fail("no counter %s", name.c_str());
}
