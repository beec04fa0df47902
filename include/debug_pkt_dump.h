/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * What a datapath may call and read. C and C++; the same header in the kernel and in user space.
 *
 * Every call runs in packet-processing context: bottom halves off, one packet at a time on a CPU, no sleeping. The capture
 * call and the follow-up calls of one packet run on one CPU with no other packet in between, and the packet's descriptor and
 * buffer stay valid until the last of them.
 */
#ifndef DEBUG_PKT_DUMP_H
#define DEBUG_PKT_DUMP_H

#ifdef __KERNEL__
#include <linux/types.h>
#else
#include <stdbool.h>
#include <stdint.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

struct sk_buff;

/*
 * The packet descriptor of a datapath, 96 bytes, as far as the capture looks at it. Values are in host order.
 */
struct debug_pkt_desc {
	uint32_t unused_head;
	const uint8_t *data; /* first byte: Ethernet header, or IPv4 header of a layer-3 caller */
	struct sk_buff *skb; /* its device, data pointer, length and input interface index are used */
	uint32_t egress;     /* interface code: 0 the control plane, else device index + 8450 */
	uint32_t ingress;    /* interface code */
	uint32_t unused_mid[2];
	uint16_t vlan; /* VLAN id, printed only */
	uint8_t unused_tail[96 - 3 * sizeof(void *) - 4 * sizeof(uint32_t) - sizeof(uint16_t)];
};

/* Wanted packet types; 0 is off. Written by the operator's settings line, and to 0 when the capture limit is reached. */
extern uint32_t debug_pkt_type_flags;

/* A mode word for datapath modules, 7 until the operator writes another. The capture never reads it. */
extern uint32_t debug_pkt_mod;

/* 1 while the last packet that this CPU captured has passed the filter. */
#if defined(__KERNEL__) && !defined(__cplusplus)
#include <linux/percpu.h>
DECLARE_PER_CPU(u8, debug_pkt_matched);
#elif defined(DEBUG_PKT_KERNEL)
extern uint8_t debug_pkt_matched;
#else
extern __thread uint8_t debug_pkt_matched;
#endif

/* Whether capture is on: the guard around every call in a datapath, one load when it is off. */
static inline bool debug_pkt_enabled(void)
{
	return __builtin_expect(__atomic_load_n(&debug_pkt_type_flags, __ATOMIC_RELAXED) != 0, 0);
}

/*
 * The capture entry. desc: the packet's descriptor (capture call), or 0 (a later checkpoint of the last packet that passed).
 * func, line: the caller, printed only. label: the checkpoint, for example " asfp entry"; "T+..." ends the packet.
 * level: 0 = an Ethernet frame, 1 = the payload of ethertype. hook: 1 ASAP, 2 ASFP, 4 UOL, others OTHER.
 */
void debug_pkt_dump(struct debug_pkt_desc *desc, const char *func, int32_t line, const char *label, uint32_t level,
		    uint32_t ethertype, uint32_t hook);

/* Capture calls for datapaths that have only a packet buffer; _l3: the data starts at an IPv4 header. */
void asfp_debug_pkt_dump(struct sk_buff *skb, const char *func, int32_t line);
void uol_debug_pkt_dump(struct sk_buff *skb, const char *func, int32_t line);
void uol_debug_pkt_dump_l3(struct sk_buff *skb, const char *func, int32_t line);

/* The egress of this CPU's last captured packet is the device its buffer is on now. Only while debug_pkt_matched is 1. */
void asfp_update_egress(void);

/* Sets the interface index of the control plane (low 16 bits), despite its name. */
void debug_pkt_get_cp_ifindex(uint32_t ifindex);

/* Delivers this CPU's pending text to the CLI. The message's first byte is 1 for a flag other than 0. */
void debug_pkt_send2stack(int32_t flag);

/*
 * DHCP option parsers. A slot points at an option's code byte inside the packet, or is 0. The caller clears the record.
 */
struct dhcp_options {
	const uint8_t *netmask;      /* 1 */
	const uint8_t *router;       /* 3 */
	const uint8_t *dns_server;   /* 6 */
	const uint8_t *domain_name;  /* 15 */
	const uint8_t *requested_ip; /* 50 */
	const uint8_t *msg_type;     /* 53 */
	const uint8_t *server_id;    /* 54 */
	const uint8_t *opt62;        /* 62 */
	const uint8_t *relay_agent;  /* 82 */
	const uint8_t *vendor_vlan;  /* 254 */
	const uint8_t *host_name;    /* 12 */
	const uint8_t *param_req;    /* 55 */
	const uint8_t *vendor_class; /* 60 */
	const uint8_t *spare[3];     /* never written */
};

struct dhcp6_options {
	const uint8_t *client_duid; /* 1 */
	const uint8_t *server_duid; /* 2 */
	const uint8_t *ia_na;       /* 3 */
	const uint8_t *ia_ta;       /* 4 */
	const uint8_t *ia_addr;     /* 5 */
	const uint8_t *server_addr; /* 11 */
	const uint8_t *req_opts;    /* 6 */
	const uint8_t *pref;        /* 7 */
	const uint8_t *elapsed;     /* 8 */
	const uint8_t *status;      /* 12 */
	const uint8_t *dns_servers; /* 23 */
	const uint8_t *client_fqdn; /* 39 */
	const uint8_t *spare[4];    /* never written */
};

/* udp: the UDP header in front of the message. length: bytes from there on, header included. */
void dhcp_parse(const uint8_t *udp, uint16_t length, struct dhcp_options *options);
/* length is not looked at: the UDP length field ends the options. */
void dhcp6_parse(const uint8_t *udp, uint16_t length, struct dhcp6_options *options);

#ifdef __cplusplus
}
#endif

#endif
