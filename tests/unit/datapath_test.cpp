// SPDX-License-Identifier: GPL-2.0-only
#include "capture/datapath.h"

#include "capture/ifname.h"
#include "tests/unit/capture_support.h"

#include <thread>

extern "C" {
void c_module_receive(sk_buff *skb);
void c_module_send(const char *label);
uint32_t c_module_state(void);
}

namespace test {

class datapath_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		eth0 = host::add_device("eth0", 3);
		eth1 = host::add_device("eth1", 5);
		host::set_clock(1700000000, 123456789); // 2023-11-14 22:13:20
		want_everything();
		debug_pkt_buf_end = debug_pkt_buf;
	}

	static std::string name_of(uint32_t code)
	{
		char name[debug_pkt_ifname_size];
		debug_pkt_ifname(code, name);
		return name;
	}

	net_device *eth0, *eth1;
};

static std::string received(const char *tag, const char *device)
{
	return std::string("\n") + tag + " received packet from " + device + " ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n";
}

// --- The wrappers ---

TEST_F(datapath_test, asfp_entry)
{
	debug_pkt_get_cp_ifindex(3);
	arrival packet(arp_request(), eth1, 3);
	asfp_debug_pkt_dump(&packet.skb, "asfp_rx", 1201);
	EXPECT_EQ(take_text(),
		  received("ASFP", "eth0") + "[asfp_rx(1201): asfp entry] len 42, egress CP, ingress eth0: \n" + arp_request_text);
	EXPECT_EQ(sbeth.skb, &packet.skb);
	EXPECT_EQ(sbeth.data, packet.skb.data);
	EXPECT_EQ(sbeth.egress, 0u);
	EXPECT_EQ(sbeth.ingress, 8455u);
	EXPECT_EQ(name_of(sbeth.ingress), "eth1");
	EXPECT_EQ(last_matched_pkt, &sbeth);

	arrival from_control_plane(unknown_frame(), eth0);
	asfp_debug_pkt_dump(&from_control_plane.skb, "asfp_rx", 1201);
	EXPECT_EQ(take_text(), received("ASFP", "eth0") + "[asfp_rx(1201): asfp entry] len 22, egress CP, ingress eth0: \n" +
				       unknown_frame_text);
	EXPECT_EQ(sbeth.skb, &from_control_plane.skb);
	EXPECT_EQ(sbeth.data, from_control_plane.skb.data);
	EXPECT_EQ(sbeth.ingress, 0u);
	EXPECT_EQ(name_of(sbeth.ingress), "CP");
}

TEST_F(datapath_test, uol_entry)
{
	arrival packet(arp_request(), eth1, 3);
	sbeth.egress = 77;
	uol_debug_pkt_dump(&packet.skb, "uol_rx", -9);
	EXPECT_EQ(take_text(), received("UOL", "eth1") + "[uol_rx(-9): uol entry] len 42, vlan 0, egress CP, ingress eth1:\n" +
				       arp_request_text);
	EXPECT_EQ(sbeth.skb, &packet.skb);
	EXPECT_EQ(sbeth.data, packet.skb.data);
	EXPECT_EQ(sbeth.egress, 0u);
	EXPECT_EQ(sbeth.ingress, 8455u);
	EXPECT_EQ(last_matched_pkt, &sbeth);
}

TEST_F(datapath_test, uol_entry_at_layer_3)
{
	arrival packet(ping(), eth1, 3);
	sbeth.ingress = 77;
	uol_debug_pkt_dump_l3(&packet.skb, "uol_l3", 5);
	EXPECT_EQ(take_text(),
		  received("UOL", "eth1") + "[uol_l3(5): uol entry] len 28, vlan 0, egress eth1, ingress eth1:\n" + ping_text);
	EXPECT_EQ(sbeth.skb, &packet.skb);
	EXPECT_EQ(sbeth.data, packet.skb.data);
	EXPECT_EQ(sbeth.egress, 8455u);
	EXPECT_EQ(sbeth.ingress, 0u);
	EXPECT_EQ(hdrlen, 28u);

	debug_pkt_get_cp_ifindex(5);
	uol_debug_pkt_dump_l3(&packet.skb, "uol_l3", 5);
	EXPECT_EQ(take_text(),
		  received("UOL", "eth1") + "[uol_l3(5): uol entry] len 28, vlan 0, egress CP, ingress eth1:\n" + ping_text);
}

