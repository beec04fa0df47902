// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include <linux/netdevice.h>
#include <net/net_namespace.h>

struct net_device *platform_dev_get_by_name(const char *name)
{
	return dev_get_by_name(&init_net, name);
}

struct net_device *platform_dev_get_by_index(int32_t ifindex)
{
	return dev_get_by_index(&init_net, ifindex);
}

void platform_dev_put(struct net_device *dev)
{
	dev_put(dev);
}

const char *platform_dev_name(const struct net_device *dev)
{
	return dev->name;
}

int32_t platform_dev_ifindex(const struct net_device *dev)
{
	return dev->ifindex;
}

struct net *platform_dev_net(const struct net_device *dev)
{
	return dev_net(dev);
}
