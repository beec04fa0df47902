/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * Every operation that the core needs from its surroundings. platform/host provides them in user space, platform/linux in the
 * kernel (as C). Callers are the core's folders only; "packet path" means softirq context of one CPU: no sleeping, the CPU
 * does not change. All integers are in host order unless said otherwise.
 */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#ifdef __KERNEL__
#include <linux/types.h>
#else
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

struct net;
struct net_device;
struct rtable;
struct sk_buff;
struct sock;

/* --- Start-up and shutdown --- */

/* Called once when the module starts, and once when it ends: what these operations need, and the counters shown outside. May sleep.
 */
void platform_start(void);
void platform_stop(void);

/* --- Memory --- */

/* Never sleeps; packet path. All bytes 0, aligned for any type; NULL when there is none. Every call asks for the same size. */
void *platform_alloc_atomic(size_t size);
/* Gives such memory back; only its first used bytes may have been written, so that no more need be cleared for its next user. */
void platform_free_atomic(void *memory, size_t used);
/* May sleep; settings and start-up only. Uninitialised bytes; NULL when there is none. */
void *platform_alloc(size_t size);
/* Gives memory of platform_alloc back; NULL is allowed. Any context. */
void platform_free(void *memory);

/* --- CPU --- */

/* Number of the running CPU. Any context that cannot migrate. */
uint32_t platform_cpu(void);
/* Keep the running task on its CPU and softirqs off it, so that it may touch that CPU's state. Calls nest. Any task context. */
void platform_bh_disable(void);
void platform_bh_enable(void);
/* Restricts the running task to the CPUs of the word (bit n = CPU n). May sleep. 0 or a negative error. */
int platform_set_cpus_allowed(unsigned long cpus);
/* The running task's allowed CPUs, as such a word. Any task context. */
unsigned long platform_cpus_allowed(void);

/* The delivery lock: a spin lock that also keeps bottom halves off this CPU while it is held. Not recursive. */
struct platform_lock;
extern struct platform_lock debug_pkt_s2s_lock;
void platform_lock_bh(struct platform_lock *lock);
void platform_unlock_bh(struct platform_lock *lock);

/* --- Time --- */

struct platform_time {
	int64_t seconds; /* since 1970-01-01 00:00:00 UTC */
	long nanoseconds;
};
struct platform_calendar {
	int32_t year;  /* since 1900 */
	int32_t month; /* 0 to 11 */
	int32_t day;   /* 1 to 31 */
	int32_t hour, minute, second;
};
/* The wall clock. Any context; cannot fail. */
struct platform_time platform_clock(void);
/* The kernel's time zone: minutes west of Greenwich, and the DST word. */
void platform_time_zone(int32_t *minutes_west, int32_t *dst);
/* Gregorian calendar fields of the seconds since 1970. */
void platform_calendar_fields(int64_t seconds, struct platform_calendar *fields);

/* --- Devices (initial network namespace) --- */

/* Takes a reference that platform_dev_put gives back. NULL when there is no such device. Packet path. */
struct net_device *platform_dev_get_by_name(const char *name);
struct net_device *platform_dev_get_by_index(int32_t ifindex);
void platform_dev_put(struct net_device *dev);
/* NUL-terminated, at most 15 characters, in 16 bytes; valid as long as the device. */
const char *platform_dev_name(const struct net_device *dev);
int32_t platform_dev_ifindex(const struct net_device *dev);

/* --- Packet buffers --- */

/* An empty buffer with room for size bytes, for no device. Never sleeps; NULL when there is none. */
struct sk_buff *platform_skb_alloc(uint32_t size);
/* Moves the empty data area size bytes into the buffer. */
void platform_skb_reserve(struct sk_buff *skb, uint32_t size);
/* Extends the data area at its end (put) or its start (push); the first byte of the new part. The room must be there. */
uint8_t *platform_skb_put(struct sk_buff *skb, uint32_t size);
uint8_t *platform_skb_push(struct sk_buff *skb, uint32_t size);
const uint8_t *platform_skb_data(const struct sk_buff *skb);
struct net_device *platform_skb_dev(const struct sk_buff *skb);
/* The input interface index recorded in the buffer. */
int32_t platform_skb_iif(const struct sk_buff *skb);
/*
 * The *size bytes from data on, a place inside the buffer's linear part, in one piece: data itself when they are there, else a
 * copy that belongs to this CPU until its next call. *size is lowered to what such a piece can hold. Packet path; cannot fail.
 */
