// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

#include <cstring>
#include <deque>
#include <mutex>

namespace host {

namespace {

// Looked up on every packet by every CPU: a table that grows without a lock for its readers.
inline constexpr unsigned most_devices = 1024;
std::atomic<net_device *> table[most_devices];
std::atomic<unsigned> used;
std::mutex change_lock;
std::deque<net_device> records;

void set_name(net_device *dev, std::string_view name)
{
	const size_t length = std::min(name.size(), sizeof dev->name - 1);
	std::memcpy(dev->name, name.data(), length);
	std::memset(dev->name + length, 0, sizeof dev->name - length);
}

template <class Wanted> net_device *find(const Wanted &wanted)
{
	const unsigned count = used.load(std::memory_order_acquire);
	for (unsigned i = 0; i < count; ++i) {
		net_device *const dev = table[i].load(std::memory_order_acquire);
		if (dev && wanted(*dev))
			return dev;
	}
	return nullptr;
}

net_device *hold(net_device *dev)
{
	if (dev)
		dev->references.fetch_add(1, std::memory_order_relaxed);
	return dev;
}

int32_t free_index()
{
	int32_t highest = 0;
	for (const net_device &dev : records)
		highest = std::max(highest, dev.ifindex);
	return highest + 1;
}

} // namespace

net_device *add_device(std::string_view name, int32_t ifindex)
{
	const std::lock_guard guard(change_lock);
	unsigned place = 0;
	while (place < used && table[place])
		++place;
	if (place == most_devices)
		return nullptr;
	const int32_t index = ifindex ? ifindex : free_index();
	net_device &dev = records.emplace_back();
	set_name(&dev, name);
	dev.ifindex = index;
	table[place].store(&dev, std::memory_order_release);
	if (place == used)
		used.store(place + 1, std::memory_order_release);
	return &dev;
}

void remove_device(net_device *dev)
{
	const std::lock_guard guard(change_lock);
	for (unsigned i = 0; i < used; ++i)
		if (table[i] == dev)
			table[i] = nullptr;
}

void rename_device(net_device *dev, std::string_view name)
{
	const std::lock_guard guard(change_lock);
	set_name(dev, name);
}

void remove_all_devices()
{
	const std::lock_guard guard(change_lock);
	used = 0;
	records.clear();
}

} // namespace host

net_device *platform_dev_get_by_name(const char *name)
{
	if (host::fails(host::fault_point::dev_get_by_name))
		return nullptr;
	return host::hold(host::find([&](const net_device &dev) { return std::strcmp(dev.name, name) == 0; }));
}

net_device *platform_dev_get_by_index(int32_t ifindex)
{
	if (host::fails(host::fault_point::dev_get_by_index))
		return nullptr;
	return host::hold(host::find([&](const net_device &dev) { return dev.ifindex == ifindex; }));
}

void platform_dev_put(net_device *dev)
{
	dev->references.fetch_sub(1, std::memory_order_relaxed);
}

const char *platform_dev_name(const net_device *dev)
{
	return dev->name;
}

int32_t platform_dev_ifindex(const net_device *dev)
{
	return dev->ifindex;
}

struct net {};
static net initial_namespace;

net *platform_dev_net(const net_device *)
{
	return &initial_namespace;
}
