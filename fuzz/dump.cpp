// SPDX-License-Identifier: GPL-2.0-only
// Sequences of captures, follow-ups, settings, deliveries and failures through the exported entry points, each step compared with
// a slow model of the capture. The model shares only the decoders and the settings with the core.
// Input: flags, filter (34 bytes), type (4), match (4), limit (2), then operations; see run().
#include "fuzz/support.h"

#include "capture/ethernet.h"
#include "capture/packet.h"
#include "config/settings.h"
#include "config/sysctl.h"
#include "fuzz/settings_model.h"
#include "platform/host/host.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

// A message without br0 is lost with its buffer.
extern "C" const char *__asan_default_options()
{
	return "detect_leaks=0";
}

namespace {

using fuzz::require;
using host::fault_point;

enum operation : uint8_t {
	op_capture = 1,
	op_follow_up,
	op_change_byte,
	op_deliver,
	op_change_length,
	op_reset_buffer,
	op_settings,
	op_fault,
	op_move,
	op_control_plane,
	op_clock,
	op_wrapper,
	op_bridge,
	op_rename,
	op_update_egress,
	op_count,
};

inline constexpr const char *function_name = "frame";
inline constexpr int32_t source_line = 4711;
inline constexpr uint32_t area_size = 4096;

struct device {
	net_device *dev;
	std::string name;
	int32_t index;
};

// A packet of the datapath.
struct packet {
	fuzz::block bytes;
	sk_buff skb = {};
	debug_pkt_desc desc = {};

	explicit packet(const std::string &content) : bytes(content) {}
	void replace(const std::string &content)
	{
		bytes = fuzz::block(content);
		skb.data = bytes.data();
		skb.len = bytes.size();
		desc.data = bytes.data();
	}
	std::string content() const { return std::string(bytes.chars(), bytes.size()); }
};

struct capture_point {
	const char *label;
	uint32_t level, ethertype, hook;
};

struct model {
	std::vector<device> devices; // lo, eth0, a long name, br0, uplink
	bool has_bridge = true;
	uint16_t control_plane = 0;
	uint32_t faults[static_cast<unsigned>(fault_point::count_of_points)] = {};
	int64_t seconds = 0;
	long nanoseconds = 0;
	int32_t minutes_west = 0, dst = 0;

	std::string area = std::string(area_size, '\0'); // the text buffer
	int32_t end = -1;                                // unset
	uint8_t matched = 0;
	debug_pkt_desc *last = nullptr;
	std::string headers; // hdrcache
	int32_t count = 0;
	uint32_t types = 0;
	uint32_t identification = 0;

	std::string messages, datagrams; // everything that went out, one behind the other
	uint64_t dropped = 0, rendered = 0, passed = 0;

