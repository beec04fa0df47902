// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

#include <pthread.h>

namespace {

thread_local uint32_t bound_cpu;
thread_local unsigned long allowed_cpus = ~0ul;

} // namespace

namespace host {

void bind_cpu(uint32_t cpu)
{
	bound_cpu = cpu;
}

} // namespace host

// It is held for less than a microsecond: a thread that finds it taken waits awake for about as long before it sleeps.
struct alignas(host::cache_line) platform_lock {
	pthread_mutex_t mutex = PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP;
};
platform_lock debug_pkt_s2s_lock;

uint32_t platform_cpu(void)
{
	return bound_cpu;
}

// A thread is its CPU, and has it to itself.
void platform_bh_disable(void) {}
void platform_bh_enable(void) {}

// Nothing is set up: the state is the process's own.
void platform_start(void) {}
void platform_stop(void) {}

int platform_set_cpus_allowed(unsigned long cpus)
{
	if (host::fails(host::fault_point::set_cpus_allowed))
		return -22;
	allowed_cpus = cpus;
	return 0;
}

unsigned long platform_cpus_allowed(void)
{
	return allowed_cpus;
}

void platform_lock_bh(platform_lock *lock)
{
	pthread_mutex_lock(&lock->mutex);
}

void platform_unlock_bh(platform_lock *lock)
{
	pthread_mutex_unlock(&lock->mutex);
}
