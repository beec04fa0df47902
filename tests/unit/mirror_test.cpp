// SPDX-License-Identifier: GPL-2.0-only
#include "capture/percpu.h"
#include "output/mirror.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

namespace {

struct datagram {
	bytes data;
	net_device *dev;
	rtable *route;
	uint32_t network_header, mac_header, data_offset;
	uint8_t ip_summed;
	int route_references;
};

struct hook_call {
	datagram seen;
	net_device *dev;
	platform_continuation *okfn;
};

datagram look_at(const sk_buff *skb)
{
	return {bytes(skb->data, skb->data + skb->len),
		skb->dev,
		skb->route,
		skb->network_header,
		skb->mac_header,
		static_cast<uint32_t>(skb->data - skb->head),
		skb->ip_summed,
		host::route()->references};
}

uint32_t address(std::string_view dotted)
{
	return in_aton(std::string(dotted).c_str());
}

class mirror_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		wan0 = host::add_device("wan0");
		host::set_route(wan0, address("192.0.2.1"));
		host::set_output(output, this);
		debug_pkt_mirror_ip = address("198.51.100.7");
		allocations = host::live_allocations();
		buffers = host::live_buffers();
	}
	// Whatever happened: nothing is left over, nothing is logged, and the packet being decoded is the one before.
	void TearDown() override
	{
		EXPECT_EQ(host::route()->references, 0);
		EXPECT_EQ(host::live_allocations(), allocations);
		EXPECT_EQ(host::live_buffers(), buffers);
		EXPECT_TRUE(host::take_log().empty());
		EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
		core_test::TearDown();
	}
	static int output(void *context, sk_buff *skb)
	{
		mirror_test *const self = static_cast<mirror_test *>(context);
		self->sent.push_back(look_at(skb));
		host::free_skb(skb);
		return self->output_result;
	}
	std::vector<datagram> mirror(const bytes &frame)
	{
		sent.clear();
		const packet exact(frame);
		debug_pkt_mirror_send(exact.data(), exact.size());
		return sent;
	}
	void expect_mirrored(const bytes &frame)
	{
		ASSERT_EQ(mirror(frame).size(), 1u);
		EXPECT_EQ(bytes(sent[0].data.begin() + 24, sent[0].data.end()), frame);
	}

	net_device *wan0;
	std::vector<datagram> sent;
	int output_result = 0;
	long allocations, buffers;
};

bytes some_frame(size_t length)
{
	bytes frame(length);
	for (size_t i = 0; i < length; ++i)
		frame[i] = static_cast<uint8_t>(i * 7 + 1);
	return frame;
}

// One's complement sum of a header that holds its checksum.
uint32_t header_sum(const bytes &header)
{
	uint32_t sum = 0;
	for (size_t i = 0; i < 20; i += 2)
		sum += static_cast<uint32_t>(header[i] << 8 | header[i + 1]);
	while (sum >> 16)
		sum = (sum & 0xffff) + (sum >> 16);
	return sum;
}

const bytes macs = hex("02 00 00 00 00 02 02 00 00 00 00 01");
// The outer headers of a mirror packet from 192.0.2.1 to 198.51.100.7.
const bytes own_headers = hex("45 00 00 54 00 05 00 00 40 2f 8e 3a c0 00 02 01 c6 33 64 07 00 00 65 58");
const bytes own_frame = macs + hex("08 00") + own_headers + some_frame(60);
const bytes own_tagged_frame = macs + hex("00 81 00 64 08 00") + own_headers + some_frame(60);

bytes with(bytes frame, size_t offset, uint8_t value)
{
	EXPECT_NE(frame[offset], value);
	frame[offset] = value;
	return frame;
}

} // namespace

// --- The datagram ---