	bool fails(fault_point point)
	{
		uint32_t &left = faults[static_cast<unsigned>(point)];
		return left && left--;
	}
};

std::string sent_messages, sent_datagrams;

uint32_t code_of(const model &m, const net_device *dev)
{
	const uint32_t index = static_cast<uint32_t>(dev->ifindex);
	return static_cast<uint16_t>(index) == m.control_plane ? 0 : index + 8450;
}

const device *find_device(const model &m, int32_t index)
{
	for (const device &each : m.devices)
		if (each.index == index && (each.name != "br0" || m.has_bridge))
			return &each;
	return nullptr;
}

std::string display_name(const model &m, uint32_t code)
{
	const auto numbered = [](const char *name, uint32_t number) { return name + std::to_string(number); };
	if (code == 0)
		return "CP";
	if (code >= 458753 && code <= 462848)
		return numbered("ipsecmap ", code - 458752);
	if (code >= 17409 && code <= 17468)
		return numbered("pbr-nhl ", code - 17408);
	if (code >= 17469 && code <= 18427)
		return numbered("pbr-nh ", code - 17468);
	if (code >= 18428 && code <= 18431)
		return "cluster";
	if (code <= 8450)
		return numbered("vlan ", code);
	const device *const found = find_device(m, static_cast<int32_t>(code - 8450));
	return found ? found->name : "unknown";
}

template <class... A> void emit_slowly(debug_pkt_ctx &ctx, const char *format, A... arguments)
{
	if (ctx.len > 4094)
		return;
	ctx.len += static_cast<uint32_t>(std::snprintf(ctx.buf + ctx.len, 4095 - ctx.len, format, arguments...));
	ctx.len = std::min(ctx.len, 4095u);
}

std::string local_time(const model &m)
{
	const uint32_t seconds = static_cast<uint32_t>(m.seconds - 60ll * m.minutes_west + 3600ll * m.dst);
	const time_t widened = seconds;
	tm fields;
	gmtime_r(&widened, &fields);
	char text[96];
	std::snprintf(text, sizeof text, "%d-%d-%d %02u:%02u:%02u:%06ld", fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
		      static_cast<unsigned>(fields.tm_hour), static_cast<unsigned>(fields.tm_min),
		      static_cast<unsigned>(fields.tm_sec), m.nanoseconds / 1000);
	return text;
}

const char *tag_of(uint32_t hook)
{
	return hook == 1 ? "ASAP" : hook == 2 ? "ASFP" : hook == 4 ? "UOL" : "OTHER";
}

std::string ingress_of(const model &m, const sk_buff &skb, uint32_t hook)
{
	const device *const input = hook == 2 ? find_device(m, skb.skb_iif) : nullptr;
	return input ? input->name : skb.dev->name;
}

void emit_line_b(const model &m, debug_pkt_ctx &ctx, const debug_pkt_desc &desc, const capture_point &at)
{
	const std::string egress = display_name(m, desc.egress), ingress = ingress_of(m, *desc.skb, at.hook);
	const int length = static_cast<int>(desc.skb->len);
	if (at.hook == 2)
		emit_slowly(ctx, "[%s(%d):%s] len %d, egress %s, ingress %s: \n", function_name, source_line, at.label, length,
			    egress.c_str(), ingress.c_str());
	else
		emit_slowly(ctx, "[%s(%d):%s] len %d, vlan %d, egress %s, ingress %s:\n", function_name, source_line, at.label,
			    length, desc.vlan, egress.c_str(), ingress.c_str());
}

uint32_t parse(debug_pkt_ctx &ctx, const sk_buff &skb, const capture_point &at)
{
	const wire::announced_packet bounds(skb.data, skb.len);
	return debug_pkt_parse(&ctx, skb.data, skb.len, at.level, at.ethertype);
}

void deliver(model &m, bool flag)
{
	if (m.end < 0) {
		m.end = 0;
		return;
	}
	if (m.fails(fault_point::skb_alloc))
		return;
	if (m.fails(fault_point::dev_get_by_name) || !m.has_bridge)
		return;
	if (!m.fails(fault_point::netif_rx)) {
		m.messages += static_cast<char>(flag);
		m.messages += m.area.substr(0, static_cast<size_t>(m.end) + 1);
	}
	m.end = 0;
}

void append(model &m, const debug_pkt_ctx &ctx)
{
	++m.rendered;
	m.end = std::max(m.end, 0);
	if (static_cast<uint32_t>(m.end) + ctx.len >= area_size)
		deliver(m, true);
	if (static_cast<uint32_t>(m.end) + ctx.len >= area_size) {
		++m.dropped;
		return;
	}
	m.area.replace(static_cast<size_t>(m.end), ctx.len, ctx.buf, ctx.len);
	m.end += static_cast<int32_t>(ctx.len);
	m.area[static_cast<size_t>(m.end)] = '\0';
}

void keep_headers(model &m, const sk_buff &skb, uint32_t consumed)
{
	m.headers.assign(reinterpret_cast<const char *>(skb.data), std::min({consumed, 1023u, skb.len}));
	m.headers.resize(std::min(consumed, 1023u), '\0');
}

uint16_t big16(const std::string &bytes, size_t at)
{
	return static_cast<uint16_t>(static_cast<uint8_t>(bytes[at]) << 8 | static_cast<uint8_t>(bytes[at + 1]));
}

void mirror(model &m, const debug_pkt_desc &desc, uint32_t source)
{
	if (m.fails(fault_point::route_output_null) || m.fails(fault_point::route_output_error))
		return;
	const std::string frame(reinterpret_cast<const char *>(desc.data), desc.skb->len);
	const std::string addresses = std::string(reinterpret_cast<const char *>(&source), 4) +
				      std::string(reinterpret_cast<const char *>(&debug_pkt_mirror_ip), 4);
	const std::string padded = frame + std::string(64, '\0');
	const size_t ip = big16(padded, 12) == 0x0081 ? 18 : 14;
	if (big16(padded, ip - 2) == 0x0800 && (padded[ip] & 0xf) == 5 && padded[ip + 9] == 47 &&
	    padded.substr(ip + 12, 8) == addresses && big16(padded, ip + 22) == 0x6558)
		return;
	if (m.fails(fault_point::skb_alloc))
		return;
	const uint32_t total = 24 + desc.skb->len;
	std::string header("\x45\0\0\0\0\0\0\0\x40\x2f\0\0", 12);
	header += addresses + std::string("\0\0\x65\x58", 4);
	header[2] = static_cast<char>(total >> 8);
	header[3] = static_cast<char>(total);
	header[4] = static_cast<char>(m.identification >> 8);
	header[5] = static_cast<char>(m.identification);
	++m.identification;
	uint32_t sum = 0;
	for (size_t i = 0; i < 20; i += 2)
		sum += big16(header, i);
	sum = (sum & 0xffff) + (sum >> 16);
	sum = ~((sum & 0xffff) + (sum >> 16));
	header[10] = static_cast<char>(sum >> 8);
	header[11] = static_cast<char>(sum);
	m.datagrams += header + frame;
}

void capture(model &m, debug_pkt_ctx &ctx, debug_pkt_desc *desc, const capture_point &at, uint32_t source)
{
	if (debug_pkt_max_count != 0 && m.count == debug_pkt_max_count) {
		m.types = 0;
		return;
	}
	m.matched = 0;
	m.last = nullptr;
	const sk_buff &skb = *desc->skb;
	if (std::strncmp(skb.dev->name, debug_pkt_dev, 16) == 0)
		ctx.match |= match_dev;
	emit_slowly(ctx, "\n%s received packet from %s ([cpu %d] timestamp (%s))\n", tag_of(at.hook),
		    ingress_of(m, skb, at.hook).c_str(), 0, local_time(m).c_str());
	emit_line_b(m, ctx, *desc, at);
	const uint32_t consumed = parse(ctx, skb, at);
	if (((m.types & ctx.type) == 0 && m.types != 0xffffffff) || (debug_pkt_match_flags & ~ctx.match) != 0)
		return;
	m.matched = 1;
	m.last = desc;
	++m.passed;
	m.count = static_cast<int32_t>(static_cast<uint32_t>(m.count) + 1);
	if (debug_pkt_mirror_ip != 0) {
		mirror(m, *desc, source);
		return;
	}
	keep_headers(m, skb, consumed);
	append(m, ctx);
}

void follow_up(model &m, debug_pkt_ctx &ctx, const capture_point &at)
{
	if (!m.matched || debug_pkt_mirror_ip != 0)
		return;
	debug_pkt_desc &desc = *m.last;
	const sk_buff &skb = *desc.skb;
	if (std::strncmp(at.label, "T+", 2) == 0) {
		emit_slowly(ctx, "%s[%s(%d)] process done(timestamp (%s))\n", tag_of(at.hook), function_name, source_line,
			    local_time(m).c_str());
	} else {
		const uint32_t current = code_of(m, skb.dev);
		if (at.hook == 2 && desc.ingress != current)
			desc.egress = current;
		emit_line_b(m, ctx, desc, at);
	}
	const size_t n = m.headers.size();
	if (n == 0 || skb.len < n || std::memcmp(skb.data, m.headers.data(), n) != 0)
		keep_headers(m, skb, parse(ctx, skb, at));
	append(m, ctx);
}

// What debug_pkt_dump is to do.
void dump(model &m, debug_pkt_desc *desc, const capture_point &at, uint32_t source)
{
	if (m.types == 0 || m.fails(fault_point::alloc_atomic))
		return;
	debug_pkt_ctx ctx;
	debug_pkt_ctx_reset(&ctx);
	if (desc)
		capture(m, ctx, desc, at, source);
	else
		follow_up(m, ctx, at);
}

int keep_message(void *, sk_buff *message)
{
	require(message->protocol == 0xfa8f && message->pkt_type == 0, "a message is a packet for the CLI");
	require(message->data[message->len - 1] == 0 || message->len == 2, "a message ends in a NUL");
	sent_messages.append(reinterpret_cast<const char *>(message->data), message->len);
	host::free_skb(message);
	return 0;
}

int keep_datagram(void *, sk_buff *datagram)
{
	sent_datagrams.append(reinterpret_cast<const char *>(datagram->data), datagram->len);
	host::free_skb(datagram);
	return 0;
}

void require_same(const model &m)
{
	require(debug_pkt_type_flags == m.types, "the wanted types change only at the limit and by the operator");
	require(debug_pkt_cur_count == m.count, "packets that pass are counted");
	require(debug_pkt_matched == m.matched && last_matched_pkt == m.last, "the last packet that passed is remembered");
	require(hdrlen == m.headers.size() && std::memcmp(hdrcache, m.headers.data(), hdrlen) == 0, "the decoded headers are kept");
	require(sent_messages == m.messages, "every message is the text that was appended");
	require(sent_datagrams == m.datagrams, "every mirrored frame is the frame");
	require(debug_pkt_stats.dropped_texts == m.dropped, "dropped texts are counted");
	require(debug_pkt_stats.rendered == m.rendered && debug_pkt_stats.matched == m.passed, "texts and matches are counted");
	if (m.end < 0) {
		require(debug_pkt_buf_end == nullptr, "an untouched buffer stays unset");
	} else {
		require(debug_pkt_buf_end == debug_pkt_buf + m.end, "pending text is what was appended");
		require(std::memcmp(debug_pkt_buf, m.area.data(), area_size) == 0, "the buffer holds what was appended");
	}
	fuzz::require_idle();
}

// One session on CPU 0.
struct session {
	model m;
	std::vector<std::unique_ptr<packet>> packets;
	std::string long_label; // of the call in hand
	uint32_t source = 0x0100a8c0;

