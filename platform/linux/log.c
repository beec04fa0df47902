// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include <linux/printk.h>

void platform_log(const char *line)
{
	printk("%s", line);
}

void platform_log_info(const char *line)
{
	printk(KERN_INFO "%s", line);
}
