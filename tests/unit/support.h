// SPDX-License-Identifier: GPL-2.0-only
// What the unit tests share: packets in exactly sized blocks, contexts, and the checks that every decoder passes.
#pragma once

#include "capture/context.h"
#include "capture/packet.h"
#include "config/settings.h"
#include "config/sysctl.h"
#include "include/debug_pkt_dump.h"
#include "platform/host/host.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace test {

using bytes = std::vector<uint8_t>;

// Bytes from hex digits; blanks are passed over: "aa aa 03".
bytes hex(std::string_view digits);
bytes operator+(const bytes &left, const bytes &right);
bytes text(std::string_view characters);
bytes zeros(size_t count);
bytes big16(uint32_t value);
bytes big32(uint32_t value);
bytes ip4(std::string_view dotted);

// Packet bytes in a heap block of exactly their size: a sanitizer sees every read outside.
class packet {
public:
	explicit packet(const bytes &content);
	const uint8_t *data() const { return block.get(); }
	uint32_t size() const { return length; }

private:
	std::unique_ptr<uint8_t[]> block;
	uint32_t length;
};

// What one decoder made of a packet.
struct result {
	uint32_t consumed;
	std::string text;
	uint32_t match, type, proto, len;
};

// What it did besides its text.
struct outcome {
	uint32_t consumed, match, type, proto;
	bool operator==(const outcome &) const = default;
};
outcome outcome_of(const result &made);
std::ostream &operator<<(std::ostream &out, const outcome &shown);

// A decoder to call on a packet of the given length: frame and link decoders as they are, others in a lambda that adds the flag
// or the UDP header.
using decoder = std::function<uint32_t(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)>;

// Decodes content in an exactly sized block with that packet announced, in a context that is clear but for len and proto.
result decode(const decoder &decode, const bytes &content, uint32_t start_len = 0, uint32_t start_proto = 0);

// Everything that holds for every decoder on every packet, given the packet's whole text:
// - the text is what is expected;
// - with the text full from the start, and starting at every length near the end, bits, proto and the result are the same, the
//   text is cut as it must be and nothing is written at buf[4095];
// - cut after every byte, it reads nothing outside, keeps len within bounds and is the same with the text full.
void check_decoder(const decoder &decode, const bytes &content, const std::string &expected, uint32_t start_proto = 0);

// All settings at their defaults, per-CPU state as at load, the host platform as at start.
void reset_all();

class core_test : public ::testing::Test {
protected:
	void SetUp() override { reset_all(); }
	void TearDown() override { reset_all(); }
};

} // namespace test
