// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

#include <algorithm>
#include <cstring>

namespace host {

namespace {

inline constexpr int no_such_entry = -2, is_a_directory = -20, bad_address = -14;

std::atomic<platform_sysctl_entry *> registered_root;
std::atomic<bool> unload_takes_tree;

platform_sysctl_entry *find(std::string_view path)
{
	platform_sysctl_entry *level = registered_root;
	platform_sysctl_entry *found = nullptr;
	while (level) {
		const size_t slash = path.find('/');
		const std::string_view name = path.substr(0, slash);
		for (found = level; found->name && name != found->name; ++found)
			;
		if (!found->name)
			return nullptr;
		if (slash == std::string_view::npos)
			return found;
		path.remove_prefix(slash + 1);
		level = found->child;
	}
	return nullptr;
}

int call(std::string_view path, int write, void *buffer, size_t &length, long long &position)
{
	platform_sysctl_entry *const entry = find(path);
	if (!entry)
		return no_such_entry;
	if (!entry->handler)
		return is_a_directory;
	return entry->handler(entry, write, buffer, &length, &position);
}

void list(const platform_sysctl_entry *level, const std::string &prefix, std::vector<std::string> &paths)
{
	for (; level && level->name; ++level) {
		if (level->child)
			list(level->child, prefix + level->name + "/", paths);
		else
			paths.push_back(prefix + level->name);
	}
}

} // namespace

int sysctl_write(std::string_view path, const void *text, size_t &length, long long &position)
{
	return call(path, 1, const_cast<void *>(text), length, position);
}

int sysctl_read(std::string_view path, void *buffer, size_t &length, long long &position)
{
	return call(path, 0, buffer, length, position);
}

int sysctl_write(std::string_view path, std::string_view text)
{
	size_t length = text.size();
	long long position = 0;
	return sysctl_write(path, text.data(), length, position);
}

int sysctl_read(std::string_view path, std::string &text)
{
	text.clear();
	long long position = 0;
	for (;;) {
		char part[4096];
		size_t length = sizeof part;
		const int result = sysctl_read(path, part, length, position);
		if (result || !length)
			return result;
		text.append(part, length);
	}
}

std::vector<std::string> sysctl_paths()
{
	std::vector<std::string> paths;
	list(registered_root, "", paths);
	return paths;
}

uint16_t sysctl_mode(std::string_view path)
{
	const platform_sysctl_entry *const entry = find(path);
	return entry ? entry->mode : uint16_t(0);
}

void sysctl_reset()
{
	registered_root = nullptr;
}

void set_unload_takes_tree(bool takes)
{
	unload_takes_tree = takes;
}

} // namespace host

struct platform_sysctl_header {
	platform_sysctl_entry *root;
};
static platform_sysctl_header only_header;

platform_sysctl_header *platform_register_sysctl(platform_sysctl_entry *root)
{
	if (host::fails(host::fault_point::register_sysctl))
		return nullptr;
	only_header.root = root;
	host::registered_root = root;
	return &only_header;
}

// A program's code does not go away: the tree stays, unless a test wants it otherwise.
bool platform_unregister_sysctl(platform_sysctl_header *)
{
	if (!host::unload_takes_tree)
		return false;
	host::sysctl_reset();
	return true;
}

int platform_proc_dostring(platform_sysctl_entry *entry, int write, void *buffer, size_t *length, long long *position)
{
	char *const text = static_cast<char *>(entry->data);
	const size_t size = static_cast<size_t>(entry->max_length);
	if (!text || !size || !*length) {
		*length = 0;
		return 0;
	}
	const size_t present = strnlen(text, size);
	if (write) {
		// Strict writes: one that starts behind the text changes nothing.
		size_t at = std::min(present, size - 1);
		if (*position < 0 || static_cast<unsigned long long>(*position) > at)
			return 0;
		if (host::fails(host::fault_point::proc_dostring))
			return host::bad_address;
		at = static_cast<size_t>(*position);
		*position += static_cast<long long>(*length);
		const char *const source = static_cast<const char *>(buffer);
		for (size_t i = 0; i < *length && at < size - 1 && source[i] && source[i] != '\n'; ++i)
			text[at++] = source[i];
		text[at] = 0;
		return 0;
	}
	if (*position < 0 || static_cast<unsigned long long>(*position) > present) {
		*length = 0;
		return 0;
	}
	if (host::fails(host::fault_point::proc_dostring))
		return host::bad_address;
	char *const target = static_cast<char *>(buffer);
	size_t count = std::min(present - static_cast<size_t>(*position), *length);
	std::memcpy(target, text + *position, count);
	if (count < *length)
		target[count++] = '\n';
	*length = count;
	*position += static_cast<long long>(count);
	return 0;
}
