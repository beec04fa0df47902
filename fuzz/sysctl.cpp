// SPDX-License-Identifier: GPL-2.0-only
// Reads and writes of the sysctl entries, with positions, lengths and failures.
// Input: operations of {what, position (4 bytes), length (2), and for a write the text}.
#include "fuzz/support.h"

#include "capture/percpu.h"
#include "config/settings.h"
#include "config/sysctl.h"
#include "fuzz/settings_model.h"
#include "platform/host/host.h"

#include <algorithm>
#include <cstdio>

namespace {

enum what : uint8_t { entry_mask = 0x03, is_write = 0x04, fail_alloc = 0x08, fail_copy = 0x10, before_start = 0x20 };
inline constexpr const char *paths[] = {"net/fw/debug_pkt_params", "net/fw/debug_pkt_set_buff", "net/fw/gre_type", "net/fw"};
inline constexpr int no_memory = -12, bad_address = -14, is_a_directory = -20;

// All that an entry can change.
struct state {
	fuzz::settings settings;
	int32_t gre;
	uint8_t matched;
	const char *end;

	bool operator==(const state &) const = default;
};

state current_state()
{
	return {fuzz::current_settings(), gre_type, debug_pkt_matched, debug_pkt_buf_end};
}

std::string whole_text(unsigned entry)
{
	if (entry == 0)
		return fuzz::line_of(fuzz::current_settings());
	if (entry == 1)
		return "";
	char digits[16];
	std::snprintf(digits, sizeof digits, "%u", static_cast<uint32_t>(gre_type));
	return std::string(digits).substr(0, 3);
}

// The text that a write acts on: nothing when it starts behind what is there, which is always empty.
std::string text_written(const std::string &text, long long position)
{
	if (position != 0)
		return "";
	const std::string until_end = text.substr(0, text.find_first_of(std::string("\n\0", 2)));
	return until_end.substr(0, debug_pkt_sysctl_size - 1);
}

state after_write(unsigned entry, const std::string &text)
{
	state next = current_state();
	size_t at = 0;
	if (entry == 0) {
		next.settings = fuzz::after_line(next.settings, text);
	} else if (entry == 1) {
		next.settings.count = 0;
		next.matched = 0;
		next.end = debug_pkt_buf;
	} else {
		fuzz::scan_number_slowly(text, at, next.gre);
	}
	return next;
}

void write_entry(unsigned entry, const std::string &text, long long position, int failure)
{
	const state before = current_state();
	const fuzz::block exact(text);
	size_t length = exact.size();
	const int result = host::sysctl_write(paths[entry], exact.data(), length, position);
	if (entry == 3) {
		fuzz::require(result == is_a_directory, "a directory is not written");
		return;
	}
	fuzz::require(result == failure, "a write fails as its cause says, and else never");
	fuzz::require(length == text.size(), "a write takes all its bytes");
	fuzz::require(!failure || current_state() == before, "a failed write changes nothing");
}

void check_write(unsigned entry, const std::string &text, long long position, int failure)
{
	if (failure || entry == 3) {
		write_entry(entry, text, position, failure);
		return;
	}
	debug_pkt_cur_count = 3;
	debug_pkt_matched = 1;
	const state expected = after_write(entry, text_written(text, position));
	write_entry(entry, text, position, 0);
	fuzz::require(current_state() == expected, "a write does what its text says");
}

void check_read(unsigned entry, size_t length, long long position, int failure)
{
	const state before = current_state();
	const fuzz::block exact(length);
	const long long start = position;
	size_t count = length;
	const int result = host::sysctl_read(paths[entry], exact.data(), count, position);
	fuzz::require(current_state() == before, "a read changes nothing");
	if (entry == 3) {
		fuzz::require(result == is_a_directory, "a directory is not read");
		return;
	}
	fuzz::require(result == failure, "a read fails as its cause says, and else never");
	if (failure)
		return;
	const std::string text = whole_text(entry);
	const size_t present = text.size();
	std::string expected;
	if (start >= 0 && static_cast<size_t>(start) <= present)
		expected = (text + "\n").substr(static_cast<size_t>(start), length);
	fuzz::require(count == expected.size(), "a read gives what is there from its position on");
	fuzz::require(count == 0 || std::memcmp(exact.data(), expected.data(), count) == 0, "a read gives the entry's text");
	fuzz::require(position == start + static_cast<long long>(count), "a read moves its position by what it gave");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	fuzz::start();
	init_module();
	fuzz::input in(data, size);
	while (!in.empty()) {
		const uint8_t operation = in.u8();
		const unsigned entry = operation & entry_mask;
		const long long offset = in.u32(), position = operation & before_start ? -offset : offset;
		const size_t length = in.u16();
		int failure = 0;
		host::clear_faults();
		if (operation & fail_alloc) {
			host::set_fault(host::fault_point::alloc, 1);
			failure = no_memory;
		}
		const bool writes = operation & is_write;
		const std::string text = writes ? in.bytes(length) : std::string();
		if (operation & fail_copy && !failure) {
			host::set_fault(host::fault_point::proc_dostring, 1);
			// An empty copy, or one from behind the text, touches no memory that could fail.
			const size_t present = writes ? 0 : whole_text(entry == 3 ? 1 : entry).size(),
				     count = writes ? text.size() : length;
			if (count && position >= 0 && static_cast<size_t>(position) <= present)
				failure = bad_address;
		}
		if (writes)
			check_write(entry, text, position, failure);
		else
			check_read(entry, length, position, failure);
		fuzz::require_idle();
	}
	host::clear_faults();
	return 0;
}
