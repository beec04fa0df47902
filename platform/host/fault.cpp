// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

namespace host {

namespace {

struct fault {
	std::atomic<unsigned> after, times, hits;
};
fault faults[static_cast<unsigned>(fault_point::count_of_points)];
fault &fault_of(fault_point point)
{
	return faults[static_cast<unsigned>(point)];
}

// Takes one off a count that is not 0 yet.
bool take_one(std::atomic<unsigned> &count)
{
	unsigned left = count.load();
	while (left)
		if (count.compare_exchange_weak(left, left - 1))
			return true;
	return false;
}

} // namespace

std::atomic<bool> any_fault;

void set_fault(fault_point point, unsigned times, unsigned after)
{
	fault_of(point).after = after;
	fault_of(point).times = times;
	any_fault = true;
}

void clear_faults()
{
	any_fault = false;
	for (fault &each : faults)
		each.after = each.times = each.hits = 0;
}

unsigned faults_hit(fault_point point)
{
	return fault_of(point).hits;
}

const char *fault_name(fault_point point)
{
	switch (point) {
	case fault_point::alloc_atomic:
		return "alloc_atomic";
	case fault_point::alloc:
		return "alloc";
	case fault_point::skb_alloc:
		return "skb_alloc";
	case fault_point::dev_get_by_name:
		return "dev_get_by_name";
	case fault_point::dev_get_by_index:
		return "dev_get_by_index";
	case fault_point::netif_rx:
		return "netif_rx";
	case fault_point::route_output_null:
		return "route_output_null";
	case fault_point::route_output_error:
		return "route_output_error";
	case fault_point::register_sysctl:
		return "register_sysctl";
	case fault_point::proc_dostring:
		return "proc_dostring";
	case fault_point::set_cpus_allowed:
		return "set_cpus_allowed";
	case fault_point::count_of_points:
		break;
	}
	return "unknown";
}

bool is_hit(fault_point point)
{
	fault &wanted = fault_of(point);
	if (take_one(wanted.after) || !take_one(wanted.times))
		return false;
	++wanted.hits;
	return true;
}

void reset()
{
	clear_faults();
	bind_cpu(0);
	platform_set_cpus_allowed(~0ul);
	remove_all_devices();
	set_linear_limit(UINT32_MAX);
	set_receiver(nullptr, nullptr);
	set_route(nullptr, 0);
	set_local_out_hook(nullptr, nullptr);
	set_output(nullptr, nullptr);
	use_system_clock();
	set_time_zone(0, 0);
	set_log(nullptr, nullptr);
	take_log();
	sysctl_reset();
	set_unload_takes_tree(false);
}

} // namespace host
