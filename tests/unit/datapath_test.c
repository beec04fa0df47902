/* SPDX-License-Identifier: GPL-2.0-only */
/* A datapath module in C: what it sees of the public header, and how it calls the capture. */
#include "include/debug_pkt_dump.h"

#include <stddef.h>

#define POINTER sizeof(void *)
_Static_assert(sizeof(struct debug_pkt_desc) == 96, "size of the descriptor");
_Static_assert(offsetof(struct debug_pkt_desc, unused_head) == 0, "first word");
_Static_assert(offsetof(struct debug_pkt_desc, data) == POINTER, "data");
_Static_assert(offsetof(struct debug_pkt_desc, skb) == 2 * POINTER, "skb");
_Static_assert(offsetof(struct debug_pkt_desc, egress) == 3 * POINTER, "egress");
_Static_assert(offsetof(struct debug_pkt_desc, ingress) == 3 * POINTER + 4, "ingress");
_Static_assert(offsetof(struct debug_pkt_desc, unused_mid) == 3 * POINTER + 8, "two words");
_Static_assert(offsetof(struct debug_pkt_desc, vlan) == 3 * POINTER + 16, "vlan");
_Static_assert(sizeof(((struct debug_pkt_desc *)0)->unused_head) == 4, "width of the first word");
_Static_assert(sizeof(((struct debug_pkt_desc *)0)->egress) == 4, "width of egress");
_Static_assert(sizeof(((struct debug_pkt_desc *)0)->ingress) == 4, "width of ingress");
_Static_assert(sizeof(((struct debug_pkt_desc *)0)->unused_mid) == 8, "width of the two words");
_Static_assert(sizeof(((struct debug_pkt_desc *)0)->vlan) == 2, "width of vlan");

void c_module_receive(struct sk_buff *skb);
void c_module_send(const char *label);
uint32_t c_module_state(void);

void c_module_receive(struct sk_buff *skb)
{
	debug_pkt_get_cp_ifindex(3);
	if (debug_pkt_enabled())
		uol_debug_pkt_dump(skb, __func__, 71);
	if (debug_pkt_matched)
		asfp_update_egress();
}

void c_module_send(const char *label)
{
	if (debug_pkt_enabled())
		debug_pkt_dump(NULL, __func__, 72, label, 0, 0, 4);
}

uint32_t c_module_state(void)
{
	return debug_pkt_type_flags + debug_pkt_mod + debug_pkt_matched;
}