TEST_F(datapath_test, the_wrappers_write_four_fields_only)
{
	static void (*const wrappers[])(sk_buff *, const char *, int32_t) = {asfp_debug_pkt_dump, uol_debug_pkt_dump,
									     uol_debug_pkt_dump_l3};
	arrival packet(arp_request(), eth1);
	for (const auto wrapper : wrappers) {
		std::memset(&sbeth, 0x5a, sizeof sbeth);
		debug_pkt_desc expected;
		std::memcpy(&expected, &sbeth, sizeof expected);
		wrapper(&packet.skb, "f", 1);
		expected.data = sbeth.data;
		expected.skb = sbeth.skb;
		expected.egress = sbeth.egress;
		expected.ingress = sbeth.ingress;
		EXPECT_EQ(std::memcmp(&sbeth, &expected, sizeof sbeth), 0);
	}
}

TEST_F(datapath_test, while_capture_is_off_a_wrapper_only_fills_the_descriptor)
{
	debug_pkt_type_flags = 0;
	arrival packet(arp_request(), eth1);
	asfp_debug_pkt_dump(&packet.skb, "f", 1);
	EXPECT_EQ(sbeth.skb, &packet.skb);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_matched, 0);
	EXPECT_EQ(last_matched_pkt, nullptr);
}

TEST_F(datapath_test, follow_up_calls_see_the_descriptor_of_the_wrappers)
{
	arrival packet(arp_request(), eth1, 5);
	asfp_debug_pkt_dump(&packet.skb, "asfp_rx", 1);
	take_text();
	debug_pkt_dump(nullptr, "fwd", 2, " forwarded", 0, 0, 2);
	EXPECT_EQ(take_text(), "[fwd(2): forwarded] len 42, egress CP, ingress eth1: \n");
	packet.skb.dev = eth0;
	debug_pkt_dump(nullptr, "tx", 3, " sent", 0, 0, 2);
	EXPECT_EQ(take_text(), "[tx(3): sent] len 42, egress eth0, ingress eth1: \n");
	EXPECT_EQ(sbeth.egress, 8453u);
	debug_pkt_dump(nullptr, "tx", 4, "T+", 0, 0, 2);
	EXPECT_EQ(take_text(), "ASFP[tx(4)] process done(timestamp (2023-11-14 22:13:20:123456))\n");
}

TEST_F(datapath_test, each_cpu_has_its_descriptor)
{
	arrival packet(arp_request(), eth0), other(unknown_frame(), eth1);
	uol_debug_pkt_dump(&packet.skb, "f", 1);
	std::thread([&] {
		host::bind_cpu(1);
		EXPECT_EQ(sbeth.skb, nullptr);
		uol_debug_pkt_dump_l3(&other.skb, "f", 1);
		EXPECT_EQ(sbeth.egress, 8455u);
		EXPECT_EQ(last_matched_pkt, &sbeth);
	}).join();
	EXPECT_EQ(sbeth.skb, &packet.skb);
	EXPECT_EQ(sbeth.ingress, 8453u);
	EXPECT_EQ(last_matched_pkt, &sbeth);
}

