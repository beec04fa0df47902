// SPDX-License-Identifier: GPL-2.0-only
// A packet chooses how deep decoders nest, but not how much stack they take. Measured here on a painted stack; the bound itself
// is computed by tests/checks/stack_usage.
#include "tests/unit/worst_frames.h"

#include "capture/ethernet.h"

#include <pthread.h>
#include <sys/mman.h>
#include <valgrind/memcheck.h>

namespace test {

using stack_test = core_test;

static constexpr size_t most_stack = 5120;
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
static constexpr bool is_built_as_shipped = true;
#else
static constexpr bool is_built_as_shipped = false;
#endif

static constexpr size_t stack_size = 1 << 20;

struct run {
	uint8_t *stack; // its lowest byte
	const uint8_t *data;
	uint32_t len;
	debug_pkt_ctx *ctx;
	size_t taken;
};

// Paints what lies below its frame, decodes, and looks how far down the paint is gone. To valgrind that is no thread's stack.
static void *decode_frame(void *argument)
{
	constexpr uint8_t paint = 0xa5;
	constexpr size_t own_calls = 512;
	run *const work = static_cast<run *>(argument);
	uint8_t *const frame = static_cast<uint8_t *>(__builtin_frame_address(0)), *const top = frame - own_calls;
	VALGRIND_MAKE_MEM_UNDEFINED(work->stack, top - work->stack);
	std::fill(work->stack, top, paint);
	{
		const wire::announced_packet bounds(work->data, work->len);
		debug_pkt_parse(work->ctx, work->data, work->len, 0, 0);
	}
	VALGRIND_MAKE_MEM_DEFINED(work->stack, top - work->stack);
	const uint8_t *const lowest = std::find_if(work->stack, top, [](uint8_t byte) { return byte != paint; });
	work->taken = static_cast<size_t>(frame - lowest);
	return nullptr;
}

// Bytes of stack below its caller's frame that decoding touches.
static size_t stack_taken(const bytes &content, uint32_t start_len)
{
	// What is looked up at a first call takes stack of its own.
	decode(debug_pkt_eth, content, start_len);

	void *const stack = mmap(nullptr, stack_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
	EXPECT_NE(stack, MAP_FAILED);
	const packet packet(content);
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	ctx->len = start_len;
	run work = {static_cast<uint8_t *>(stack), packet.data(), packet.size(), ctx.get(), 0};
	pthread_attr_t attributes;
	pthread_attr_init(&attributes);
	EXPECT_EQ(pthread_attr_setstack(&attributes, stack, stack_size), 0);
	pthread_t thread;
	EXPECT_EQ(pthread_create(&thread, &attributes, decode_frame, &work), 0);
	pthread_join(thread, nullptr);
	pthread_attr_destroy(&attributes);
	munmap(stack, stack_size);
	return work.taken;
}

// The most of any place in the text where the frame's lines begin.
static size_t most_taken(const bytes &content)
{
	size_t most = 0;
	for (uint32_t start_len : {0u, 2000u, 3000u, 3500u, 4000u, 4094u, 4095u})
		most = std::max(most, stack_taken(content, start_len));
	return most;
}

static bytes stacked_tags(size_t count)
{
	return ethernet("8100") + fill(hex("0001 8100"), 4 * count - 4) + hex("0001 0800") + ipv4_header(17) + udp_header(53, 53);
}

TEST_F(stack_test, tags_take_none)
{
	const size_t one = stack_taken(stacked_tags(1), 4095), many = stack_taken(stacked_tags(370), 4095);
	EXPECT_EQ(many, one);
	if (is_built_as_shipped) {
		EXPECT_LE(most_taken(stacked_tags(370)), most_stack);
	}
}

TEST_F(stack_test, tunnels_take_no_more_than_eight)
{
	const bytes innermost = in_udp(67, 68, bootp());
	EXPECT_EQ(stack_taken(nested_vxlan(170, innermost), 4095), stack_taken(nested_vxlan(9, innermost), 4095));
	EXPECT_EQ(stack_taken(nested_gre(220, innermost), 4095), stack_taken(nested_gre(9, innermost), 4095));
	EXPECT_EQ(stack_taken(nested_icmp(310), 4095), stack_taken(nested_icmp(9), 4095));
	EXPECT_EQ(stack_taken(nested_icmp6(180), 4095), stack_taken(nested_icmp6(9), 4095));
	EXPECT_GT(stack_taken(nested_vxlan(8, innermost), 4095), stack_taken(nested_vxlan(7, innermost), 4095));
}

TEST_F(stack_test, deepest_frames_stay_within_the_bound)
{
	if (!is_built_as_shipped)
		GTEST_SKIP() << "this build's frames are not those of the module";
	for (const named_frame &frame : worst_frames(9000)) {
		SCOPED_TRACE(frame.name);
		EXPECT_LE(most_taken(frame.content), most_stack);
	}
	const bytes tags = fill(hex("0001 8100"), 32);
	for (const char *type : {"8863", "8864", "8ffd", "0806"}) {
		bytes content;
		for (int i = 0; i < 8; ++i)
			content = content + ethernet("8100") + tags + hex("0001 86dd") + ipv6_header(17) + udp_header(1, 4789) +
				  zeros(8);
		SCOPED_TRACE(type);
		EXPECT_LE(most_taken(up_to(content + ethernet(type) + hex("c2c9") + zeros(46), hex("01"), 9000)), most_stack);
	}
}

} // namespace test
