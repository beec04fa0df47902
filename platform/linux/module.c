// SPDX-License-Identifier: GPL-2.0-only
/* The module's start and end, and what it exports. init_module and cleanup_module are the core's. */
#include "include/debug_pkt_dump.h"
#include "platform/platform.h"

#include "platform/linux/glue.h"

#include <linux/module.h>
#include <linux/printk.h>

void platform_start(void)
{
	if (glue_start_packet()) {
		printk(KERN_WARNING "debug_pkt_dump: no memory for frames in several pieces, they are shown cut and not mirrored\n");
		glue_stop_packet();
	}
	glue_start_stats();
}

void platform_stop(void)
{
	glue_stop_stats();
	glue_stop_packet();
	glue_stop_memory();
}

/* The kernel calls these two by their address. Where it seals what is never called so, the address must be seen to be taken. */
static int (*const start_address)(void) __used = init_module;
static void (*const end_address)(void) __used = cleanup_module;

EXPORT_SYMBOL(debug_pkt_dump);
EXPORT_SYMBOL(asfp_debug_pkt_dump);
EXPORT_SYMBOL(uol_debug_pkt_dump);
EXPORT_SYMBOL(uol_debug_pkt_dump_l3);
EXPORT_SYMBOL(asfp_update_egress);
EXPORT_SYMBOL(debug_pkt_get_cp_ifindex);
EXPORT_SYMBOL(debug_pkt_send2stack);
EXPORT_SYMBOL(dhcp_parse);
EXPORT_SYMBOL(dhcp6_parse);

EXPORT_PER_CPU_SYMBOL(debug_pkt_matched);
EXPORT_SYMBOL(debug_pkt_type_flags);
EXPORT_SYMBOL(debug_pkt_mod);

MODULE_DESCRIPTION("Captures and renders packets of a forwarding path as text");
MODULE_LICENSE("GPL");
MODULE_VERSION("0.1.0");
