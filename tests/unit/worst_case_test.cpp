// SPDX-License-Identifier: GPL-2.0-only
// Work for one packet is bounded by its size, whatever its counts claim. Under callgrind each capture call's instructions are
// dumped by name for tests/checks/work_bound.
#include "tests/unit/capture_support.h"
#include "tests/unit/worst_frames.h"

#include "capture/ethernet.h"

#include <valgrind/callgrind.h>

namespace test {

using worst_case_test = core_test;

// Everything passes at once; a filter that passes these frames too, but only after all their bits are known; one that refuses.
struct filter {
	const char *name;
	uint32_t types, match;
};
static const filter filters[] = {{"all", 0xffffffff, 0}, {"known types", 0x7fffffff, 0}, {"refused", 0x7fffffff, 0xffffffff}};

static void measure(const named_frame &frame, size_t size, const filter &wanted, net_device *dev)
{
	debug_pkt_type_flags = wanted.types;
	debug_pkt_match_flags = wanted.match;
	debug_pkt_set_buffer();
	arrival packet(frame.content, dev);
	const std::string name = std::to_string(size) + "|" + wanted.name + "|" + frame.name;
	CALLGRIND_ZERO_STATS;
	debug_pkt_dump(&packet.desc, "frame", 1, " uol entry", 0, 0, 4);
	CALLGRIND_DUMP_STATS_AT(name.c_str());
}

TEST_F(worst_case_test, every_frame_is_captured)
{
	net_device *const dev = host::add_device("eth0", 2);
	for (const filter &wanted : filters) {
		measure({"warm", ordinary_frame()}, 0, wanted, dev);
		measure({"ordinary", ordinary_frame()}, 0, wanted, dev);
		for (size_t size : {size_t(1500), size_t(9000)}) {
			for (const named_frame &frame : worst_frames(size)) {
				SCOPED_TRACE(frame.name);
				ASSERT_EQ(frame.content.size(), size);
				measure(frame, size, wanted, dev);
				EXPECT_LE(take_text().size(), 4095u);
			}
		}
	}
	EXPECT_EQ(host::live_allocations(), 0);
}

TEST_F(worst_case_test, every_frame_holds_what_holds_for_all)
{
	for (size_t size : {size_t(1500), size_t(9000)}) {
		for (const named_frame &frame : worst_frames(size)) {
			SCOPED_TRACE(frame.name);
			const result whole = decode(debug_pkt_eth, frame.content),
				     full = decode(debug_pkt_eth, frame.content, 4095);
			EXPECT_EQ(outcome_of(whole), outcome_of(full));
			EXPECT_EQ(whole.text, decode(debug_pkt_eth, frame.content).text);
		}
	}
}

// The frames reach what they are made for.
static uint32_t types_of(const char *name, size_t size)
{
	for (const named_frame &frame : worst_frames(size))
		if (frame.name == name)
			return decode(debug_pkt_eth, frame.content).type;
	ADD_FAILURE() << "no frame " << name;
	return 0;
}

TEST_F(worst_case_test, nested_frames_reach_their_innermost_payload)
{
	EXPECT_EQ(types_of("dhcp in eight frames", 9000), 0x200280u);       // dhcp, udp, vxlan
	EXPECT_EQ(types_of("dhcpv6 in eight frames", 9000), 0x200480u);     // dhcpv6, udp, vxlan
	EXPECT_EQ(types_of("ap domains in eight frames", 1500), 0x300084u); // apmsg, mobility, udp, vxlan
	EXPECT_EQ(types_of("dns in eight frames", 1500), 0x200880u);        // dns, udp, vxlan
}

TEST_F(worst_case_test, options_are_walked_to_the_end_at_each_level)
{
	bytes content;
	for (const named_frame &frame : worst_frames(9000))
		if (frame.name == "dhcp in eight frames")
			content = frame.content;
	// An option at the very end is found by the outermost message and by the ones inside.
	ASSERT_EQ(content.size(), 9000u);
	const bytes last = hex("0c 04") + text("last");
	std::copy(last.begin(), last.end(), content.end() - static_cast<ptrdiff_t>(last.size()));
	const std::string lines = decode(debug_pkt_eth, content).text;
	size_t found = 0;
	for (size_t at = lines.find("Host Name: last"); at != std::string::npos; at = lines.find("Host Name: last", at + 1))
		++found;
	EXPECT_GE(found, 4u) << lines; // the text ends before all nine are shown
}

} // namespace test
