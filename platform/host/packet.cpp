// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"
#include "platform/host/memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace host {

namespace {

std::atomic<receive_function> receiver;
std::atomic<void *> receiver_context;
std::atomic<uint32_t> linear_limit = UINT32_MAX;

} // namespace

void set_receiver(receive_function function, void *context)
{
	receiver_context = context;
	receiver = function;
}

void set_linear_limit(uint32_t size)
{
	linear_limit = size;
}

void free_skb(sk_buff *skb)
{
	add_to(thread_tally().buffers, -1);
	if (skb->route)
		platform_route_release(skb->route);
	give_buffer(skb, sizeof *skb + skb->size);
}

} // namespace host

sk_buff *platform_skb_alloc(uint32_t size)
{
	if (host::fails(host::fault_point::skb_alloc))
		return nullptr;
	// The record stands in front of its bytes.
	void *const buffer = host::take_buffer(sizeof(sk_buff) + size);
	if (!buffer)
		return nullptr;
	sk_buff *const skb = new (buffer) sk_buff{};
	skb->head = reinterpret_cast<uint8_t *>(skb + 1);
	skb->data = skb->head;
	skb->size = size;
	skb->mac_header = skb->network_header = UINT32_MAX;
	host::add_to(host::thread_tally().buffers, 1);
	return skb;
}

// The kernel panics on a put or push outside the buffer; so does this.
static void check_bounds(const sk_buff *skb)
{
	if (skb->data < skb->head || static_cast<uint64_t>(skb->data - skb->head) + skb->len > skb->size)
		std::abort();
}

void platform_skb_reserve(sk_buff *skb, uint32_t size)
{
	skb->data += size;
	check_bounds(skb);
}

uint8_t *platform_skb_put(sk_buff *skb, uint32_t size)
{
	uint8_t *const tail = skb->data + skb->len;
	skb->len += size;
	check_bounds(skb);
	return tail;
}

uint8_t *platform_skb_push(sk_buff *skb, uint32_t size)
{
	skb->data -= size;
	skb->len += size;
	check_bounds(skb);
	return skb->data;
}

const uint8_t *platform_skb_data(const sk_buff *skb)
{
	return skb->data;
}

net_device *platform_skb_dev(const sk_buff *skb)
{
	return skb->dev;
}

int32_t platform_skb_iif(const sk_buff *skb)
{
	return skb->skb_iif;
}

// A buffer without bytes may have no block.
const uint8_t *platform_skb_linear(const sk_buff *, const uint8_t *data, uint32_t *size)
{
	static constexpr uint8_t no_bytes = 0;
	*size = std::min(*size, host::linear_limit.load(std::memory_order_relaxed));
	return data ? data : &no_bytes;
}

platform_packet platform_skb_packet(const sk_buff *skb)
{
	uint32_t present = skb->len;
	const uint8_t *const data = platform_skb_linear(skb, skb->data, &present);
	return {data, skb->len, present, skb->dev};
}

void platform_skb_mark_mac_header(sk_buff *skb)
{
	skb->mac_header = static_cast<uint32_t>(skb->data - skb->head);
}

void platform_skb_mark_network_header(sk_buff *skb)
{
	skb->network_header = static_cast<uint32_t>(skb->data - skb->head);
}

void platform_skb_set_dev(sk_buff *skb, net_device *dev)
{
	skb->dev = dev;
}

void platform_skb_set_protocol(sk_buff *skb, uint16_t ethertype)
{
	skb->protocol = static_cast<uint16_t>(ethertype << 8 | ethertype >> 8);
}

void platform_skb_set_type_host(sk_buff *skb)
{
	skb->pkt_type = 0;
}

void platform_skb_set_checksum_none(sk_buff *skb)
{
	skb->ip_summed = 0;
}

int platform_netif_rx(sk_buff *skb)
{
	if (host::fails(host::fault_point::netif_rx)) {
		host::free_skb(skb);
		return 1;
	}
	if (const host::receive_function receive = host::receiver)
		return receive(host::receiver_context, skb);
	host::free_skb(skb);
	return 0;
}
