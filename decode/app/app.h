// SPDX-License-Identifier: GPL-2.0-only
// The application decoders. data is the message's first byte (the UDP payload), len its length, udp_header the header in front;
// the result is what the UDP decoder advances by. The exported option parsers are in include/debug_pkt_dump.h.
#pragma once

#include "capture/context.h"
#include "include/debug_pkt_dump.h"

// Where each code below Codes stands in a table of rows {code, …}: a message can hold an option every few bytes.
inline constexpr uint8_t no_row = 255;
template <size_t Codes> struct row_index {
	uint8_t rows[Codes];
};
template <size_t Codes, class Row, size_t N> consteval row_index<Codes> index_rows(const Row (&table)[N])
{
	row_index<Codes> index;
	for (uint8_t &row : index.rows)
		row = no_row;
	for (size_t row = 0; row < N; ++row)
		index.rows[table[row].code] = static_cast<uint8_t>(row);
	return index;
}

// 240 always.
uint32_t debug_pkt_dhcp(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header);
// 4 always.
uint32_t debug_pkt_dhcp6(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header);
// 0 when the question was not walked, else where the walk stopped.
uint32_t debug_pkt_dns(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header);

// Writes the labels of a DNS name to destination, joined by ".", without a NUL and without a bound; size is ignored.
void print_fqdn(char *destination, uint32_t size, const uint8_t *name);