TEST_F(datapath_test, updating_the_egress)
{
	arrival packet(arp_request(), eth1);
	packet.desc.ingress = 8455;
	debug_pkt_dump(&packet.desc, "f", 1, "", 0, 0, 1);
	take_text();
	ASSERT_EQ(debug_pkt_matched, 1);
	packet.skb.dev = eth0;
	asfp_update_egress();
	EXPECT_EQ(packet.desc.egress, 8453u);
	EXPECT_EQ(packet.desc.ingress, 8455u);
	debug_pkt_dump(nullptr, "tx", 2, " sent", 0, 0, 1);
	EXPECT_EQ(take_text(), "[tx(2): sent] len 42, vlan 0, egress eth0, ingress eth0:\n");
	debug_pkt_get_cp_ifindex(3);
	asfp_update_egress();
	EXPECT_EQ(packet.desc.egress, 0u);
}

TEST_F(datapath_test, the_control_planes_index_has_16_bits)
{
	static const struct {
		uint32_t ifindex;
		uint16_t stored;
	} rows[] = {{3, 3}, {65535, 65535}, {65536, 0}, {65539, 3}, {0xffffffff, 65535}, {0, 0}};
	EXPECT_EQ(firewall_cp_ifindex, 0);
	for (const auto &row : rows) {
		debug_pkt_get_cp_ifindex(row.ifindex);
		EXPECT_EQ(firewall_cp_ifindex, row.stored);
	}
}

// --- From C ---

TEST_F(datapath_test, a_module_in_c)
{
	arrival packet(arp_request(), eth1);
	debug_pkt_type_flags = 0;
	EXPECT_FALSE(debug_pkt_enabled());
	c_module_receive(&packet.skb);
	c_module_send(" sent");
	EXPECT_EQ(sbeth.skb, nullptr);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(c_module_state(), 7u);
	EXPECT_EQ(firewall_cp_ifindex, 3);

	debug_pkt_type_flags = 0x1;
	EXPECT_TRUE(debug_pkt_enabled());
	c_module_receive(&packet.skb);
	packet.skb.dev = eth0;
	c_module_send(" sent");
	c_module_send("T+");
	EXPECT_EQ(take_text(), received("UOL", "eth1") +
				       "[c_module_receive(71): uol entry] len 42, vlan 0, egress CP, ingress eth1:\n" +
				       arp_request_text +
				       "[c_module_send(72): sent] len 42, vlan 0, egress eth1, ingress eth0:\n"
				       "UOL[c_module_send(72)] process done(timestamp (2023-11-14 22:13:20:123456))\n");
	EXPECT_EQ(c_module_state(), 9u);
}

// --- Text export ---

static const std::string request_as_text = std::string("len 42, vlan 0, egress CP, ingress eth0:\n") + arp_request_text;

TEST_F(datapath_test, to_str_renders_without_any_filter)
{
	debug_pkt_type_flags = 0; // capture is off
	debug_pkt_match_flags = 0xffffffff;
	debug_pkt_max_count = 1;
	debug_pkt_cur_count = 1;
	debug_pkt_mirror_ip = 0x01020304;
	arrival packet(arp_request(), eth0);
	packet.desc.data = nullptr; // the buffer's data is rendered
	char out[5000];
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out), request_as_text.size());
	EXPECT_EQ(out, request_as_text);

	EXPECT_EQ(debug_pkt_matched, 0);
	EXPECT_EQ(last_matched_pkt, nullptr);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(debug_pkt_type_flags, 0u);
	EXPECT_EQ(hdrlen, 0u);
	EXPECT_EQ(take_text(), "");
	const debug_pkt_counters none = {};
	EXPECT_EQ(std::memcmp(&debug_pkt_stats, &none, sizeof none), 0);
	EXPECT_EQ(host::live_allocations(), 0);
	EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
}

TEST_F(datapath_test, to_str_levels_and_names)
{
	arrival packet(ping(), eth1, 3);
	packet.desc.vlan = 65535;
	packet.desc.egress = 462848;
	packet.desc.ingress = 1; // not shown
	const std::string first = "len 28, vlan 65535, egress ipsecmap 4096, ingress eth1:\n";
	char out[5000];
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 1, 0x0800, out, sizeof out), first.size() + std::strlen(ping_text));
	EXPECT_EQ(out, first + ping_text);
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 1, 0x1234, out, sizeof out), first.size());
	EXPECT_EQ(out, first);
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 7, 0x0800, out, sizeof out), first.size());
	EXPECT_EQ(out, first);
}

