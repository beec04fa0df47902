// SPDX-License-Identifier: GPL-2.0-only
// The formatter beside the C library's snprintf: the same line, the same arguments.
#include "text/format.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

struct line_arguments {
	uint8_t bytes[14] = {0x02, 0x1b, 0x21, 0x3c, 0x9d, 0xf8, 0x02, 0x1b, 0x21, 0x40, 0x11, 0x07, 0x08, 0x00};
	char out[256];
};

void mac_line(benchmark::State &state)
{
	line_arguments line;
	for (auto _ : state) {
		benchmark::DoNotOptimize(line.bytes);
		benchmark::DoNotOptimize(
			text::format<
				"  #mac: etype %02x%02x smac %02x:%02x:%02x:%02x:%02x:%02x dmac %02x:%02x:%02x:%02x:%02x:%02x\n">(
				line.out, sizeof line.out, text::octets<2>(line.bytes + 12), text::octets<6>(line.bytes + 6),
				text::octets<6>(line.bytes)));
		benchmark::ClobberMemory();
	}
}
BENCHMARK(mac_line);

void mac_line_snprintf(benchmark::State &state)
{
	line_arguments line;
	const uint8_t *const b = line.bytes;
	for (auto _ : state) {
		benchmark::DoNotOptimize(line.bytes);
		benchmark::DoNotOptimize(
			snprintf(line.out, sizeof line.out,
				 "  #mac: etype %02x%02x smac %02x:%02x:%02x:%02x:%02x:%02x dmac %02x:%02x:%02x:%02x:%02x:%02x\n",
				 b[12], b[13], b[6], b[7], b[8], b[9], b[10], b[11], b[0], b[1], b[2], b[3], b[4], b[5]));
		benchmark::ClobberMemory();
	}
}
BENCHMARK(mac_line_snprintf);

void ip_line(benchmark::State &state)
{
	line_arguments line;
	for (auto _ : state) {
		benchmark::DoNotOptimize(line.bytes);
		benchmark::DoNotOptimize(text::format<"  #ip: sip %d.%d.%d.%d, dip %d.%d.%d.%d, proto %d hdr len %d\n">(
			line.out, sizeof line.out, text::octets<4>(line.bytes), text::octets<4>(line.bytes + 4), line.bytes[12],
			line.bytes[11]));
		benchmark::ClobberMemory();
	}
}
BENCHMARK(ip_line);

void ip_line_snprintf(benchmark::State &state)
{
	line_arguments line;
	const uint8_t *const b = line.bytes;
	for (auto _ : state) {
		benchmark::DoNotOptimize(line.bytes);
		benchmark::DoNotOptimize(snprintf(line.out, sizeof line.out,
						  "  #ip: sip %d.%d.%d.%d, dip %d.%d.%d.%d, proto %d hdr len %d\n", b[0], b[1],
						  b[2], b[3], b[4], b[5], b[6], b[7], b[12], b[11]));
		benchmark::ClobberMemory();
	}
}
BENCHMARK(ip_line_snprintf);

} // namespace
