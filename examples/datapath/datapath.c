// SPDX-License-Identifier: GPL-2.0-only
/*
 * Makes a stock kernel's forwarding path one that debug_pkt_dump can watch: every frame that comes in by one of the named devices
 * is handed to the capture, and again where it is forwarded, where it leaves, or where this host takes it. See README.md.
 */
#include "debug_pkt_dump.h"
#include "frame.h"

#include <linux/bottom_half.h>
#include <linux/cpu.h>
#include <linux/if_arp.h>
#include <linux/if_vlan.h>
#include <linux/list.h>
#include <linux/module.h>
#include <linux/netdevice.h>
#include <linux/netfilter.h>
#include <linux/netfilter_ipv4.h>
#include <linux/netfilter_ipv6.h>
#include <linux/percpu.h>
#include <linux/slab.h>
#include <linux/workqueue.h>
#include <net/net_namespace.h>

static char *devices[16];
static int device_count;
module_param_array(devices, charp, &device_count, 0444);
MODULE_PARM_DESC(devices, "names of the Ethernet devices whose incoming frames are captured");

static char *control_plane = "";
module_param(control_plane, charp, 0444);
MODULE_PARM_DESC(control_plane, "name of the control-plane device, shown as CP");

static bool local;
module_param(local, bool, 0444);
MODULE_PARM_DESC(local, "also capture the IPv4 packets that this host sends");

static const u32 hook_asfp = 2, hook_uol = 4;

/*
 * The packet whose way through this CPU is being followed. The capture keeps the buffer's pointer until the packet's last
 * checkpoint; here it is only compared, never followed, since the packet may be gone by then and its buffer serve another: one that
 * comes in by the same device takes the passage over, one by another device ends it (at_prerouting), and one of this host has no
 * input interface.
 */
struct passage {
	const struct sk_buff *skb;
	const struct net_device *dev;
	struct frame_tag tag;
	bool capturing; /* what the capture itself sends is not captured */
};
static DEFINE_PER_CPU(struct passage, passage);

/* The packet's first checkpoint. */
static void begin(struct passage *way, struct sk_buff *skb)
{
	const struct frame_tag tag = frame_tag_of(skb);
	struct frame_view view;

	way->skb = NULL;
	way->dev = skb->dev;
	way->tag = tag;
	if (!frame_open(&view, skb, &tag))
		return;
	asfp_debug_pkt_dump(skb, "ingress", __LINE__);
	frame_close(&view, skb);
	if (__this_cpu_read(debug_pkt_matched))
		way->skb = skb;
}

/* A later checkpoint of the packet, and its end if end is named. */
static void follow(struct passage *way, struct sk_buff *skb, const char *where, int line, const char *label, const char *end)
{
	struct frame_view view;

	if (frame_open(&view, skb, &way->tag)) {
		if (label)
			debug_pkt_dump(NULL, where, line, label, 0, 0, hook_asfp);
		if (end)
			debug_pkt_dump(NULL, where, line, end, 0, 0, hook_asfp);
		frame_close(&view, skb);
	}
	if (end)
		way->skb = NULL;
}

/* Bottom halves stay off while a passage is in hand, so that no other packet comes in between on this CPU. */
static struct passage *enter(void)
{
	struct passage *way;

	if (!debug_pkt_enabled())
		return NULL;
	local_bh_disable();
	way = this_cpu_ptr(&passage);
	if (!way->capturing) {
		way->capturing = true;
		return way;
	}
	local_bh_enable();
	return NULL;
}

static void leave(struct passage *way)
{
	way->capturing = false;
	local_bh_enable();
}

static unsigned int at_ingress(void *unused, struct sk_buff *skb, const struct nf_hook_state *state)
{
	struct passage *const way = enter();

	if (way) {
		begin(way, skb);
		leave(way);
	}
	return NF_ACCEPT;
}

static bool came_in_by(const struct net_device *in, const struct net_device *dev)
{
	return in == dev || (is_vlan_dev(in) && vlan_dev_real_dev(in) == dev);
}

/* Also while capture is off, for a passage left from before. */
static unsigned int at_prerouting(void *unused, struct sk_buff *skb, const struct nf_hook_state *state)
{
	if (this_cpu_read(passage.skb) == skb && !came_in_by(state->in, this_cpu_read(passage.dev)))
		this_cpu_write(passage.skb, NULL);
	return NF_ACCEPT;
}

static unsigned int at_forward(void *unused, struct sk_buff *skb, const struct nf_hook_state *state)
{
	struct passage *const way = enter();

	if (way) {
		if (way->skb == skb)
			follow(way, skb, "forward", __LINE__, " asfp forward", NULL);
		leave(way);
	}
	return NF_ACCEPT;
}

static unsigned int at_local_in(void *unused, struct sk_buff *skb, const struct nf_hook_state *state)
{
	struct passage *const way = enter();

	if (way) {
		if (way->skb == skb)
			follow(way, skb, "local_in", __LINE__, NULL, "T+ local");
		leave(way);
	}
	return NF_ACCEPT;
}

/* A packet of this host: its data begins at its IPv4 header, and both its checkpoints are here. */
static void capture_local(struct passage *way, struct sk_buff *skb)
{
	way->skb = NULL;
	uol_debug_pkt_dump_l3(skb, "local_out", __LINE__);
	if (__this_cpu_read(debug_pkt_matched))
		debug_pkt_dump(NULL, "local_out", __LINE__, "T+ egress", 1, ETH_P_IP, hook_uol);
}

