// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

namespace host {

namespace {

rtable only_route;
std::atomic<bool> has_route;

template <class Function> struct callback {
	std::atomic<Function> function;
	std::atomic<void *> context;

	void set(Function new_function, void *new_context)
	{
		context = new_context;
		function = new_function;
	}
};
callback<hook_function> local_out_hook;
callback<output_function> output;

} // namespace

void set_route(net_device *dev, uint32_t source)
{
	has_route = false;
	only_route.dev = dev;
	only_route.source = source;
	only_route.references = 0;
	has_route = dev != nullptr;
}

rtable *route()
{
	return &only_route;
}

void set_local_out_hook(hook_function function, void *context)
{
	local_out_hook.set(function, context);
}

void set_output(output_function function, void *context)
{
	output.set(function, context);
}

} // namespace host

rtable *platform_route_output(platform_flow *flow)
{
	if (host::fails(host::fault_point::route_output_error))
		return reinterpret_cast<rtable *>(static_cast<uintptr_t>(-113)); // no route to host
	if (host::fails(host::fault_point::route_output_null) || !host::has_route)
		return nullptr;
	flow->source = host::only_route.source;
	host::only_route.references.fetch_add(1, std::memory_order_relaxed);
	return &host::only_route;
}

void platform_route_release(rtable *route)
{
	route->references.fetch_sub(1, std::memory_order_relaxed);
}

net_device *platform_route_dev(const rtable *route)
{
	return route->dev;
}

void platform_skb_set_route(sk_buff *skb, rtable *route)
{
	skb->route = route;
}

void platform_ip_send_check(uint8_t *header)
{
	header[10] = header[11] = 0;
	uint32_t sum = 0;
	for (unsigned i = 0; i < 20; i += 2)
		sum += static_cast<uint32_t>(header[i] << 8 | header[i + 1]);
	while (sum >> 16)
		sum = (sum & 0xffff) + (sum >> 16);
	header[10] = static_cast<uint8_t>(~sum >> 8);
	header[11] = static_cast<uint8_t>(~sum);
}

bool platform_has_local_out_hooks(const net_device *)
{
	return host::local_out_hook.function.load() != nullptr;
}

int platform_run_local_out_hooks(sk_buff *skb, net_device *dev, platform_continuation *okfn)
{
	const host::hook_function hook = host::local_out_hook.function;
	return hook ? hook(host::local_out_hook.context, skb, dev, okfn) : 1;
}

int platform_dst_output(net *, sock *, sk_buff *skb)
{
	if (const host::output_function send = host::output.function)
		return send(host::output.context, skb);
	host::free_skb(skb);
	return 0;
}
