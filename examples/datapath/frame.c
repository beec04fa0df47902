// SPDX-License-Identifier: GPL-2.0-only
#include "frame.h"

#include <linux/if_ether.h>
#include <linux/if_vlan.h>

struct frame_tag frame_tag_of(const struct sk_buff *skb)
{
	return (struct frame_tag){
		.present = skb_vlan_tag_present(skb),
		.protocol = skb->vlan_proto,
		.value = skb_vlan_tag_present(skb) ? skb_vlan_tag_get(skb) : 0,
	};
}

bool frame_open(struct frame_view *view, struct sk_buff *skb, const struct frame_tag *tag)
{
	if (!skb_mac_header_was_set(skb) || skb->data < skb_mac_header(skb) + ETH_HLEN)
		return false;
	view->pulled = skb->data - skb_mac_header(skb);
	__skb_push(skb, view->pulled);
	/* Without memory for a header of its own the buffer stays untagged. */
	view->tagged = tag->present && !__vlan_insert_tag(skb, tag->protocol, tag->value);
	return true;
}

/* Takes the tag out again: the addresses move back over it. */
void frame_close(const struct frame_view *view, struct sk_buff *skb)
{
	if (view->tagged) {
		memmove(skb->data + VLAN_HLEN, skb->data, 2 * ETH_ALEN);
		__skb_pull(skb, VLAN_HLEN);
		skb->mac_header += VLAN_HLEN;
	}
	__skb_pull(skb, view->pulled);
}