TEST_F(mirror_test, exact_datagrams)
{
	const std::vector<std::pair<size_t, bytes>> headers = {
		{0, hex("45 00 00 18 00 00 00 00 40 2f 8e 7b c0 00 02 01 c6 33 64 07 00 00 65 58")},
		{14, hex("45 00 00 26 00 00 00 00 40 2f 8e 6d c0 00 02 01 c6 33 64 07 00 00 65 58")},
		{60, hex("45 00 00 54 00 00 00 00 40 2f 8e 3f c0 00 02 01 c6 33 64 07 00 00 65 58")},
		{1514, hex("45 00 06 02 00 00 00 00 40 2f 88 91 c0 00 02 01 c6 33 64 07 00 00 65 58")},
		{65511, hex("45 00 ff ff 00 00 00 00 40 2f 8e 93 c0 00 02 01 c6 33 64 07 00 00 65 58")},
	};
	for (const auto &[length, header] : headers) {
		SCOPED_TRACE(length);
		iphdrid = 0;
		const bytes frame = some_frame(length);
		ASSERT_EQ(mirror(frame).size(), 1u);
		EXPECT_EQ(bytes(sent[0].data.begin(), sent[0].data.begin() + 24), header);
		EXPECT_TRUE(sent[0].data == header + frame);
		EXPECT_EQ(header_sum(sent[0].data), 0xffffu);
	}
	EXPECT_EQ(debug_pkt_stats.mirrored, 5u);
}

TEST_F(mirror_test, addresses_of_the_datagram)
{
	host::set_route(wan0, address("10.255.0.9"));
	debug_pkt_mirror_ip = address("203.0.113.200");
	ASSERT_EQ(mirror(some_frame(60)).size(), 1u);
	EXPECT_EQ(bytes(sent[0].data.begin() + 12, sent[0].data.begin() + 20), hex("0a ff 00 09 cb 00 71 c8"));
	EXPECT_EQ(header_sum(sent[0].data), 0xffffu);
}

TEST_F(mirror_test, packet_buffer)
{
	ASSERT_EQ(mirror(some_frame(60)).size(), 1u);
	EXPECT_EQ(sent[0].data.size(), 84u);
	EXPECT_EQ(sent[0].dev, wan0);
	EXPECT_EQ(sent[0].route, host::route());
	EXPECT_EQ(sent[0].route_references, 1);
	EXPECT_EQ(sent[0].ip_summed, 0);
	EXPECT_EQ(sent[0].data_offset, 40u); // 64 bytes of headroom, 24 of them used
	EXPECT_EQ(sent[0].network_header, 40u);
	EXPECT_EQ(sent[0].mac_header, 64u);
}

TEST_F(mirror_test, identification)
{
	const auto identification = [&] {
		EXPECT_EQ(mirror(some_frame(60)).size(), 1u);
		EXPECT_EQ(header_sum(sent[0].data), 0xffffu);
		return sent[0].data[4] << 8 | sent[0].data[5];
	};
	EXPECT_EQ(iphdrid, 0u);
	EXPECT_EQ(identification(), 0);
	EXPECT_EQ(identification(), 1);
	EXPECT_EQ(iphdrid, 2u);
	iphdrid = 0xfffe;
	EXPECT_EQ(identification(), 0xfffe);
	EXPECT_EQ(identification(), 0xffff);
	EXPECT_EQ(identification(), 0);
	EXPECT_EQ(iphdrid, 0x10001u);
	iphdrid = 0x12345678;
	EXPECT_EQ(identification(), 0x5678);
	iphdrid = 0xffffffff;
	EXPECT_EQ(identification(), 0xffff);
	EXPECT_EQ(iphdrid, 0u);
}

// --- Frames that are not sent ---

TEST_F(mirror_test, frame_that_no_datagram_carries)
{
	EXPECT_TRUE(mirror(some_frame(65512)).empty());
	EXPECT_TRUE(mirror(some_frame(70000)).empty());
	EXPECT_EQ(debug_pkt_stats.mirror_too_long, 2u);
	const packet none({});
	for (const uint32_t length : {0x80000000u, 0xffffffc0u, 0xffffffffu})
		debug_pkt_mirror_send(none.data(), length);
	EXPECT_TRUE(sent.empty());
	EXPECT_EQ(debug_pkt_stats.mirror_too_long, 5u);
	EXPECT_EQ(debug_pkt_stats.mirrored, 0u);
	EXPECT_EQ(iphdrid, 0u);
}

