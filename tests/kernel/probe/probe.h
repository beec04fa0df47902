// SPDX-License-Identifier: GPL-2.0-only
// The tests' own eyes: packet sockets, namespaces, and the capture in user space to render what they saw.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Says why and ends the program with 1.
[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char *format, ...);
// The same with errno's text behind it.
[[noreturn]] void fail_errno(const std::string &what);

using bytes = std::vector<uint8_t>;

// A frame that came in by a device, as it was on the wire: with its VLAN tag.
struct seen_frame {
	int ifindex;
	bool tagged;
	bytes data;
};

// Sees every frame that comes in by any device, in its order on each CPU.
class tap {
public:
	tap();
	// Takes in what has come by now; fails when the kernel had to drop something.
	void look();
	// What came in on the CPU, up to the last look.
	const std::vector<seen_frame> &seen(unsigned cpu) const { return frames[cpu]; }
	unsigned cpus() const { return static_cast<unsigned>(sockets.size()); }

private:
	void take(unsigned cpu);

	std::vector<int> sockets;
	std::vector<std::vector<seen_frame>> frames;
};

// What the module has delivered on br0.
class messages {
public:
	explicit messages(tap &eyes);
	// Has every CPU deliver its text, and then a message without one, and waits until all that the module counts has come in.
	void wait();
	uint64_t count(unsigned cpu) const;
	// The text of one CPU's messages behind one another.
	std::string text(unsigned cpu) const;

private:
	bool has(const seen_frame &frame) const;

	tap &taken;
	const int bridge;
	const std::vector<uint64_t> delivered_before;
};

// Waits for SIGTERM, with which the tests end a watch.
void wait_for_end();
// Then waits for what is still under way, however slow the machine; patience ends only where something has been lost.
void wait_until(const std::function<bool()> &arrived, const char *what);
// Prepares wait_for_end and says on standard output that the sockets are open.
void announce_start();

void enter_namespace_of(const char *pid);
int index_of(const std::string &device);
// One of the module's counters, of each CPU.
std::vector<uint64_t> read_counter(const std::string &name);

inline uint16_t get_u16(const uint8_t *p)
{
	return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

int make_veth(int count, char **arguments);
int watch(int count, char **arguments);
int show(int count, char **arguments);
int watch_mirror(int count, char **arguments);
int replay(int count, char **arguments);
int load(int count, char **arguments);
