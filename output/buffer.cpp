// SPDX-License-Identifier: GPL-2.0-only
#include "output/buffer.h"

#include "capture/percpu.h"
#include "text/format.h"

DEFINE_PER_CPU_STATE(char) debug_pkt_buf[4096];
DEFINE_PER_CPU_STATE(char *) debug_pkt_buf_end;

namespace {

inline constexpr uint16_t cli_ethertype = 0x8ffa;

// Whether n more bytes and the NUL fit behind the pending text.
bool fits(const char *start, const char *end, uint32_t n)
{
	return n < sizeof debug_pkt_buf - static_cast<uint32_t>(end - start);
}

void log_refused(int result)
{
	char line[80];
	text::format<"netif_rx failed can't send message to stm(%d:%d)\n">(line, sizeof line, static_cast<int32_t>(result),
									   int32_t(1849));
	platform_log(line);
}

// Sends the bytes from start up to end and the one at end; false when nothing was handed over, and the text stays. By itself, so
// that an append that fits needs no room on the stack.
[[gnu::noinline]] bool send_message(int32_t flag, const char *start, const char *end)
{
	const uint32_t length = static_cast<uint32_t>(end - start);
	sk_buff *const message = platform_skb_alloc(length + 2);
	if (!message) {
		platform_log("alloc skb failed can't send message to cli\n");
		count_event(&debug_pkt_counters::delivery_no_buffer);
		return false;
	}
	uint8_t *const data = platform_skb_put(message, length + 2);
	net_device *const bridge = platform_dev_get_by_name("br0");
	if (!bridge) {
		platform_log("failed to get bridge net device \n");
		count_event(&debug_pkt_counters::delivery_no_bridge);
		return false;
	}
	platform_skb_set_dev(message, bridge);
	platform_skb_set_protocol(message, cli_ethertype);
	platform_skb_mark_mac_header(message);
	platform_skb_set_type_host(message);
	data[0] = flag != 0;
	__builtin_memcpy(data + 1, start, length + 1);

	const int result = platform_netif_rx(message);
	if (result) {
		log_refused(result);
		count_event(&debug_pkt_counters::delivery_refused);
		count_event(&debug_pkt_counters::discarded_bytes, length);
	} else {
		count_event(&debug_pkt_counters::delivered);
	}
	return true;
}

void store(char *&end, const char *text, uint32_t n)
{
	__builtin_memcpy(end, text, n);
	end += n;
	*end = 0;
}

[[gnu::noinline]] void deliver_and_store(const char *text, uint32_t n)
{
	debug_pkt_send2stack(1);
	char *&end = this_cpu(debug_pkt_buf_end);
	if (fits(this_cpu(debug_pkt_buf), end, n))
		store(end, text, n);
	else
		count_event(&debug_pkt_counters::dropped_texts);
}

} // namespace

void debug_pkt_buf_append(const char *text, uint32_t n)
{
	char *const start = this_cpu(debug_pkt_buf);
	char *&end = this_cpu(debug_pkt_buf_end);
	if (end < start)
		end = start;
	if (fits(start, end, n))
		store(end, text, n);
	else
		deliver_and_store(text, n);
}

void debug_pkt_send2stack(int32_t flag)
{
	platform_lock_bh(&debug_pkt_s2s_lock);
	char *const start = this_cpu(debug_pkt_buf);
	char *&end = this_cpu(debug_pkt_buf_end);
	if (end < start || send_message(flag, start, end))
		end = start;
	platform_unlock_bh(&debug_pkt_s2s_lock);
}
