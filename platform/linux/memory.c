// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include <linux/slab.h>

/* The packet path loses a capture without a word. */
void *platform_alloc_atomic(size_t size)
{
	return kzalloc(size, GFP_ATOMIC | __GFP_NOWARN);
}

void platform_free_atomic(void *memory, size_t used)
{
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
