// SPDX-License-Identifier: GPL-2.0-only
// Writes a capture of made traffic: make_traffic KIND PACKETS HOSTS SEED FILE
#include "bench/traffic.h"

#include <pcap/pcap.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv)
{
	unsigned kind = 0;
	while (argc == 6 && bench::traffic_names[kind] && std::strcmp(argv[1], bench::traffic_names[kind]) != 0)
		++kind;
	if (argc != 6 || !bench::traffic_names[kind]) {
		std::fprintf(stderr, "usage: make_traffic KIND PACKETS HOSTS SEED FILE\nKIND:");
		for (const char *const *name = bench::traffic_names; *name; ++name)
			std::fprintf(stderr, " %s", *name);
		std::fprintf(stderr, "\n");
		return 2;
	}
	const unsigned long packets = std::strtoul(argv[2], nullptr, 10);
	bench::traffic source(static_cast<bench::traffic_kind>(kind), std::strtoull(argv[4], nullptr, 10),
			      static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)));
	// In large pieces, as a file is copied: the kernel then keeps it in large pages, as it does what comes from a disk.
	pcap_t *const handle = pcap_open_dead(DLT_EN10MB, 65535);
	pcap_dumper_t *const file = pcap_dump_open(handle, argv[5]);
	if (!file) {
		std::fprintf(stderr, "make_traffic: %s\n", pcap_geterr(handle));
		return 3;
	}
	std::vector<char> buffer(1 << 20);
	std::setvbuf(pcap_dump_file(file), buffer.data(), _IOFBF, buffer.size());
	for (unsigned long i = 0; i < packets; ++i) {
		const std::vector<uint8_t> &frame = source.next();
		pcap_pkthdr header = {};
		header.ts.tv_sec = static_cast<time_t>(1700000000 + i / 100000);
		header.ts.tv_usec = static_cast<suseconds_t>(i % 100000 * 10);
		header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
		pcap_dump(reinterpret_cast<u_char *>(file), &header, frame.data());
	}
	const bool written = pcap_dump_flush(file) == 0;
	pcap_dump_close(file);
	pcap_close(handle);
	return written ? 0 : 3;
}