TEST_F(mirror_test, no_route)
{
	host::set_fault(host::fault_point::route_output_null, 1);
	EXPECT_TRUE(mirror(some_frame(60)).empty());
	EXPECT_EQ(debug_pkt_stats.mirror_no_route, 1u);
	host::set_fault(host::fault_point::route_output_error, 1);
	EXPECT_TRUE(mirror(some_frame(60)).empty());
	EXPECT_EQ(debug_pkt_stats.mirror_no_route, 2u);
	host::set_route(nullptr, 0);
	EXPECT_TRUE(mirror(some_frame(60)).empty());
	EXPECT_EQ(debug_pkt_stats.mirror_no_route, 3u);
	EXPECT_EQ(debug_pkt_stats.mirrored, 0u);
	EXPECT_EQ(iphdrid, 0u);
	// Without a route nothing is looked at, not even a mirror packet.
	EXPECT_TRUE(mirror(own_frame).empty());
	EXPECT_EQ(debug_pkt_stats.mirror_own_packet, 0u);
	host::set_route(wan0, address("192.0.2.1"));
	expect_mirrored(some_frame(60));
}

TEST_F(mirror_test, no_packet_buffer)
{
	host::set_fault(host::fault_point::skb_alloc, 1);
	EXPECT_TRUE(mirror(some_frame(60)).empty());
	EXPECT_EQ(host::route()->references, 0);
	EXPECT_EQ(debug_pkt_stats.mirror_no_buffer, 1u);
	EXPECT_EQ(debug_pkt_stats.mirrored, 0u);
	EXPECT_EQ(iphdrid, 0u);
	expect_mirrored(some_frame(60));
	EXPECT_EQ(debug_pkt_stats.mirrored, 1u);
}

// --- The loop guard ---

TEST_F(mirror_test, own_packet)
{
	EXPECT_TRUE(mirror(own_frame).empty());
	EXPECT_EQ(host::route()->references, 0);
	EXPECT_EQ(debug_pkt_stats.mirror_own_packet, 1u);
	EXPECT_EQ(debug_pkt_stats.mirrored, 0u);
	EXPECT_EQ(iphdrid, 0u);
}

// What goes out, captured again behind an Ethernet header.
TEST_F(mirror_test, sent_packet_is_an_own_packet)
{
	ASSERT_EQ(mirror(some_frame(60)).size(), 1u);
	const bytes captured = macs + hex("08 00") + sent[0].data;
	EXPECT_TRUE(mirror(captured).empty());
}

TEST_F(mirror_test, each_field_of_the_guard)
{
	constexpr size_t ip = 14;
	expect_mirrored(with(own_frame, 12, 0x09));
	expect_mirrored(with(own_frame, 13, 0x06));
	expect_mirrored(with(own_frame, ip, 0x46));
	expect_mirrored(with(own_frame, ip, 0x44));
	expect_mirrored(with(own_frame, ip, 0x40));
	expect_mirrored(with(own_frame, ip + 9, 17));
	for (size_t i = 12; i < 20; ++i) // source and destination
		expect_mirrored(with(own_frame, ip + i, own_frame[ip + i] ^ 1));
	expect_mirrored(with(own_frame, ip + 22, 0x64));
	expect_mirrored(with(own_frame, ip + 23, 0x59));
	EXPECT_EQ(debug_pkt_stats.mirror_own_packet, 0u);
}

TEST_F(mirror_test, fields_that_the_guard_passes_over)
{
	constexpr size_t ip = 14;
	const std::vector<size_t> looked_at = {12,      13,      ip,      ip + 9,  ip + 12, ip + 13, ip + 14,
					       ip + 15, ip + 16, ip + 17, ip + 18, ip + 19, ip + 22, ip + 23};
	for (size_t i = 0; i < own_frame.size(); ++i)
		if (std::find(looked_at.begin(), looked_at.end(), i) == looked_at.end()) {
			EXPECT_TRUE(mirror(with(own_frame, i, static_cast<uint8_t>(~own_frame[i]))).empty()) << i;
		}
	EXPECT_TRUE(mirror(with(own_frame, ip, 0x65)).empty()); // the version
}