static unsigned int at_egress(void *unused, struct sk_buff *skb, const struct nf_hook_state *state)
{
	struct passage *const way = enter();

	if (way) {
		if (!skb->skb_iif) {
			if (local && state->pf == NFPROTO_IPV4)
				capture_local(way, skb);
		} else if (way->skb == skb) {
			if (__this_cpu_read(debug_pkt_matched))
				asfp_update_egress();
			follow(way, skb, "egress", __LINE__, " asfp egress", "T+ egress");
		}
		leave(way);
	}
	return NF_ACCEPT;
}

/* Behind all others, so that a packet is shown as it goes on. */
#define HOOKS(family)                                                                                                           \
	{.hook = at_prerouting, .pf = family, .hooknum = NF_INET_PRE_ROUTING, .priority = INT_MIN},                             \
	{.hook = at_forward, .pf = family, .hooknum = NF_INET_FORWARD, .priority = INT_MAX},                                    \
	{.hook = at_local_in, .pf = family, .hooknum = NF_INET_LOCAL_IN, .priority = INT_MAX},                                  \
	{.hook = at_egress, .pf = family, .hooknum = NF_INET_POST_ROUTING, .priority = INT_MAX}
static const struct nf_hook_ops hooks[] = {HOOKS(NFPROTO_IPV4), HOOKS(NFPROTO_IPV6)};

/* A device whose incoming frames are captured. Changed under the devices' own lock only. */
struct attachment {
	struct list_head list;
	struct nf_hook_ops ops;
};
static LIST_HEAD(attachments);

static struct attachment *find_attachment(const struct net_device *dev)
{
	struct attachment *each;

	list_for_each_entry(each, &attachments, list)
		if (each->ops.dev == dev)
			return each;
	return NULL;
}

static void attach(struct net_device *dev)
{
	struct attachment *const own = kzalloc(sizeof(*own), GFP_KERNEL);

	if (!own)
		return;
	own->ops = (struct nf_hook_ops){
		.hook = at_ingress,
		.dev = dev,
		.pf = NFPROTO_NETDEV,
		.hooknum = NF_NETDEV_INGRESS,
		.priority = INT_MIN,
	};
	if (nf_register_net_hook(&init_net, &own->ops)) {
		pr_err("debug_pkt_datapath: cannot watch %s\n", dev->name);
		kfree(own);
		return;
	}
	list_add(&own->list, &attachments);
}

static void detach(struct attachment *own)
{
	list_del(&own->list);
	nf_unregister_net_hook(&init_net, &own->ops);
	synchronize_net();
	kfree(own);
}

/* The capture's own messages come in by br0: they are not for it. */
static bool is_wanted(const struct net_device *dev)
{
	int i;

	if (!net_eq(dev_net(dev), &init_net) || dev->type != ARPHRD_ETHER || !strcmp(dev->name, "br0"))
		return false;
	for (i = 0; i < device_count; i++)
		if (!strcmp(dev->name, devices[i]))
			return true;
	return false;
}

/* Devices that are there already are announced as new ones when the notifier is registered, and as gone at its end. */
static int device_changes(struct notifier_block *unused, unsigned long event, void *info)
{
	struct net_device *const dev = netdev_notifier_info_to_dev(info);
	struct attachment *const own = find_attachment(dev);

	switch (event) {
	case NETDEV_REGISTER:
	case NETDEV_CHANGENAME:
		if (net_eq(dev_net(dev), &init_net) && !strcmp(dev->name, control_plane))
			debug_pkt_get_cp_ifindex(dev->ifindex);
		if (is_wanted(dev) && !own)
			attach(dev);
		else if (!is_wanted(dev) && own)
			detach(own);
		break;
	case NETDEV_UNREGISTER:
		if (own)
			detach(own);
		break;
	}
	return NOTIFY_DONE;
}
static struct notifier_block notifier = {.notifier_call = device_changes};

/* Writing to the parameter "flush" delivers the pending text of every CPU. */
static void flush_this_cpu(struct work_struct *unused)
{
	local_bh_disable();
	debug_pkt_send2stack(1);
	local_bh_enable();
}

static int flush(const char *unused, const struct kernel_param *parameter)
{
	struct work_struct __percpu *const works = alloc_percpu(struct work_struct);
	int cpu;

	if (!works)
		return -ENOMEM;
	cpus_read_lock();
	for_each_online_cpu(cpu) {
		INIT_WORK(per_cpu_ptr(works, cpu), flush_this_cpu);
		schedule_work_on(cpu, per_cpu_ptr(works, cpu));
	}
	for_each_online_cpu(cpu)
		flush_work(per_cpu_ptr(works, cpu));
	cpus_read_unlock();
	free_percpu(works);
	return 0;
}
static const struct kernel_param_ops flush_ops = {.flags = KERNEL_PARAM_OPS_FL_NOARG, .set = flush};
module_param_cb(flush, &flush_ops, NULL, 0200);
MODULE_PARM_DESC(flush, "write anything: every CPU delivers its pending text");

static int __init datapath_start(void)
{
	int result = nf_register_net_hooks(&init_net, hooks, ARRAY_SIZE(hooks));

	if (result)
		return result;
	result = register_netdevice_notifier(&notifier);
	if (result)
		nf_unregister_net_hooks(&init_net, hooks, ARRAY_SIZE(hooks));
	return result;
}

static void __exit datapath_stop(void)
{
	unregister_netdevice_notifier(&notifier);
	nf_unregister_net_hooks(&init_net, hooks, ARRAY_SIZE(hooks));
	synchronize_net();
}

module_init(datapath_start);
module_exit(datapath_stop);
MODULE_DESCRIPTION("A datapath for debug_pkt_dump on stock kernels");
MODULE_LICENSE("GPL");
MODULE_VERSION("0.1.0");
