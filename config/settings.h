// SPDX-License-Identifier: GPL-2.0-only
// The operator's filter settings: module-wide, written by the sysctl handler, read without locks by every decoder. A packet
// may see a mix of old and new values.
#pragma once

#include "include/debug_pkt_dump.h"

#include <stdint.h>

// IPv4 addresses in network byte order; mirror 0: no mirroring.
extern uint32_t debug_pkt_mirror_ip;
extern char debug_pkt_dev[12];
extern uint8_t debug_pkt_mac[6];
extern uint32_t debug_pkt_ip;
extern uint8_t debug_pkt_ip6[16];
extern int32_t debug_pkt_vlan;
extern int32_t debug_pkt_proto;
extern int32_t debug_pkt_port;
extern uint32_t debug_pkt_match_flags;
extern int32_t debug_pkt_max_count; // 0: no limit
extern int32_t debug_pkt_cur_count; // packets that passed since the last settings line or buffer reset
extern int32_t gre_type;            // GRE protocol that also carries Ethernet; set by its own entry

// Criteria: bits of debug_pkt_match_flags and of debug_pkt_ctx::match.
enum match_bit : uint32_t {
	match_dev = 0x1,
	match_mac = 0x2,
	match_ip = 0x4,
	match_ipv6 = 0x8, // no word in the text form
	match_vlan = 0x10,
	match_proto = 0x20,
	match_port = 0x40,
};

// Packet types: bits of debug_pkt_type_flags and of debug_pkt_ctx::type.
enum type_bit : uint32_t {
	type_arp = 0x1,
	type_pppoe = 0x2,
	type_apmsg = 0x4, // no word in the text form
	type_icmp = 0x8,
	type_icmpv6 = 0x10,
	type_igmp = 0x20,
	type_tcp = 0x40,
	type_udp = 0x80,
	type_gre = 0x100,
	type_dhcp = 0x200,
	type_dhcpv6 = 0x400,
	type_dns = 0x800,
	type_radius = 0x1000,
	type_http = 0x2000,
	type_https = 0x4000,
	type_echo = 0x8000, // no word, as the next four
	type_nbr = 0x10000,
	type_rtr = 0x20000,
	type_mld = 0x40000,
	type_ap_hierarchy = 0x80000,
	type_mobility = 0x100000,
	type_vxlan = 0x200000, // no word
};

// One plain load or store each: a setting may be read on one CPU while another writes it.
template <class T> inline T read_setting(const T &setting)
{
	return __atomic_load_n(&setting, __ATOMIC_RELAXED);
}
template <class T, class V> inline void write_setting(T &setting, V value)
{
	__atomic_store_n(&setting, static_cast<T>(value), __ATOMIC_RELAXED);
}

// Whether the bytes at p equal the filter's address.
bool equals_filter_mac(const uint8_t *p);
bool equals_filter_ip6(const uint8_t *p);
inline bool equals_filter_ip(const uint8_t *p)
{
	uint32_t address;
	__builtin_memcpy(&address, p, sizeof address);
	return address == read_setting(debug_pkt_ip);
}
// Whether the first 16 characters of a device name equal the filter's.
bool equals_filter_dev(const char *name);

// Takes a settings line: mirror, device, MAC, IPv6, IPv4 (texts), vlan, proto, port, match, type, limit, mode (numbers).
// Missing numbers and a missing device keep their values; the four addresses are always converted. Resets the count. Returns 0.
int debug_pkt_set_sysctl(const char *text);

// Room that the longest settings line and its NUL fit in.
inline constexpr uint32_t debug_pkt_settings_size = 512;

// Writes the settings line and a NUL to dst, which holds debug_pkt_settings_size bytes. Returns 0.
int debug_pkt_get_sysctl(char *dst);

// Reads 17 characters, six groups of two hex digits and a separator, into 6 bytes; validates nothing.
void atomac(const char *text, uint8_t *mac);
// Reads 39 characters, eight groups of four hex digits and a separator, into 16 bytes; validates nothing.
void atoipv6(const char *text, uint8_t *ip6);
// Dotted decimal to network byte order, with the kernel's arithmetic: never fails, an oversized field spills to its left.
uint32_t in_aton(const char *text);

// A decimal number as the kernel's "%d" scans it: leading blanks, an optional "-", digits modulo 2^32. Advances text behind it;
// false, and value as it was, when there is none.
bool scan_number(const char *&text, int32_t &value);
