// SPDX-License-Identifier: GPL-2.0-only
// Reading a packet. Every byte of a packet is read through these functions; a byte at or past the end of the packet that was
// announced reads as 0. Where no packet was announced (a decoder called by itself), they read whatever follows.
// Multi-byte values are big-endian in the packet and in host order here.
#pragma once

#include "capture/percpu.h"
#include "text/format.h"

namespace wire {

// Announces the packet that is decoded until the object's end; the previous one is then back in place.
// Its end is data + the signed 32-bit value of len, also where len has wrapped.
class announced_packet {
public:
	announced_packet(const uint8_t *data, uint32_t len) : previous(this_cpu(debug_pkt_packet).end)
	{
		this_cpu(debug_pkt_packet).end = reinterpret_cast<uintptr_t>(data) +
						 static_cast<uintptr_t>(static_cast<intptr_t>(static_cast<int32_t>(len)));
	}
	~announced_packet() { this_cpu(debug_pkt_packet).end = previous; }
	announced_packet(const announced_packet &) = delete;
	announced_packet &operator=(const announced_packet &) = delete;

private:
	uintptr_t previous;
};

// Entering an inner frame or a quoted header: at most 8 stand inside one another. Decoders on that way render in functions of their
// own that are not inlined, so that only small frames stay on the stack meanwhile; tests/checks/stack_usage bounds their sum.
class nested_packet {
public:
	nested_packet() : entered(this_cpu(debug_pkt_packet).depth < 8) { this_cpu(debug_pkt_packet).depth += entered; }
	~nested_packet() { this_cpu(debug_pkt_packet).depth -= entered; }
	nested_packet(const nested_packet &) = delete;
	nested_packet &operator=(const nested_packet &) = delete;
	const bool entered;
};

// Whether the packet has a byte here: no list entry starts where it has none.
inline bool in_packet(const uint8_t *p)
{
	return reinterpret_cast<uintptr_t>(p) < this_cpu(debug_pkt_packet).end;
}

// Whether an entry of a list that begins at data can start at pos: before the list's end and before the packet's.
inline bool starts_before(const uint8_t *data, int32_t pos, int32_t end)
{
	return pos < end && in_packet(data + pos);
}

// How many bytes the packet has from here on, at most most.
inline uint32_t available(const uint8_t *p, uint32_t most)
{
	const uintptr_t start = reinterpret_cast<uintptr_t>(p), end = this_cpu(debug_pkt_packet).end;
	if (start >= end)
		return 0;
	return end - start < most ? static_cast<uint32_t>(end - start) : most;
}

inline uint8_t read_u8(const uint8_t *p)
{
	return in_packet(p) ? *p : 0;
}

inline uint16_t read_u16(const uint8_t *p)
{
	return static_cast<uint16_t>(read_u8(p) << 8 | read_u8(p + 1));
}

// size bytes in one piece: in place when the packet has them all, else a copy filled up with 0.
[[gnu::noinline, gnu::cold]] const uint8_t *copy_clipped(const uint8_t *p, uint32_t size, uint8_t *copy);
inline const uint8_t *read_bytes(const uint8_t *p, uint32_t size, uint8_t *copy)
{
	if (__builtin_expect(reinterpret_cast<uintptr_t>(p) + size <= this_cpu(debug_pkt_packet).end, 1))
		return p;
	return copy_clipped(p, size, copy);
}

// N bytes of a packet, a fixed header or an address, checked once.
template <uint32_t N> class header {
public:
	// The copy is filled when it is used.
	// cppcheck-suppress uninitMemberVar
	explicit header(const uint8_t *p) : bytes(read_bytes(p, N, copy)) {}
	header(const header &) = delete;
	header &operator=(const header &) = delete;
	const uint8_t *at(uint32_t offset) const { return bytes + offset; }
	uint8_t operator[](uint32_t offset) const { return bytes[offset]; }
	uint16_t u16(uint32_t offset) const { return static_cast<uint16_t>(bytes[offset] << 8 | bytes[offset + 1]); }
	uint32_t u32(uint32_t offset) const
	{
		uint32_t value;
		__builtin_memcpy(&value, bytes + offset, sizeof value);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
		value = __builtin_bswap32(value);
#endif
		return value;
	}
	text::octets<4> ipv4(uint32_t offset) const
	{
		return text::octets<4>(bytes + offset);
	}
	text::octets<6> mac(uint32_t offset) const
	{
		return text::octets<6>(bytes + offset);
	}
	text::ip6 ipv6(uint32_t offset) const
	{
		return text::ip6(bytes + offset);
	}

private:
	uint8_t copy[N];
	const uint8_t *const bytes;
};

// A string in place: up to its NUL, the packet's end, or most bytes, whichever comes first.
text::word read_string(const uint8_t *p, uint32_t most);

} // namespace wire
