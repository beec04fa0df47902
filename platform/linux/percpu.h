/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * Per-CPU variables of the C++ core inside the kernel: placed in the kernel's per-CPU section, reached by the running CPU's
 * offset, as the kernel's own this_cpu_ptr does.
 */
#ifndef PLATFORM_LINUX_PERCPU_H
#define PLATFORM_LINUX_PERCPU_H

#define PER_CPU(type) type
#define DEFINE_PER_CPU_STATE(type) __attribute__((section(".data..percpu"))) type

static inline uintptr_t platform_this_cpu_offset(void)
{
	uintptr_t offset;
#if defined(__arm__)
	__asm__("mrc p15, 0, %0, c13, c0, 4" : "=r"(offset) : "Q"(*(const unsigned long *)__builtin_frame_address(0)));
#elif defined(__x86_64__)
	__asm__("movq %%gs:this_cpu_off, %0" : "=r"(offset));
#else
#error "the per-CPU offset of this architecture is missing"
#endif
	return offset;
}

#endif
