/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * What happened on one CPU since load. C and C++. Read by anyone, each counter by itself. A frame that fails to leave for one of
 * the named causes is counted under that cause alone.
 */
#ifndef DEBUG_PKT_COUNTERS_H
#define DEBUG_PKT_COUNTERS_H

#ifdef __KERNEL__
#include <linux/types.h>
#else
#include <stdint.h>
#endif

struct debug_pkt_counters {
	uint64_t matched;            /* capture calls that passed the filter */
	uint64_t rendered;           /* texts handed to the buffer, follow-ups included */
	uint64_t cut_texts;          /* of these, texts that filled the context */
	uint64_t dropped_texts;      /* texts that did not fit after the delivery attempt */
	uint64_t discarded_bytes;    /* pending text lost to a buffer reset or a refused delivery */
	uint64_t delivered;          /* messages that the CLI's device accepted */
	uint64_t delivery_no_buffer; /* deliveries that failed: no packet buffer */
	uint64_t delivery_no_bridge; /* no br0 */
	uint64_t delivery_refused;   /* netif_rx */
	uint64_t mirrored;           /* frames handed to the output path */
	uint64_t mirror_no_route;    /* frames not mirrored: no route to the collector */
	uint64_t mirror_own_packet;  /* the frame is a mirror packet itself */
	uint64_t mirror_no_buffer;   /* no packet buffer, or no room for the frame in one piece */
	uint64_t mirror_too_long;    /* no IPv4 datagram can carry the frame */
};

#endif
