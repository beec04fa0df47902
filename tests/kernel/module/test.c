// SPDX-License-Identifier: GPL-2.0-only
/*
 * The tests' part inside the kernel: sees, or drops, what the mirror sends through the LOCAL_OUT hooks, and measures the capture's
 * calls.
 */
#include "debug_pkt_dump.h"

#include <linux/bottom_half.h>
#include <linux/if_ether.h>
#include <linux/ip.h>
#include <linux/ktime.h>
#include <linux/math64.h>
#include <linux/module.h>
#include <linux/netfilter.h>
#include <linux/netfilter_ipv4.h>
#include <linux/netdevice.h>
#include <linux/skbuff.h>
#include <net/net_namespace.h>

static atomic_t seen = ATOMIC_INIT(0);

static int get_seen(char *text, const struct kernel_param *parameter)
{
	return sprintf(text, "%d\n", atomic_read(&seen));
}
static const struct kernel_param_ops seen_ops = {.get = get_seen};
module_param_cb(seen, &seen_ops, NULL, 0444);
MODULE_PARM_DESC(seen, "GRE packets that passed the LOCAL_OUT hooks");

static bool drop;
module_param(drop, bool, 0644);
MODULE_PARM_DESC(drop, "the hook drops them");

static unsigned int at_local_out(void *unused, struct sk_buff *skb, const struct nf_hook_state *state)
{
	if (ip_hdr(skb)->protocol != IPPROTO_GRE)
		return NF_ACCEPT;
	atomic_inc(&seen);
	return drop ? NF_DROP : NF_ACCEPT;
}
static const struct nf_hook_ops hook = {.hook = at_local_out, .pf = NFPROTO_IPV4, .hooknum = NF_INET_LOCAL_OUT, .priority = 0};

/*
 * Writing one of the names below to "cost" makes that call often enough and keeps the time of one; the machine's clock advances by a
 * nanosecond with each instruction.
 */
static const u8 frame[] = {
	0x02, 0, 0, 0, 0, 1, 0x02, 0, 0, 0, 0, 2, 0x08, 0x00,                                /* Ethernet */
	0x45, 0, 0, 84, 0, 1, 0, 0, 64, 1, 0, 0, 10, 1, 0, 2, 10, 2, 0, 2,                   /* IPv4 */
	8, 0, 0, 0, 0, 1, 0, 1, [97] = 0,                                                    /* ICMP echo */
};
enum measured { GUARD, CALL, CAPTURE, FOLLOW };
static const char *const measured_names[] = {[GUARD] = "guard", [CALL] = "call", [CAPTURE] = "capture", [FOLLOW] = "follow"};
static unsigned long cost;
static volatile unsigned int guards_open;

static void call_once(enum measured what, struct sk_buff *skb)
{
	switch (what) {
	case GUARD:
		if (debug_pkt_enabled())
			guards_open++;
		break;
	case CALL:
	case CAPTURE:
		asfp_debug_pkt_dump(skb, __func__, 0);
		break;
	case FOLLOW:
		debug_pkt_dump(NULL, __func__, 0, " asfp forward", 0, 0, 2);
		break;
	}
}

static u64 time_calls(enum measured what, struct sk_buff *skb, unsigned int calls)
{
	u64 start;
	unsigned int i;

	local_bh_disable();
	start = ktime_get_ns();
	for (i = 0; i < calls; i++)
		call_once(what, skb);
	start = ktime_get_ns() - start;
	local_bh_enable();
	return start;
}

static int measure(const char *name, const struct kernel_param *parameter)
{
	const unsigned int few = 50, many = 250;
	const int what = __sysfs_match_string(measured_names, ARRAY_SIZE(measured_names), name);
	struct net_device *const dev = dev_get_by_name(&init_net, "west");
	struct sk_buff *const skb = alloc_skb(sizeof(frame), GFP_KERNEL);

	if (what >= 0 && dev && skb) {
		skb->dev = dev;
		skb->skb_iif = dev->ifindex;
		skb_put_data(skb, frame, sizeof(frame));
		time_calls(CAPTURE, skb, 1);
		/* What goes before and after the calls falls out of the difference. */
		cost = div_u64(time_calls(what, skb, many) - time_calls(what, skb, few), many - few);
	}
	kfree_skb(skb);
	if (dev)
		dev_put(dev);
	return what < 0 ? what : dev && skb ? 0 : -ENODEV;
}

static int get_cost(char *text, const struct kernel_param *parameter)
{
	return sprintf(text, "%lu\n", cost);
}
static const struct kernel_param_ops cost_ops = {.set = measure, .get = get_cost};
module_param_cb(cost, &cost_ops, NULL, 0600);

static int __init test_start(void)
{
	return nf_register_net_hook(&init_net, &hook);
}

static void __exit test_stop(void)
{
	nf_unregister_net_hook(&init_net, &hook);
}

module_init(test_start);
module_exit(test_stop);
MODULE_DESCRIPTION("The part of debug_pkt_dump's tests that is inside the kernel");
MODULE_LICENSE("GPL");
