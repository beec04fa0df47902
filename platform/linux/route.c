// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include "platform/linux/compat.h"

#include <linux/ip.h>
#include <linux/netfilter.h>
#include <linux/netfilter_ipv4.h>
#include <linux/rcupdate.h>
#include <linux/skbuff.h>
#include <net/dst.h>
#include <net/ip.h>
#include <net/net_namespace.h>
#include <net/route.h>

struct rtable *platform_route_output(struct platform_flow *flow)
{
	/* The type of service is 0, as all that is not named here. */
	struct flowi4 key = {
		.daddr = (__force __be32)flow->destination,
		.flowi4_proto = flow->protocol,
	};
	struct rtable *const route = ip_route_output_key_telvo(&init_net, &key);

	flow->source = (__force uint32_t)key.saddr;
	return route;
}

void platform_route_release(struct rtable *route)
{
	dst_release(&route->dst);
}

struct net_device *platform_route_dev(const struct rtable *route)
{
	return route->dst.dev;
}

void platform_skb_set_route(struct sk_buff *skb, struct rtable *route)
{
	skb_dst_set(skb, &route->dst);
}

void platform_ip_send_check(uint8_t *header)
{
	ip_send_check((struct iphdr *)header);
}

#ifdef CONFIG_NETFILTER

bool platform_has_local_out_hooks(const struct net_device *dev)
{
	return rcu_access_pointer(dev_net(dev)->nf.hooks_ipv4[NF_INET_LOCAL_OUT]) != NULL;
}

int platform_run_local_out_hooks(struct sk_buff *skb, struct net_device *dev, platform_continuation *okfn)
{
	struct net *const net = dev_net(dev);
	const struct nf_hook_entries *entries;
	struct nf_hook_state state;
	int result = 1;

	rcu_read_lock();
	entries = rcu_dereference(net->nf.hooks_ipv4[NF_INET_LOCAL_OUT]);
	if (entries) {
		nf_hook_state_init(&state, NF_INET_LOCAL_OUT, NFPROTO_IPV4, NULL, dev, NULL, net, okfn);
		result = nf_hook_slow(skb, &state, entries, 0);
	}
	rcu_read_unlock();
	return result;
}

#else

bool platform_has_local_out_hooks(const struct net_device *dev)
{
	return false;
}

int platform_run_local_out_hooks(struct sk_buff *skb, struct net_device *dev, platform_continuation *okfn)
{
	return 1;
}

#endif

int platform_dst_output(struct net *net, struct sock *sk, struct sk_buff *skb)
{
	return dst_output(net, sk, skb);
}
