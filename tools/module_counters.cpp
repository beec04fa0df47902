// SPDX-License-Identifier: GPL-2.0-only
#include "tools/module_counters.h"

#include <cerrno>
#include <fstream>
#include <limits>

std::map<std::string, uint64_t> read_module_counters(const std::string &path)
{
	std::map<std::string, uint64_t> counters;
	errno = 0;
	std::ifstream file(path);
	// A line of titles; then a name, the sum, one number for each CPU.
	constexpr auto rest_of_line = std::numeric_limits<std::streamsize>::max();
	file.ignore(rest_of_line, '\n');
	std::string name;
	for (uint64_t sum; file >> name >> sum; file.ignore(rest_of_line, '\n'))
		counters[name] = sum;
	return counters;
}
