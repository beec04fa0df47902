// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include "platform/linux/glue.h"

#include <linux/percpu.h>
#include <linux/slab.h>

/* A block of the packet path that this CPU gave back: it comes back hot, and all 0. KASAN sees each of them freed. */
static DEFINE_PER_CPU(void *, kept_block);

void glue_stop_memory(void)
{
	int cpu;

	for_each_possible_cpu(cpu) {
		kfree(per_cpu(kept_block, cpu));
		per_cpu(kept_block, cpu) = NULL;
	}
}

/* The packet path loses a capture without a word. */
void *platform_alloc_atomic(size_t size)
{
	void *const kept = this_cpu_xchg(kept_block, NULL);

	return kept ? kept : kzalloc(size, GFP_ATOMIC | __GFP_NOWARN);
}

void platform_free_atomic(void *memory, size_t used)
{
	if (!IS_ENABLED(CONFIG_KASAN)) {
		memset(memory, 0, used);
		memory = this_cpu_xchg(kept_block, memory); /* what an interruption gave back meanwhile, if it did */
	}
	kfree(memory);
}

void *platform_alloc(size_t size)
{
	return kmalloc(size, GFP_KERNEL);
}

void platform_free(void *memory)
{
	kfree(memory);
}
