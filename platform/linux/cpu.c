// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include "platform/linux/compat.h"

#include <linux/bottom_half.h>
#include <linux/cpumask.h>
#include <linux/slab.h>
#include <linux/smp.h>
#include <linux/spinlock.h>

struct platform_lock {
	spinlock_t lock;
};
struct platform_lock debug_pkt_s2s_lock = {__SPIN_LOCK_UNLOCKED(debug_pkt_s2s_lock.lock)};

uint32_t platform_cpu(void)
{
	return smp_processor_id();
}

void platform_bh_disable(void)
{
	local_bh_disable();
}

void platform_bh_enable(void)
{
	local_bh_enable();
}

int platform_set_cpus_allowed(unsigned long cpus)
{
	cpumask_var_t mask;
	int result;

	if (!zalloc_cpumask_var(&mask, GFP_KERNEL))
		return -ENOMEM;
	cpumask_bits(mask)[0] = cpus;
	cpumask_and(mask, mask, cpu_possible_mask);
	result = set_cpus_allowed_telvo(current, mask);
	free_cpumask_var(mask);
	return result;
}

unsigned long platform_cpus_allowed(void)
{
	return cpumask_bits(compat_cpus_allowed(current))[0];
}

void platform_lock_bh(struct platform_lock *lock)
{
	spin_lock_bh(&lock->lock);
}

void platform_unlock_bh(struct platform_lock *lock)
{
	spin_unlock_bh(&lock->lock);
}
