// SPDX-License-Identifier: GPL-2.0-only
// The state of one CPU, touched only by that CPU and without locks. this_cpu(name) is the running CPU's instance.
#pragma once

#include "include/debug_pkt_counters.h"
#include "include/debug_pkt_dump.h"
#include "platform/platform.h"

// debug_pkt_matched, the matched flag, is exported: include/debug_pkt_dump.h declares it.

// Descriptor of the last packet that passed; NULL after a capture call that did not.
extern PER_CPU(debug_pkt_desc *) last_matched_pkt;
// The leading header bytes of that packet as last decoded; hdrlen of them are valid, at most 1023.
extern PER_CPU(uint8_t) hdrcache[1024];
extern PER_CPU(uint32_t) hdrlen;
// The descriptor that the datapath wrappers fill; zero at load.
extern PER_CPU(debug_pkt_desc) sbeth;
// Pending text from the start of the buffer up to the end pointer. NULL end: unset, nobody has reset or delivered yet.
extern PER_CPU(char) debug_pkt_buf[4096];
extern PER_CPU(char *) debug_pkt_buf_end;

// What this CPU is decoding.
struct packet_state {
	uintptr_t end;  // address behind the packet's last byte; all ones when no packet was announced
	uint32_t depth; // inner frames and quoted headers being decoded inside one another
};
extern PER_CPU(packet_state) debug_pkt_packet;

// What happened on this CPU since load.
extern PER_CPU(debug_pkt_counters) debug_pkt_stats;

// Adds to one counter of this CPU. 64-bit counters are not read whole by other CPUs of 32-bit machines: readers retry there.
inline void count_event(uint64_t debug_pkt_counters::*counter, uint64_t amount = 1)
{
	uint64_t &value = this_cpu(debug_pkt_stats).*counter;
	value = value + amount;
}
