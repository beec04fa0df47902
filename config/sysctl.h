// SPDX-License-Identifier: GPL-2.0-only
// The sysctl tree net/fw with its three entries, module start-up and shutdown, and the CPU-binding operations.
#pragma once

#include "platform/platform.h"

// The three entries and their end record, as registered; the handler supplies data and length on every call.
extern const platform_sysctl_entry debug_pkt_sysctl_template[4];
// The registered tree: "net" and its end, "fw" and its end, the entries and their end, one spare. NULL: none.
extern platform_sysctl_entry *debug_pkt_sysctls;
extern platform_sysctl_header *debug_pkt_sysctl_header;

// Bytes of text that one read or write can carry.
inline constexpr int32_t debug_pkt_sysctl_size = 16048;

extern "C" int init_module();
extern "C" void cleanup_module();
void debug_pkt_sysctl_register();

// One read or write of any entry, in the caller's process; may sleep. 0, -12 (no memory) or the copy's negative error.
extern "C" int debug_pkt_sysctl_hostport_smp(platform_sysctl_entry *entry, int write, void *buffer, size_t *length,
					     long long *position);
int debug_pkt_sysctl_hostport(platform_sysctl_entry *entry, int write, void *buffer, size_t *length, long long *position);

// Resets the running CPU's output buffer and matched flag, and the capture count.
void debug_pkt_set_buffer();

// Bind the running task to one CPU, also with the allowed CPUs saved before (bit n = CPU n); give it the saved ones back. Return 0.
int debug_pkt_bind_task_cpu(uint32_t cpu);
int debug_pkt_bind_task_cpu_save(uint32_t cpu, unsigned long *saved);
int debug_pkt_bind_task_cpu_restore(unsigned long saved);
