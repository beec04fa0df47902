// SPDX-License-Identifier: GPL-2.0-only
/* Has taken, before the capture comes, names that it registers: the folder of its settings, here a file, and that of its counters. */
#include "platform/linux/compat.h"

#include <linux/debugfs.h>
#include <linux/module.h>

static int value;
static struct ctl_table entries[] = {
	{.procname = "fw", .data = &value, .maxlen = sizeof(value), .mode = 0444, .proc_handler = proc_dointvec},
	{},
};
static struct ctl_table_header *settings;
static struct dentry *counters;

static int __init obstacle_start(void)
{
	settings = register_sysctl_sz("net", entries, 1);
	if (!settings)
		return -ENOMEM;
	counters = debugfs_create_dir("debug_pkt_dump", NULL);
	return 0;
}

static void __exit obstacle_stop(void)
{
	debugfs_remove_recursive(counters);
	unregister_sysctl_table(settings);
}

module_init(obstacle_start);
module_exit(obstacle_stop);
MODULE_DESCRIPTION("Stands in debug_pkt_dump's way");
MODULE_LICENSE("GPL");
