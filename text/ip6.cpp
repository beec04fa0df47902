// SPDX-License-Identifier: GPL-2.0-only
// The two text forms of an IPv6 address: full (%pI6) and compressed (%pI6c, RFC 5952 with the kernel's conventions: the
// dotted form for v4-mapped and for ISATAP addresses, RFC 5214).
#include "text/format.h"

namespace text {

namespace {

bool is_v4_mapped(const uint8_t *address)
{
	for (unsigned i = 0; i < 10; ++i)
		if (address[i])
			return false;
	return address[10] == 0xff && address[11] == 0xff;
}

// Interface identifier 0000:5efe or 0200:5efe.
bool is_isatap(const uint8_t *address)
{
	return (address[8] | 0x02) == 0x02 && address[9] == 0 && address[10] == 0x5e && address[11] == 0xfe;
}

} // namespace

char *put_ip6(char *p, const uint8_t *address)
{
	for (unsigned i = 0; i < 16; i += 2) {
		__builtin_memcpy(p, digits.hex_pairs[address[i]], 2);
		__builtin_memcpy(p + 2, digits.hex_pairs[address[i + 1]], 2);
		p[4] = ':';
		p += 5;
	}
	return p - 1;
}

char *put_ip6_compressed(char *p, const uint8_t *address)
{
	const bool dotted = is_v4_mapped(address) || is_isatap(address);
	const unsigned groups = dotted ? 6 : 8;

	// The first of the longest runs of zero groups; a single zero group stays.
	unsigned longest_start = groups, longest = 1;
	for (unsigned i = 0, run = 0; i < groups; ++i) {
		run = address[2 * i] | address[2 * i + 1] ? 0 : run + 1;
		if (run > longest) {
			longest = run;
			longest_start = i + 1 - run;
		}
	}

	bool colon = false;
	for (unsigned i = 0; i < groups; ++i) {
		if (i == longest_start) {
			if (colon || i == 0)
				*p++ = ':';
			*p++ = ':';
			colon = false;
			i += longest - 1;
			continue;
		}
		if (colon)
			*p++ = ':';
		p = put_hex(p, static_cast<uint16_t>(address[2 * i] << 8 | address[2 * i + 1]));
		colon = true;
	}
	if (dotted) {
		if (colon)
			*p++ = ':';
		for (unsigned i = 12; i < 16; ++i) {
			p = detail::put_short_decimal(p, address[i]);
			if (i < 15)
				*p++ = '.';
		}
	}
	return p;
}

} // namespace text
