// SPDX-License-Identifier: GPL-2.0-only
// One row's work, many times, for counting instructions: work ROW COUNT. bench/instructions counts those of measured_work.
#include "bench/rows.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// The only part that is counted; not inlined so that it can be found.
extern "C" [[gnu::noinline]] void measured_work(const bench::row &chosen, const std::vector<std::vector<uint8_t>> &frames)
{
	for (const std::vector<uint8_t> &frame : frames)
		chosen.work(frame);
}

int main(int argc, char **argv)
{
	const bench::row *chosen = nullptr;
	for (const bench::row &row : bench::rows)
		if (argc == 3 && std::strcmp(argv[1], row.name) == 0)
			chosen = &row;
	if (!chosen) {
		std::fprintf(stderr, "usage: work ROW COUNT\nROW:");
		for (const bench::row &row : bench::rows)
			std::fprintf(stderr, " %s", row.name);
		std::fprintf(stderr, "\n");
		return 2;
	}
	measured_work(*chosen, bench::prepare(*chosen, static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10))));
	return 0;
}
