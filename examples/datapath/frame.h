/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * A packet buffer as the frame that was on the wire: its data begins at the Ethernet header, with the VLAN tag that the stack has
 * taken out back in its place. Opened before a frame-level call of the capture and closed right after it.
 */
#ifndef DATAPATH_FRAME_H
#define DATAPATH_FRAME_H

#include <linux/skbuff.h>

/* A tag that the stack keeps beside the packet, or has kept there when the packet came in. */
struct frame_tag {
	bool present;
	__be16 protocol;
	u16 value;
};

struct frame_view {
	unsigned int pulled; /* bytes between the Ethernet header and where the stack's data begins */
	bool tagged;
};

/* The tag that the buffer carries beside its data now. */
struct frame_tag frame_tag_of(const struct sk_buff *skb);

/* False when the buffer has no Ethernet header in front of its data; it is as before then, and there is nothing to close. */
bool frame_open(struct frame_view *view, struct sk_buff *skb, const struct frame_tag *tag);
void frame_close(const struct frame_view *view, struct sk_buff *skb);

#endif
