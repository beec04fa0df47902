// SPDX-License-Identifier: GPL-2.0-only
/* The counters, read-only: debug_pkt_dump/stats under debugfs, one line each, the sum and every CPU's own. */
#include "include/debug_pkt_counters.h"

#include "platform/linux/glue.h"

#include <linux/debugfs.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/percpu.h>
#include <linux/seq_file.h>

DECLARE_PER_CPU(struct debug_pkt_counters, debug_pkt_stats);

#define COUNTER(name) {#name, offsetof(struct debug_pkt_counters, name)}
static const struct {
	const char *name;
	size_t offset;
} counters[] = {
	COUNTER(matched),
	COUNTER(rendered),
	COUNTER(cut_texts),
	COUNTER(dropped_texts),
	COUNTER(discarded_bytes),
	COUNTER(delivered),
	COUNTER(delivery_no_buffer),
	COUNTER(delivery_no_bridge),
	COUNTER(delivery_refused),
	COUNTER(mirrored),
	COUNTER(mirror_no_route),
	COUNTER(mirror_own_packet),
	COUNTER(mirror_no_buffer),
	COUNTER(mirror_too_long),
};
_Static_assert(ARRAY_SIZE(counters) * sizeof(uint64_t) == sizeof(struct debug_pkt_counters), "a counter is missing");

/* Where a 64-bit load is two, a value seen twice is whole: a carry between them would show. */
static uint64_t read_counter(size_t offset, int cpu)
{
	const char *const own = (const char *)per_cpu_ptr(&debug_pkt_stats, cpu);
	const volatile uint64_t *const counter = (const volatile uint64_t *)(own + offset);
	uint64_t value, again = *counter;

	do {
		value = again;
		again = *counter;
	} while (value != again);
	return value;
}

static int stats_show(struct seq_file *out, void *unused)
{
	unsigned int i;
	int cpu;

	seq_printf(out, "%-18s %12s", "counter", "all");
	for_each_possible_cpu(cpu)
		seq_printf(out, "%9s%-3d", "cpu", cpu);
	seq_putc(out, '\n');
	for (i = 0; i < ARRAY_SIZE(counters); i++) {
		uint64_t sum = 0;

		for_each_possible_cpu(cpu)
			sum += read_counter(counters[i].offset, cpu);
		seq_printf(out, "%-18s %12llu", counters[i].name, sum);
		for_each_possible_cpu(cpu)
			seq_printf(out, " %11llu", read_counter(counters[i].offset, cpu));
		seq_putc(out, '\n');
	}
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(stats);

static struct dentry *directory;

/* Nothing else depends on the counters being seen. Kernels before 5.0 say NULL for what has failed. */
void glue_start_stats(void)
{
	directory = debugfs_create_dir("debug_pkt_dump", NULL);
	if (!IS_ERR_OR_NULL(directory) && !IS_ERR_OR_NULL(debugfs_create_file("stats", 0444, directory, NULL, &stats_fops)))
		return;
	printk(KERN_WARNING "debug_pkt_dump: no place under debugfs, the counters cannot be read\n");
	debugfs_remove_recursive(directory);
	directory = NULL;
}

void glue_stop_stats(void)
{
	debugfs_remove_recursive(directory);
}