TEST_F(datapath_test, to_str_stores_what_the_size_holds)
{
	const uint32_t whole = static_cast<uint32_t>(request_as_text.size());
	static const uint32_t more[] = {whole + 2, 4096, 0x80000000, 0xffffffff, 0};
	arrival packet(arp_request(), eth0);
	for (uint32_t size = 1; size <= whole + 1; ++size) {
		SCOPED_TRACE(size);
		const auto out = std::make_unique<char[]>(size); // exactly that much
		EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out.get(), size), size - 1);
		EXPECT_EQ(std::string(out.get(), size), request_as_text.substr(0, size - 1) + '\0');
	}
	// A size of 0 sets no bound.
	for (uint32_t size : more) {
		SCOPED_TRACE(size);
		const auto out = std::make_unique<char[]>(whole + 1);
		EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out.get(), size), whole);
		EXPECT_EQ(std::string(out.get(), whole + 1), request_as_text + '\0');
	}
}

TEST_F(datapath_test, to_str_of_a_text_that_fills_the_context)
{
	bytes frame = hex("ffffffffffff 020000000001 8100");
	std::string text = "len 1218, vlan 0, egress CP, ingress eth0:\n"
			   "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n";
	for (int i = 0; i < 300; ++i) {
		frame = frame + hex("0000 8100");
		text += "  #vlan 0, prio 0, etype 8100\n";
	}
	frame = frame + hex("0000 1234");
	ASSERT_EQ(frame.size(), 1218u);
	text = text.substr(0, 4094) + '\0';
	arrival packet(frame, eth0);
	static const struct {
		uint32_t size, stored;
	} rows[] = {{0, 4095}, {4097, 4095}, {4096, 4095}, {4095, 4094}, {4094, 4093}};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.size);
		const auto out = std::make_unique<char[]>(row.stored + 1);
		EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out.get(), row.size), row.stored);
		EXPECT_EQ(std::string(out.get(), row.stored + 1), text.substr(0, row.stored) + '\0');
	}
}

TEST_F(datapath_test, to_str_without_memory_leaves_the_buffer_untouched)
{
	arrival packet(arp_request(), eth0);
	char out[8] = "before";
	host::set_fault(host::fault_point::alloc_atomic, 1);
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out), 0u);
	EXPECT_STREQ(out, "before");
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out), 7u);
	EXPECT_STREQ(out, "len 42,");
}

TEST_F(datapath_test, to_str_announces_its_packet_and_puts_the_one_before_back)
{
	const packet outer(hex("01 02 03 04"));
	const wire::announced_packet bounds(outer.data(), 2);
	const bytes frame = arp_request();
	const auto export_text = [&](const bytes &content) {
		arrival packet(content, eth0);
		char out[500];
		debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out);
		const std::string text = out,
				  first = "len " + std::to_string(content.size()) + ", vlan 0, egress CP, ingress eth0:\n";
		EXPECT_EQ(text.substr(0, first.size()), first);
		return text.substr(first.size());
	};
	for (size_t size = 0; size <= frame.size(); ++size) {
		SCOPED_TRACE(size);
		const bytes cut(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(size));
		EXPECT_EQ(export_text(cut), export_text(cut + zeros(frame.size() - size)));
	}
	EXPECT_EQ(wire::read_u16(outer.data() + 1), 0x0200);

	arrival empty({}, eth0);
	empty.skb.data = nullptr;
	char out[500];
	debug_pkt_to_str(&empty.desc, 0, 0, out, sizeof out);
	EXPECT_STREQ(out, "len 0, vlan 0, egress CP, ingress eth0:\n"
			  "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
			  "    #snap: sap 0000\n");
}

} // namespace test