const uint8_t *platform_skb_linear(const struct sk_buff *skb, const uint8_t *data, uint32_t *size);
/* What a buffer holds now, in one call. */
struct platform_packet {
	const uint8_t *data; /* platform_skb_data, in one piece as platform_skb_linear gives it */
	uint32_t len;        /* bytes of packet data from there on, all fragments included */
	uint32_t present;    /* how many of them are in the piece */
	struct net_device *dev;
};
struct platform_packet platform_skb_packet(const struct sk_buff *skb);
/* The link-layer and network header begin where the data begins now. */
void platform_skb_mark_mac_header(struct sk_buff *skb);
void platform_skb_mark_network_header(struct sk_buff *skb);
void platform_skb_set_dev(struct sk_buff *skb, struct net_device *dev);
/* ethertype in host order; the buffer holds it in network order. */
void platform_skb_set_protocol(struct sk_buff *skb, uint16_t ethertype);
/* The packet is for this host (packet type 0). */
void platform_skb_set_type_host(struct sk_buff *skb);
/* Nobody has verified or is to compute a checksum. */
void platform_skb_set_checksum_none(struct sk_buff *skb);
/* Hands a received packet to the local stack, which then owns it. 0 accepted, else dropped. Packet path, or any with bottom halves
 * off. */
int platform_netif_rx(struct sk_buff *skb);

/* --- Output route and netfilter --- */

/* Addresses in network byte order; the look-up fills the source. */
struct platform_flow {
	uint32_t destination;
	uint32_t source;
	uint8_t tos;
	uint8_t protocol;
};
/* The output route in the initial namespace, with a reference; NULL or an error value (the last 4095 addresses) when there is none.
 * Never sleeps. */
struct rtable *platform_route_output(struct platform_flow *flow);
void platform_route_release(struct rtable *route);
struct net_device *platform_route_dev(const struct rtable *route);
/* The buffer owns the route's reference from here on. */
void platform_skb_set_route(struct sk_buff *skb, struct rtable *route);
/* Fills the checksum of the 20-byte IPv4 header. */
void platform_ip_send_check(uint8_t *header);
/* The IPv4 LOCAL_OUT hooks of the device's namespace: whether there are any, and their run. Result 1: the caller goes on with
 * the continuation; else the packet is theirs. */
bool platform_has_local_out_hooks(const struct net_device *dev);
typedef int platform_continuation(struct net *net, struct sock *sk, struct sk_buff *skb);
int platform_run_local_out_hooks(struct sk_buff *skb, struct net_device *dev, platform_continuation *okfn);
/* Sends the packet through the output function of its route; that function's result. The packet is consumed. */
int platform_dst_output(struct net *net, struct sock *sk, struct sk_buff *skb);
struct net *platform_dev_net(const struct net_device *dev);

/* --- Sysctl --- */

/* One record of a sysctl level; a record without a name ends it. */
struct platform_sysctl_entry;
typedef int platform_sysctl_handler(struct platform_sysctl_entry *entry, int write, void *buffer, size_t *length,
				    long long *position);
struct platform_sysctl_entry {
	int32_t id;
	const char *name;
	void *data;
	int32_t max_length;
	uint16_t mode;
	struct platform_sysctl_entry *child;
	platform_sysctl_handler *handler;
};
/*
 * Registers the tree; a handle, or NULL on failure. The records stay with the caller and live as long as the registration.
 * May sleep.
 */
struct platform_sysctl_header *platform_register_sysctl(struct platform_sysctl_entry *root);
/* At unload: takes the tree away where its code goes away, and says whether it did. May sleep. */
bool platform_unregister_sysctl(struct platform_sysctl_header *header);
/*
 * Copies a string between entry->data (entry->max_length bytes) and the user's buffer, as the kernel's operation of that
 * name: a write ends at the first newline or NUL, a read appends a newline, *position is honoured and advanced, *length is the
 * count asked for and done. 0 or a negative error. May sleep.
 */
int platform_proc_dostring(struct platform_sysctl_entry *entry, int write, void *buffer, size_t *length, long long *position);

/* --- Log --- */

/* One finished line of the kernel log, its newline included, without a level or (log_info) at information level. Any context. */
void platform_log(const char *line);
void platform_log_info(const char *line);

/* --- Per-CPU variables: this_cpu(name) is the running CPU's instance --- */

#ifdef DEBUG_PKT_KERNEL
#include "platform/linux/percpu.h"
#else
#define PER_CPU(type) __thread type
#define DEFINE_PER_CPU_STATE(type) __thread type
#endif

#ifdef __cplusplus
}

#ifdef DEBUG_PKT_KERNEL
// The address is hidden from the compiler: it would take the sum for a place outside the variable.
template <class T> inline T &this_cpu(T &variable)
{
	uintptr_t address;
	__asm__("" : "=r"(address) : "0"(&variable));
	return *reinterpret_cast<T *>(address + platform_this_cpu_offset());
}
#else
template <class T> inline T &this_cpu(T &variable)
{
	return variable;
}
#endif
#endif

#endif
