// SPDX-License-Identifier: GPL-2.0-only
// An appliance in user space: one port, the module loaded, its settings written, packets handed over as a datapath would.
#pragma once

#include "capture/percpu.h"
#include "platform/host/host.h"
#include "tools/capture_file.h"

#include <cstdint>
#include <string>
#include <string_view>

struct capture_options {
	std::string settings;   // a settings line
	bool follow_ups = true; // after the capture call, a checkpoint and the end of processing
	int32_t minutes_west = 0, dst = 0;
	int32_t gre_type = 0;
};

// The port's name and index, and the address (network byte order) that mirror datagrams come from. NULL, and a message, when the
// settings could not be written. Where texts and datagrams go: host::set_receiver and host::set_output.
net_device *start_appliance(const capture_options &options, const std::string &port, int32_t ifindex, uint32_t mirror_source);

// What one CPU's packets go through.
class datapath {
public:
	// each_alone: the text of every call is delivered as soon as it is there.
	explicit datapath(bool with_follow_ups, bool each_alone = false) : follow_ups(with_follow_ups), alone(each_alone) {}
	// Hands over what came in at the port. number stands where a datapath gives its source line. The calling thread's clock is
	// set to the packet's time.
	void take(net_device *port, const captured_packet &packet, int32_t number);

private:
	void follow(const captured_packet &packet, int32_t number, const char *label);

	const bool follow_ups, alone;
	sk_buff skb = {};
	debug_pkt_desc layer3 = {};
};

// Delivers what this CPU has gathered. Where that is nothing no message goes out: an empty one would be taken for a text.
void deliver_pending();

// The text in a message to the CLI: between its flag byte and its last byte, up to the first NUL.
std::string_view message_text(const uint8_t *message, size_t length);

// Adds the calling thread's counters.
void add_counters(debug_pkt_counters &sum);
// ", matched 3, …" for the line of counters at a command's end.
std::string counters_text(const debug_pkt_counters &counters);