// The collector and the source are those of this moment.
TEST_F(mirror_test, guard_follows_the_settings)
{
	debug_pkt_mirror_ip = address("198.51.100.8");
	expect_mirrored(own_frame);
	debug_pkt_mirror_ip = address("198.51.100.7");
	host::set_route(wan0, address("192.0.2.2"));
	expect_mirrored(own_frame);
	host::set_route(wan0, address("192.0.2.1"));
	EXPECT_TRUE(mirror(own_frame).empty());
}

TEST_F(mirror_test, guard_and_tags)
{
	// The value that counts as a tag here is 0x0081.
	EXPECT_TRUE(mirror(own_tagged_frame).empty());
	EXPECT_TRUE(mirror(with(own_tagged_frame, 14, 0xff)).empty());
	expect_mirrored(with(own_tagged_frame, 16, 0x86));
	expect_mirrored(with(own_tagged_frame, 17, 0x06));
	for (const size_t offset : {0u, 9u, 12u, 15u, 16u, 19u, 22u, 23u})
		expect_mirrored(with(own_tagged_frame, 18 + offset, static_cast<uint8_t>(own_tagged_frame[18 + offset] ^ 2)));
	// A tagged frame of the standard is not looked into.
	expect_mirrored(macs + hex("81 00 00 64 08 00") + own_headers + some_frame(60));
	expect_mirrored(macs + hex("88 a8 00 64 08 00") + own_headers + some_frame(60));
	// Only one tag is.
	expect_mirrored(macs + hex("00 81 00 64 00 81 00 64 08 00") + own_headers + some_frame(60));
	EXPECT_EQ(debug_pkt_stats.mirror_own_packet, 2u);
}

// The guard reads no further than the frame; what is missing reads as 0, so that only a whole header is an own packet.
TEST_F(mirror_test, frames_cut_at_every_byte)
{
	for (const auto &[frame, whole] : {std::pair(own_frame, 14 + 24), std::pair(own_tagged_frame, 18 + 24)})
		for (size_t size = 0; size <= frame.size(); ++size) {
			SCOPED_TRACE(size);
			const bytes cut(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(size));
			if (size < static_cast<size_t>(whole))
				expect_mirrored(cut);
			else
				EXPECT_TRUE(mirror(cut).empty());
			ASSERT_FALSE(HasFailure());
		}
}

// The end that a capture has announced is back afterwards.
TEST_F(mirror_test, announced_packet_stays)
{
	const bytes outer = some_frame(20);
	const uintptr_t before = debug_pkt_packet.end;
	{
		const wire::announced_packet announced(outer.data(), 10);
		expect_mirrored(some_frame(60));
		EXPECT_TRUE(mirror(own_frame).empty());
		EXPECT_EQ(debug_pkt_packet.end, reinterpret_cast<uintptr_t>(outer.data() + 10));
	}
	EXPECT_EQ(debug_pkt_packet.end, before);
}

// --- Netfilter ---

namespace {

// A hook that answers, and before that passes the packet on, drops it or leaves it alone.
struct local_out_hook {
	enum class deed { leave, drop, pass_on };
	deed what;
	int answer;
	std::vector<hook_call> calls = {};
	int continuation_result = -1;

	static int run(void *context, sk_buff *skb, net_device *dev, platform_continuation *okfn)
	{
		local_out_hook *const self = static_cast<local_out_hook *>(context);
		self->calls.push_back({look_at(skb), dev, okfn});
		if (self->what == deed::drop)
			host::free_skb(skb);
		if (self->what == deed::pass_on)
			self->continuation_result = okfn(platform_dev_net(dev), nullptr, skb);
		return self->answer;
	}
};

} // namespace

