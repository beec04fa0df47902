// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include "platform/linux/compat.h"

#include <linux/slab.h>
#include <linux/sysctl.h>

struct platform_sysctl_header {
	struct ctl_table_header *header;
	struct ctl_table tables[];
};

static int handle(compat_ctl_table *table, int write, compat_sysctl_buffer buffer, size_t *length, loff_t *position)
{
	struct platform_sysctl_entry *const entry = table->extra1;

	return entry->handler(entry, write, (__force void *)buffer, length, position);
}

static struct ctl_table kernel_entry(struct platform_sysctl_entry *entry)
{
	return (struct ctl_table){
		.procname = entry->name,
		.mode = entry->mode,
		.proc_handler = entry->handler ? handle : NULL,
		.extra1 = entry,
	};
}

static unsigned int level_size(const struct platform_sysctl_entry *level)
{
	unsigned int count = 0;

	while (level[count].name)
		count++;
	return count;
}

#ifdef COMPAT_NESTED_SYSCTL

static unsigned int tree_size(const struct platform_sysctl_entry *level)
{
	unsigned int count = level_size(level) + 1;

	for (; level->name; level++)
		if (level->child)
			count += tree_size(level->child);
	return count;
}

/* Fills a level and what hangs below it, from tables on; the first free table behind them. */
static struct ctl_table *fill_tree(struct ctl_table *tables, struct platform_sysctl_entry *level)
{
	struct ctl_table *next = tables + level_size(level) + 1;

	for (; level->name; level++, tables++) {
		*tables = kernel_entry(level);
		if (level->child) {
			tables->child = next;
			next = fill_tree(next, level->child);
		}
	}
	return next;
}

struct platform_sysctl_header *platform_register_sysctl(struct platform_sysctl_entry *root)
{
	struct platform_sysctl_header *const own =
		kzalloc(sizeof(*own) + tree_size(root) * sizeof(own->tables[0]), GFP_KERNEL);

	if (!own)
		return NULL;
	fill_tree(own->tables, root);
	own->header = register_sysctl_table(own->tables);
	if (!own->header) {
		kfree(own);
		return NULL;
	}
	return own;
}

#else

/* The tree is one road of directories with the entries at its end. */
struct platform_sysctl_header *platform_register_sysctl(struct platform_sysctl_entry *root)
{
	struct platform_sysctl_header *own;
	char path[64];
	size_t used = 0;
	unsigned int i, count;

	for (; root->child; root = root->child)
		used += scnprintf(path + used, sizeof(path) - used, "%s%s", used ? "/" : "", root->name);

	count = level_size(root);
	own = kzalloc(sizeof(*own) + (count + 1) * sizeof(own->tables[0]), GFP_KERNEL);
	if (!own)
		return NULL;
	for (i = 0; i < count; i++)
		own->tables[i] = kernel_entry(&root[i]);
	own->header = register_sysctl_sz(path, own->tables, count);
	if (!own->header) {
		kfree(own);
		return NULL;
	}
	return own;
}

#endif

/* Waits for handlers that are running. */
bool platform_unregister_sysctl(struct platform_sysctl_header *header)
{
	unregister_sysctl_table(header->header);
	kfree(header);
	return true;
}

int platform_proc_dostring(struct platform_sysctl_entry *entry, int write, void *buffer, size_t *length, long long *position)
{
	struct ctl_table table = {
		.procname = entry->name,
		.data = entry->data,
		.maxlen = entry->max_length,
		.mode = entry->mode,
	};

	return proc_dostring(&table, write, (__force compat_sysctl_buffer)buffer, length, position);
}
