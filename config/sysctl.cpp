// SPDX-License-Identifier: GPL-2.0-only
#include "config/sysctl.h"

#include "capture/percpu.h"
#include "config/settings.h"
#include "text/format.h"

namespace {

enum entry_id : int32_t { entry_params = 0, entry_set_buff = 1, entry_gre_type = 2, directory_net = 3, directory_fw = -2 };

inline constexpr int out_of_memory = -12;

void log_no_memory()
{
	char line[80];
	text::format<"%s: no memory for sysctl table!\n">(line, sizeof line, "debug_pkt_sysctl_register");
	platform_log(line);
}

void log_failed_registration()
{
	char line[80];
	text::format<"%s: failed to register sysctls!\n">(line, sizeof line, "debug_pkt_sysctl_register");
	platform_log(line);
}

void log_unknown_entry(int32_t id)
{
	char line[80];
	text::format<"%s: Unknown sysctl %d\n">(line, sizeof line, "debug_pkt_sysctl_hostport", id);
	platform_log_info(line);
}

void write_entry(int32_t id, const char *text)
{
	int32_t number;
	switch (id) {
	case entry_params:
		debug_pkt_set_sysctl(text);
		break;
	case entry_set_buff:
		platform_bh_disable();
		debug_pkt_set_buffer();
		platform_bh_enable();
		break;
	case entry_gre_type:
		if (scan_number(text, number))
			write_setting(gre_type, number);
		break;
	default:
		log_unknown_entry(id);
	}
}

void read_entry(int32_t id, char *text)
{
	switch (id) {
	case entry_params:
		debug_pkt_get_sysctl(text);
		break;
	case entry_gre_type:
		// Four bytes: only the first three digits show.
		text::format<"%u">(text, 4, static_cast<uint32_t>(read_setting(gre_type)));
		break;
	default:
		text[0] = 0;
	}
}

} // namespace

const platform_sysctl_entry debug_pkt_sysctl_template[4] = {
	{entry_params, "debug_pkt_params", nullptr, 0, 0644, nullptr, debug_pkt_sysctl_hostport_smp},
	{entry_set_buff, "debug_pkt_set_buff", nullptr, 0, 0644, nullptr, debug_pkt_sysctl_hostport_smp},
	{entry_gre_type, "gre_type", nullptr, 0, 0644, nullptr, debug_pkt_sysctl_hostport_smp},
	{},
};

platform_sysctl_entry *debug_pkt_sysctls;
platform_sysctl_header *debug_pkt_sysctl_header;

int init_module()
{
	platform_start();
	debug_pkt_sysctl_register();
	return 0;
}

// Undoes nothing where the code stays; pending text is never delivered here.
void cleanup_module()
{
	if (debug_pkt_sysctl_header && platform_unregister_sysctl(debug_pkt_sysctl_header)) {
		platform_free(debug_pkt_sysctls);
		debug_pkt_sysctls = nullptr;
		debug_pkt_sysctl_header = nullptr;
	}
	platform_stop();
}

void debug_pkt_sysctl_register()
{
	constexpr size_t size = 9 * sizeof(platform_sysctl_entry);
	debug_pkt_sysctls = static_cast<platform_sysctl_entry *>(platform_alloc(size));
	if (!debug_pkt_sysctls) {
		log_no_memory();
		return;
	}
	platform_sysctl_entry *const tree = debug_pkt_sysctls;
	__builtin_memset(tree, 0, size);
	tree[0] = {directory_net, "net", nullptr, 0, 0555, tree + 2, nullptr};
	tree[2] = {directory_fw, "fw", nullptr, 0, 0555, tree + 4, nullptr};
	__builtin_memcpy(tree + 4, debug_pkt_sysctl_template, sizeof debug_pkt_sysctl_template);

	debug_pkt_sysctl_header = platform_register_sysctl(tree);
	if (!debug_pkt_sysctl_header) {
		log_failed_registration();
		platform_free(debug_pkt_sysctls);
		debug_pkt_sysctls = nullptr;
	}
}

int debug_pkt_sysctl_hostport_smp(platform_sysctl_entry *entry, int write, void *buffer, size_t *length, long long *position)
{
	return debug_pkt_sysctl_hostport(entry, write, buffer, length, position);
}

int debug_pkt_sysctl_hostport(platform_sysctl_entry *entry, int write, void *buffer, size_t *length, long long *position)
{
	char *const text = static_cast<char *>(platform_alloc(debug_pkt_sysctl_size));
	if (!text)
		return out_of_memory;
	__builtin_memset(text, 0, debug_pkt_sysctl_size);

	// Two CPUs may be in here with the same entry.
	platform_sysctl_entry own = *entry;
	own.data = text;
	own.max_length = debug_pkt_sysctl_size;

	if (!write)
		read_entry(own.id, text);
	const int result = platform_proc_dostring(&own, write, buffer, length, position);
	if (write && result == 0)
		write_entry(own.id, text);
	platform_free(text);
	return result;
}

void debug_pkt_set_buffer()
{
	char *const start = this_cpu(debug_pkt_buf);
	char *&end = this_cpu(debug_pkt_buf_end);
	if (end > start)
		count_event(&debug_pkt_counters::discarded_bytes, static_cast<uint64_t>(end - start));
	end = start;
	this_cpu(debug_pkt_matched) = 0;
	write_setting(debug_pkt_cur_count, 0);
}

int debug_pkt_bind_task_cpu(uint32_t cpu)
{
	platform_set_cpus_allowed(1ul << cpu);
	return 0;
}

int debug_pkt_bind_task_cpu_save(uint32_t cpu, unsigned long *saved)
{
	*saved = platform_cpus_allowed();
	return debug_pkt_bind_task_cpu(cpu);
}

int debug_pkt_bind_task_cpu_restore(unsigned long saved)
{
	platform_set_cpus_allowed(saved);
	return 0;
}