TEST_F(mirror_test, hooks_that_accept)
{
	local_out_hook hook = {local_out_hook::deed::leave, 1};
	host::set_local_out_hook(local_out_hook::run, &hook);
	const bytes frame = some_frame(60);
	ASSERT_EQ(mirror(frame).size(), 1u);
	ASSERT_EQ(hook.calls.size(), 1u);
	EXPECT_EQ(hook.calls[0].dev, wan0);
	EXPECT_EQ(hook.calls[0].okfn, debug_pkt_ip_frag_send);
	// They see the finished packet.
	const bytes whole = hex("45 00 00 54 00 00 00 00 40 2f 8e 3f c0 00 02 01 c6 33 64 07 00 00 65 58") + frame;
	EXPECT_EQ(hook.calls[0].seen.data, whole);
	EXPECT_EQ(hook.calls[0].seen.dev, wan0);
	EXPECT_EQ(hook.calls[0].seen.route_references, 1);
	EXPECT_EQ(sent[0].data, whole);
	EXPECT_EQ(debug_pkt_stats.mirrored, 1u);
}

TEST_F(mirror_test, hooks_that_take_the_packet)
{
	for (const int answer : {0, -1, 2, -14}) {
		local_out_hook hook = {local_out_hook::deed::drop, answer};
		host::set_local_out_hook(local_out_hook::run, &hook);
		EXPECT_TRUE(mirror(some_frame(60)).empty());
		EXPECT_EQ(hook.calls.size(), 1u);
		EXPECT_EQ(host::route()->references, 0);
	}
	EXPECT_EQ(debug_pkt_stats.mirrored, 4u);
	EXPECT_EQ(iphdrid, 4u);
}

TEST_F(mirror_test, hooks_that_continue_themselves)
{
	local_out_hook hook = {local_out_hook::deed::pass_on, 0};
	host::set_local_out_hook(local_out_hook::run, &hook);
	output_result = 42;
	expect_mirrored(some_frame(60));
	EXPECT_EQ(hook.calls.size(), 1u);
	EXPECT_EQ(hook.continuation_result, 42);
}

TEST_F(mirror_test, result_of_the_output_is_not_looked_at)
{
	output_result = -105;
	expect_mirrored(some_frame(60));
	expect_mirrored(some_frame(61));
	EXPECT_EQ(debug_pkt_stats.mirrored, 2u);
}

TEST_F(mirror_test, output_of_nobody)
{
	host::set_output(nullptr, nullptr);
	EXPECT_TRUE(mirror(some_frame(60)).empty());
	EXPECT_EQ(debug_pkt_stats.mirrored, 1u);
}

// --- The host's route and checksum ---

TEST_F(mirror_test, route_lookup)
{
	platform_flow flow = {};
	flow.destination = address("198.51.100.7");
	flow.protocol = 47;
	rtable *const route = platform_route_output(&flow);
	ASSERT_EQ(route, host::route());
	EXPECT_EQ(flow.source, address("192.0.2.1"));
	EXPECT_EQ(flow.destination, address("198.51.100.7"));
	EXPECT_EQ(platform_route_dev(route), wan0);
	EXPECT_EQ(route->references, 1);
	platform_route_release(route);
	EXPECT_EQ(route->references, 0);
	host::set_fault(host::fault_point::route_output_error, 1);
	EXPECT_GE(reinterpret_cast<uintptr_t>(platform_route_output(&flow)), static_cast<uintptr_t>(-4095));
}

TEST_F(mirror_test, header_checksum)
{
	// The old checksum does not count.
	bytes header = hex("45 00 00 73 00 00 40 00 40 11 ff ff c0 a8 00 01 c0 a8 00 c7");
	platform_ip_send_check(header.data());
	EXPECT_EQ(header, hex("45 00 00 73 00 00 40 00 40 11 b8 61 c0 a8 00 01 c0 a8 00 c7"));
	bytes zero = zeros(20);
	platform_ip_send_check(zero.data());
	EXPECT_EQ(zero, zeros(10) + hex("ff ff") + zeros(8));
	bytes ones(20, 0xff);
	platform_ip_send_check(ones.data());
	EXPECT_EQ(ones, bytes(10, 0xff) + hex("00 00") + bytes(8, 0xff));
}

} // namespace test
