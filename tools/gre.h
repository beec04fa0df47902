// SPDX-License-Identifier: GPL-2.0-only
// GRE (RFC 2784, RFC 2890) as mirrors use it: an Ethernet frame in it, plain (protocol 0x6558) or in ERSPAN type I or II (0x88be).
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

// What sequence numbers count: each of these by itself.
struct gre_stream {
	uint16_t protocol = 0;
	uint16_t session = 0; // of ERSPAN type II
	std::optional<uint32_t> key;

	auto operator<=>(const gre_stream &) const = default;
};

struct gre_datagram {
	std::string_view frame;
	gre_stream stream;
	std::optional<uint32_t> sequence;
};

enum class gre_result {
	frame,
	other,          // not a mirrored frame
	damaged,        // ends inside of its headers
	wrong_checksum, // where there is one
};

// From the GRE header on.
gre_result read_gre(std::string_view bytes, gre_datagram &datagram);

// Whether a frame, tagged or not, holds GRE between these two addresses (4 or 16 bytes each): a mirror's datagram, or a fragment of
// one, that was mirrored again on its way.
bool holds_gre_between(std::string_view frame, std::string_view source, std::string_view destination);
