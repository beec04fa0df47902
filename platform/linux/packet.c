// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include "platform/linux/glue.h"

#include <linux/netdevice.h>
#include <linux/percpu.h>
#include <linux/skbuff.h>
#include <linux/vmalloc.h>
#include <net/dst.h>

/* Copies of frames that lie in several pieces, one buffer for each CPU: the longest frame of an IP datagram with its tags. */
#define LINEAR_SIZE PAGE_ALIGN(65536 + 64)
static DEFINE_PER_CPU(uint8_t *, linear_copy);

int glue_start_packet(void)
{
	int cpu;

	for_each_possible_cpu(cpu) {
		uint8_t *const copy = vmalloc_node(LINEAR_SIZE, cpu_to_node(cpu));

		if (!copy)
			return -ENOMEM;
		per_cpu(linear_copy, cpu) = copy;
	}
	return 0;
}

void glue_stop_packet(void)
{
	int cpu;

	for_each_possible_cpu(cpu) {
		vfree(per_cpu(linear_copy, cpu));
		per_cpu(linear_copy, cpu) = NULL;
	}
}

struct sk_buff *platform_skb_alloc(uint32_t size)
{
	return __netdev_alloc_skb(NULL, size, GFP_ATOMIC | __GFP_NOWARN);
}

void platform_skb_reserve(struct sk_buff *skb, uint32_t size)
{
	skb_reserve(skb, size);
}

uint8_t *platform_skb_put(struct sk_buff *skb, uint32_t size)
{
	return skb_put(skb, size);
}

uint8_t *platform_skb_push(struct sk_buff *skb, uint32_t size)
{
	return skb_push(skb, size);
}

const uint8_t *platform_skb_data(const struct sk_buff *skb)
{
	return skb->data;
}

struct net_device *platform_skb_dev(const struct sk_buff *skb)
{
	return skb->dev;
}

int32_t platform_skb_iif(const struct sk_buff *skb)
{
	return skb->skb_iif;
}

const uint8_t *platform_skb_linear(const struct sk_buff *skb, const uint8_t *data, uint32_t *size)
{
	const uint32_t in_place = skb_tail_pointer(skb) - data;
	uint8_t *const copy = this_cpu_read(linear_copy);
	uint32_t wanted = *size;

	if (wanted <= in_place)
		return data;
	if (wanted > LINEAR_SIZE)
		wanted = LINEAR_SIZE;
	if (!copy || skb_copy_bits(skb, data - skb->data, copy, wanted)) {
		*size = in_place;
		return data;
	}
	*size = wanted;
	return copy;
}

struct platform_packet platform_skb_packet(const struct sk_buff *skb)
{
	struct platform_packet packet = {.len = skb->len, .present = skb->len, .dev = skb->dev};

	packet.data = platform_skb_linear(skb, skb->data, &packet.present);
	return packet;
}

void platform_skb_mark_mac_header(struct sk_buff *skb)
{
	skb_reset_mac_header(skb);
}

void platform_skb_mark_network_header(struct sk_buff *skb)
{
	skb_reset_network_header(skb);
}

void platform_skb_set_dev(struct sk_buff *skb, struct net_device *dev)
{
	skb->dev = dev;
}

void platform_skb_set_protocol(struct sk_buff *skb, uint16_t ethertype)
{
	skb->protocol = htons(ethertype);
}

void platform_skb_set_type_host(struct sk_buff *skb)
{
	skb->pkt_type = PACKET_HOST;
}

void platform_skb_set_checksum_none(struct sk_buff *skb)
{
	skb->ip_summed = CHECKSUM_NONE;
}

int platform_netif_rx(struct sk_buff *skb)
{
	return netif_rx(skb);
}
