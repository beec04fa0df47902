// SPDX-License-Identifier: GPL-2.0-only
#include "capture/packet.h"

DEFINE_PER_CPU_STATE(packet_state) debug_pkt_packet = {UINTPTR_MAX, 0};

namespace wire {

const uint8_t *copy_clipped(const uint8_t *p, uint32_t size, uint8_t *copy)
{
	const uint32_t count = available(p, size);
	if (count)
		__builtin_memcpy(copy, p, count);
	__builtin_memset(copy + count, 0, size - count);
	return copy;
}

text::word read_string(const uint8_t *p, uint32_t most)
{
	const uint32_t longest = available(p, most);
	uint32_t length = 0;
	while (length < longest && p[length])
		++length;
	return {reinterpret_cast<const char *>(p), length};
}

} // namespace wire