	void set_up(fuzz::input &in);
	void run(fuzz::input &in);

private:
	capture_point take_point(fuzz::input &in);
	void capture_packet(fuzz::input &in);
	void call(debug_pkt_desc *desc, const capture_point &at);
	void call_wrapper(uint8_t which);
	void write_settings(fuzz::input &in);
	void set_fault(fuzz::input &in);
	void set_clock(fuzz::input &in);
	packet *newest() { return packets.empty() ? nullptr : packets.back().get(); }
};

void session::set_up(fuzz::input &in)
{
	const uint8_t flags = in.u8();
	fuzz::take_filter(in);
	m.types = debug_pkt_type_flags = in.u32();
	debug_pkt_match_flags = in.u32();
	debug_pkt_max_count = in.u16();
	const char *const names[] = {"lo", "eth0", "a-device-of-15c", "br0", "uplink"};
	int32_t index = 0;
	for (const char *name : names) {
		++index;
		m.devices.push_back({host::add_device(name, index), name, index});
	}
	host::set_receiver(keep_message, nullptr);
	host::set_output(keep_datagram, nullptr);
	host::set_route(m.devices[4].dev, source);
	host::set_clock(0, 0);
	if (flags & 1) {
		debug_pkt_set_buffer();
		m.end = 0;
	}
}

capture_point session::take_point(fuzz::input &in)
{
	const uint8_t shape = in.u8();
	const uint16_t ethertype = in.u16();
	if ((shape >> 4 & 3) == 1)
		long_label.assign(in.u16() % 4200u, 'l');
	const char *const labels[] = {" uol entry", long_label.c_str(), "T+ done", "T"};
	return {labels[shape >> 4 & 3], shape >> 3 & 1u, ethertype, shape & 7u};
}

// Runs the model, then the core from the same state, and compares.
void session::call(debug_pkt_desc *desc, const capture_point &at)
{
	debug_pkt_desc *const touched = desc ? desc : m.last;
	const debug_pkt_desc before = touched ? *touched : debug_pkt_desc();
	dump(m, desc, at, source);
	const debug_pkt_desc expected = touched ? *touched : debug_pkt_desc();
	if (touched)
		*touched = before;
	debug_pkt_dump(desc, function_name, source_line, at.label, at.level, at.ethertype, at.hook);
	require(!touched || std::memcmp(touched, &expected, sizeof expected) == 0, "only the egress of a descriptor is written");
}

void session::capture_packet(fuzz::input &in)
{
	const capture_point at = take_point(in);
	const uint32_t egress = in.u16() * 8u;
	const uint8_t input_index = in.u8();
	const uint16_t vlan = in.u16();
	packets.push_back(std::make_unique<packet>(in.bytes(in.u16())));
	packet &made = *packets.back();
	made.replace(made.content());
	made.skb.dev = m.devices[1].dev;
	made.skb.skb_iif = input_index % 8;
	made.desc.skb = &made.skb;
	made.desc.egress = egress;
	made.desc.ingress = code_of(m, made.skb.dev);
	made.desc.vlan = vlan;
	call(&made.desc, at);
}

void session::call_wrapper(uint8_t which)
{
	packet *const on = newest();
	if (!on)
		return;
	const uint32_t code = code_of(m, on->skb.dev);
	const bool is_l3 = which % 3 == 2, is_asfp = which % 3 == 0;
	debug_pkt_desc expected = sbeth;
	expected.skb = &on->skb;
	expected.data = on->skb.data;
	expected.egress = is_l3 ? code : 0;
	expected.ingress = is_l3 ? 0 : code;
	const debug_pkt_desc before = sbeth;
	sbeth = expected;
	dump(m, &sbeth, {is_asfp ? " asfp entry" : " uol entry", is_l3, is_l3 ? 2048u : 0u, is_asfp ? 2u : 4u}, source);
	sbeth = before;
	(is_l3 ? uol_debug_pkt_dump_l3 : is_asfp ? asfp_debug_pkt_dump : uol_debug_pkt_dump)(&on->skb, function_name, source_line);
	require(std::memcmp(&sbeth, &expected, sizeof expected) == 0, "a wrapper fills its descriptor");
}

void session::write_settings(fuzz::input &in)
{
	fuzz::settings wanted = fuzz::current_settings();
	const uint8_t flags = in.u8();
	wanted.type = in.u32();
	wanted.match = in.u32();
	wanted.limit = in.u8();
	wanted.mirror = flags & 1 ? std::array<uint8_t, 4>{10, 0, 0, 9} : std::array<uint8_t, 4>{};
	wanted.dev = flags & 2 ? "eth0" : flags & 4 ? "a-device-of" : "all";
	debug_pkt_set_sysctl(fuzz::line_for(wanted).c_str());
	m.types = wanted.type;
	m.count = 0;
}

void session::set_fault(fuzz::input &in)
{
	const fault_point points[] = {fault_point::alloc_atomic, fault_point::skb_alloc, fault_point::dev_get_by_name,
				      fault_point::netif_rx, fault_point::route_output_null};
	const fault_point point = points[in.u8() % std::size(points)];
	const uint32_t times = in.u8() % 4;
	host::set_fault(point, times);
	m.faults[static_cast<unsigned>(point)] = times;
}

void session::set_clock(fuzz::input &in)
{
	m.seconds = in.u32();
	m.nanoseconds = static_cast<long>(in.u32() % 1000000000);
	m.minutes_west = static_cast<int16_t>(in.u16());
	m.dst = in.u8() & 1;
	host::set_clock(m.seconds, m.nanoseconds);
	host::set_time_zone(m.minutes_west, m.dst);
}

void session::run(fuzz::input &in)
{
	constexpr unsigned most_operations = 48;
	for (unsigned i = 0; i < most_operations && !in.empty(); ++i) {
		switch (in.u8() % op_count) {
		case op_capture:
			capture_packet(in);
			break;
		case op_follow_up:
			call(nullptr, take_point(in));
			in.u8();
			break;
		case op_change_byte: {
			const uint16_t at = in.u16();
			const uint8_t value = in.u8();
			if (packet *const on = newest(); on && at < on->bytes.size())
				on->bytes.data()[at] = value;
			break;
		}
		case op_change_length: {
			const uint16_t length = in.u16();
			if (packet *const on = newest()) {
				std::string content = on->content();
				content.resize(length % 9200u);
				on->replace(content);
			}
			break;
		}
		case op_deliver: {
			const uint8_t flag = in.u8();
			deliver(m, flag != 0);
			debug_pkt_send2stack(flag);
			break;
		}
		case op_reset_buffer:
			debug_pkt_set_buffer();
			m.end = 0;
			m.matched = 0;
			m.count = 0;
			break;
		case op_settings:
			write_settings(in);
			break;
		case op_fault:
			set_fault(in);
			break;
		case op_move: {
			const device &target = m.devices[in.u8() % m.devices.size()];
			if (packet *const on = newest())
				on->skb.dev = target.dev;
			break;
		}
		case op_control_plane:
			m.control_plane = in.u8();
			debug_pkt_get_cp_ifindex(m.control_plane | 0x10000u);
			break;
		case op_clock:
			set_clock(in);
			break;
		case op_wrapper:
			call_wrapper(in.u8());
			break;
		case op_bridge:
			// Once taken away it stays away.
			if (m.has_bridge)
				host::remove_device(m.devices[3].dev);
			m.has_bridge = false;
			break;
		case op_rename:
			m.devices[1].name = in.u8() & 1 ? "eth0" : "renamed-eth0";
			host::rename_device(m.devices[1].dev, m.devices[1].name);
			break;
		case op_update_egress:
			if (debug_pkt_matched) {
				const uint32_t code = code_of(m, m.last->skb->dev);
				asfp_update_egress();
				require(m.last->egress == code, "the egress is the device that the buffer is on");
			}
			break;
		}
		require_same(m);
	}
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	fuzz::start();
	sent_messages.clear();
	sent_datagrams.clear();
	fuzz::input in(data, size);
	session test;
	test.set_up(in);
	require_same(test.m);
	test.run(in);
	return 0;
}
