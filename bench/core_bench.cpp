// SPDX-License-Identifier: GPL-2.0-only
// Every row of bench/rows.h, named beside its time: each decoder over traffic of its kind, capture calls when capture is off,
// armed, matching and mirrored, follow-ups, append and delivery.
#include "bench/rows.h"

#include <benchmark/benchmark.h>

namespace {

void core_row(benchmark::State &state)
{
	const bench::row &row = bench::rows[state.range(0)];
	state.SetLabel(row.name);
	const std::vector<std::vector<uint8_t>> frames = bench::prepare(row, 2000);
	size_t next = 0;
	while (state.KeepRunning()) {
		row.work(frames[next]);
		next = next + 1 == frames.size() ? 0 : next + 1;
	}
}
BENCHMARK(core_row)->DenseRange(0, bench::row_count - 1);

} // namespace
