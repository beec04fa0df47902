// SPDX-License-Identifier: GPL-2.0-only
// What each thread has allocated and not freed yet, and what it keeps for its next packet.
#pragma once

#include <atomic>
#include <cstddef>

namespace host {

struct tally {
	std::atomic<long> allocations = 0, buffers = 0;
};
// NULL until the thread's first allocation.
extern __thread tally *own_tally;
tally &start_tally();
inline tally &thread_tally()
{
	return own_tally ? *own_tally : start_tally();
}
// Adds to a tally of the calling thread.
inline void add_to(std::atomic<long> &own, long change)
{
	own.store(own.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
}

// Memory of a packet buffer, not cleared; NULL when there is none.
void *take_buffer(size_t size);
void give_buffer(void *buffer, size_t size);

} // namespace host
