// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/memory.h"

#include "platform/host/host.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace host {

namespace {

std::mutex tallies_lock;
std::vector<const tally *> tallies;
long allocations_of_ended_threads, buffers_of_ended_threads;

// A block of the packet path that this thread gave back: it comes back hot, and all 0. Freed with the thread's tally.
__thread void *kept_block;
// Likewise of packet buffers, whose bytes may be any: the one that came back last is taken first.
struct kept_buffer {
	kept_buffer *next;
};
__thread kept_buffer *kept_buffers;
__thread unsigned kept_count;
inline constexpr size_t kept_size = 4608; // a message to the CLI, and all but the longest frames
inline constexpr unsigned most_kept = 256;

kept_buffer *take_kept_buffer()
{
	kept_buffer *const buffer = kept_buffers;
	kept_buffers = buffer->next;
	--kept_count;
	return buffer;
}

// A thread counts for itself: no shared line is written in the packet path.
struct registered_tally : tally {
	registered_tally()
	{
		const std::lock_guard guard(tallies_lock);
		tallies.push_back(this);
	}
	~registered_tally()
	{
		const std::lock_guard guard(tallies_lock);
		allocations_of_ended_threads += allocations;
		buffers_of_ended_threads += buffers;
		std::erase(tallies, this);
		std::free(kept_block);
		kept_block = nullptr;
		while (kept_buffers)
			std::free(take_kept_buffer());
	}
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool keep_blocks = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
inline constexpr bool keep_blocks = false;
#else
inline constexpr bool keep_blocks = true;
#endif
#else
inline constexpr bool keep_blocks = true;
#endif

} // namespace

__thread tally *own_tally;

tally &start_tally()
{
	thread_local registered_tally own;
	own_tally = &own;
	return own;
}

void *take_buffer(size_t size)
{
	const bool may_keep = keep_blocks && size <= kept_size;
	if (may_keep && kept_buffers)
		return take_kept_buffer();
	return std::malloc(may_keep ? kept_size : size);
}

void give_buffer(void *buffer, size_t size)
{
	if (!keep_blocks || size > kept_size || kept_count == most_kept) {
		std::free(buffer);
		return;
	}
	kept_buffers = new (buffer) kept_buffer{kept_buffers};
	++kept_count;
}

long live_allocations()
{
	const std::lock_guard guard(tallies_lock);
	long sum = allocations_of_ended_threads;
	for (const tally *each : tallies)
		sum += each->allocations;
	return sum;
}

long live_buffers()
{
	const std::lock_guard guard(tallies_lock);
	long sum = buffers_of_ended_threads;
	for (const tally *each : tallies)
		sum += each->buffers;
	return sum;
}

} // namespace host

// When the kept block is of no use.
[[gnu::noinline]] static void *alloc_new(size_t size)
{
	void *const memory = std::calloc(1, size);
	if (memory)
		host::add_to(host::thread_tally().allocations, 1);
	return memory;
}

void *platform_alloc_atomic(size_t size)
{
	if (host::fails(host::fault_point::alloc_atomic))
		return nullptr;
	void *const kept = host::kept_block;
	if (!kept)
		return alloc_new(size);
	host::kept_block = nullptr;
	host::add_to(host::own_tally->allocations, 1); // the thread has counted what it keeps
	return kept;
}

void platform_free_atomic(void *memory, size_t used)
{
	host::add_to(host::thread_tally().allocations, -1);
	if (!host::keep_blocks || host::kept_block) {
		std::free(memory);
		return;
	}
	std::memset(memory, 0, used);
	host::kept_block = memory;
}

void *platform_alloc(size_t size)
{
	void *const memory = host::fails(host::fault_point::alloc) ? nullptr : std::malloc(size);
	if (memory)
		host::add_to(host::thread_tally().allocations, 1);
	return memory;
}

void platform_free(void *memory)
{
	if (!memory)
		return;
	host::add_to(host::thread_tally().allocations, -1);
	std::free(memory);
}
