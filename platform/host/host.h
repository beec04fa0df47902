// SPDX-License-Identifier: GPL-2.0-only
// The surroundings in user space: what a test or a tool sets, makes fail and looks at. CPUs are threads bound to a CPU number;
// per-CPU variables are thread-local.
#pragma once

#include "platform/platform.h"

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

namespace host {
inline constexpr unsigned cache_line = 64;
}

// A network device. Looked up by name and index while it is in the device table. One device's references, which every CPU counts,
// are not in the line of another's name.
struct alignas(host::cache_line) net_device {
	char name[16];
	int32_t ifindex;
	std::atomic<int> references;
};

// A packet buffer: [head, head + size) holds the data area [data, data + len).
struct sk_buff {
	net_device *dev;
	uint8_t *data;
	uint32_t len;
	int32_t skb_iif;
	uint16_t protocol; // network byte order, as in the kernel
	uint8_t pkt_type;
	uint8_t ip_summed;
	uint8_t *head;
	uint32_t size;
	uint32_t mac_header;     // offset from head; all ones until it is marked
	uint32_t network_header; // likewise
	rtable *route;
};

struct rtable {
	net_device *dev;
	uint32_t source; // network byte order
	std::atomic<int> references;
};

namespace host {

// --- Fault points: one for each operation that can fail ---

enum class fault_point {
	alloc_atomic,
	alloc,
	skb_alloc,
	dev_get_by_name,
	dev_get_by_index,
	netif_rx,
	route_output_null,  // no route
	route_output_error, // an error value
	register_sysctl,
	proc_dostring, // the copy from or to the user fails with -14
	set_cpus_allowed,
	count_of_points
};
// Lets the next `after` calls of the operation succeed and the `times` calls behind them fail; times 0 clears the point.
void set_fault(fault_point point, unsigned times, unsigned after = 0);
void clear_faults();
// Calls that failed because of it since the last clear_faults.
unsigned faults_hit(fault_point point);
// The name used in messages and tables: the enumerator's.
const char *fault_name(fault_point point);
// For the platform's own operations: whether this call is to fail.
extern std::atomic<bool> any_fault;
bool is_hit(fault_point point);
inline bool fails(fault_point point)
{
	return any_fault.load(std::memory_order_relaxed) && is_hit(point);
}

// --- CPUs ---

// Makes the calling thread CPU n; threads that never call it are CPU 0.
void bind_cpu(uint32_t cpu);

// --- Devices: initially none ---

// ifindex 0 takes the next free one. NULL when there are 1024 devices already.
net_device *add_device(std::string_view name, int32_t ifindex = 0);
// Takes the device out of the table; the record stays valid.
void remove_device(net_device *dev);
void rename_device(net_device *dev, std::string_view name);
void remove_all_devices();

// --- Packet buffers ---

// Frees a buffer of platform_skb_alloc. Buffers that nobody frees are leaks, as in the kernel.
void free_skb(sk_buff *skb);
// Buffers of platform_skb_alloc not freed yet, and memory of platform_alloc and platform_alloc_atomic not freed yet.
long live_buffers();
long live_allocations();
// The most bytes of a frame that one piece holds, as where there is no memory to copy one that lies in several pieces. Initially
// no limit.
void set_linear_limit(uint32_t size);
// What netif_rx hands packets to; it owns them. Its result is netif_rx's. NULL (the initial state) frees and accepts.
using receive_function = int (*)(void *context, sk_buff *skb);
void set_receiver(receive_function function, void *context);

// --- Routes and netfilter ---

// The one output route that every look-up finds; NULL dev takes it away.
void set_route(net_device *dev, uint32_t source);
rtable *route();
// LOCAL_OUT hook: its result is the hooks' (1: go on). NULL: there are no hooks.
using hook_function = int (*)(void *context, sk_buff *skb, net_device *dev, platform_continuation *okfn);
void set_local_out_hook(hook_function function, void *context);
// The output function of every route; it owns the packet. NULL frees and returns 0.
using output_function = int (*)(void *context, sk_buff *skb);
void set_output(output_function function, void *context);

// --- Time ---

// Fixes the calling thread's clock at a moment; without a call it is the system's.
void set_clock(int64_t seconds, long nanoseconds);
void use_system_clock();
// Initially UTC: 0 and 0.
void set_time_zone(int32_t minutes_west, int32_t dst);

// --- Kernel log ---

struct log_line {
	bool information; // logged at information level; else without a level
	std::string text;
};
// Takes the lines logged so far.
std::vector<log_line> take_log();
// Called for each line instead of keeping it; NULL keeps.
using log_function = void (*)(void *context, const log_line &line);
void set_log(log_function function, void *context);

// --- Sysctl: the registered tree as a key-value interface ---

// path is relative, for example "net/fw/debug_pkt_params". 0 or a negative error: -2 no such entry, -20 a directory, others the
// handler's. One call is one system call at *position; length is what was asked for and what was done.
int sysctl_write(std::string_view path, const void *text, size_t &length, long long &position);
int sysctl_read(std::string_view path, void *buffer, size_t &length, long long &position);
// Whole values: a write at position 0; reads until nothing more comes, the newline included.
int sysctl_write(std::string_view path, std::string_view text);
int sysctl_read(std::string_view path, std::string &text);
// Paths of all entries, in order.
std::vector<std::string> sysctl_paths();
// Mode of an entry or directory; 0 when there is none.
uint16_t sysctl_mode(std::string_view path);
// Forgets the registration, as a fresh boot would.
void sysctl_reset();
// Whether unloading takes the tree away, as where the code goes away with it. Initially it stays.
void set_unload_takes_tree(bool takes);

// Everything above back to its initial state; CPU and clock are the calling thread's.
void reset();

} // namespace host
