// SPDX-License-Identifier: GPL-2.0-only
// debug_pkt_to_str with every size. Input: level, ethertype (2 bytes), egress code (4), size (2), packet.
#include "fuzz/support.h"

#include "capture/datapath.h"
#include "platform/host/host.h"

#include <algorithm>

namespace {

// The text with room for all of it.
std::string whole_text(const debug_pkt_desc &desc, uint32_t level, uint32_t ethertype)
{
	const fuzz::block out(4096);
	std::memset(out.data(), 'x', out.size());
	const uint32_t n = debug_pkt_to_str(&desc, level, ethertype, out.chars(), out.size());
	fuzz::require(n <= 4095 && out.data()[n] == 0, "the text and its NUL lie in 4096 bytes");
	for (uint32_t i = n + 1; i < out.size(); ++i)
		fuzz::require(out.data()[i] == 'x', "nothing is written behind the NUL");
	return std::string(out.chars(), n);
}

void check_size(const debug_pkt_desc &desc, uint32_t level, uint32_t ethertype, uint32_t size, const std::string &whole)
{
	// A size of 0 sets no bound.
	const fuzz::block out(size ? size : whole.size() + 1);
	const uint32_t n = debug_pkt_to_str(&desc, level, ethertype, out.chars(), size);
	fuzz::require(n == std::min(static_cast<uint32_t>(whole.size()), size - 1), "the result is what was stored");
	fuzz::require(std::memcmp(out.data(), whole.data(), n) == 0 && out.data()[n] == 0, "the text is cut at its size");
	fuzz::require_idle();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	fuzz::start();
	fuzz::input in(data, size);
	const uint32_t level = in.u8(), ethertype = in.u16(), egress = in.u32();
	const uint32_t wanted_size = in.u16();
	const fuzz::block packet(in.rest());

	sk_buff skb = {};
	skb.dev = host::add_device("a-device-of-15c", 2);
	skb.data = packet.data();
	skb.len = packet.size();
	debug_pkt_desc desc = {};
	desc.skb = &skb;
	desc.egress = egress;
	desc.vlan = static_cast<uint16_t>(egress >> 8);

	const std::string whole = whole_text(desc, level, ethertype);
	const uint32_t length = static_cast<uint32_t>(whole.size());
	for (uint32_t each : {0u, 1u, 2u, length, length + 1, length + 2, wanted_size, ~0u - wanted_size})
		check_size(desc, level, ethertype, each > 8192 ? 8192 + each % 8192 : each, whole);
	// Every size there is, for texts that are not long.
	if (wanted_size == 1 && length <= 256)
		for (uint32_t each = 0; each <= length + 2; ++each)
			check_size(desc, level, ethertype, each, whole);

	host::set_fault(host::fault_point::alloc_atomic, 1);
	char untouched = 'x';
	fuzz::require(debug_pkt_to_str(&desc, level, ethertype, &untouched, 1) == 0, "without memory the result is 0");
	fuzz::require(untouched == 'x', "without memory the buffer stays as it was");
	return 0;
}
