// SPDX-License-Identifier: GPL-2.0-only
#include "capture/ifname.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

using ifname_test = core_test;

// The name of a code, in a buffer behind which nothing may be written.
static std::string name_of(uint32_t code)
{
	const auto out = std::make_unique<char[]>(debug_pkt_ifname_size);
	std::memset(out.get(), 0x5a, debug_pkt_ifname_size);
	debug_pkt_ifname(code, out.get());
	const size_t length = strnlen(out.get(), debug_pkt_ifname_size);
	EXPECT_LT(length, debug_pkt_ifname_size);
	return std::string(out.get(), length);
}

TEST_F(ifname_test, every_range_from_its_first_to_its_last_code)
{
	static const struct {
		uint32_t code;
		const char *name;
	} rows[] = {
		{0, "CP"},
		{1, "vlan 1"},
		{9, "vlan 9"},
		{4094, "vlan 4094"},
		{4095, "vlan 4095"}, // also above the largest VLAN
		{8449, "vlan 8449"},
		{8450, "vlan 8450"},
		{17409, "pbr-nhl 1"},
		{17418, "pbr-nhl 10"},
		{17467, "pbr-nhl 59"},
		{17468, "pbr-nhl 60"},
		{17469, "pbr-nh 1"},
		{17568, "pbr-nh 100"},
		{18426, "pbr-nh 958"},
		{18427, "pbr-nh 959"},
		{18428, "cluster"},
		{18429, "cluster"},
		{18430, "cluster"},
		{18431, "cluster"},
		{458753, "ipsecmap 1"},
		{458851, "ipsecmap 99"},
		{458852, "ipsecmap 100"},
		{459752, "ipsecmap 1000"},
		{462847, "ipsecmap 4095"},
		{462848, "ipsecmap 4096"},
	};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.code);
		EXPECT_EQ(name_of(row.code), row.name);
	}
}

TEST_F(ifname_test, codes_of_devices)
{
	static const struct {
		uint32_t code;
		int32_t ifindex;
	} rows[] = {
		{8451, 1},
		{8452, 2},
		{17408, 8958},
		{18432, 9982},
		{458752, 450302},
		{462849, 454399},
		{2147483647 + 8450u, 2147483647},
	};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.code);
		EXPECT_EQ(name_of(row.code), "unknown");
		net_device *const dev = host::add_device("dev" + std::to_string(row.ifindex % 1000), row.ifindex);
		EXPECT_EQ(name_of(row.code), "dev" + std::to_string(row.ifindex % 1000));
		EXPECT_EQ(dev->references, 0);
		host::remove_device(dev);
		EXPECT_EQ(name_of(row.code), "unknown");
	}
}

TEST_F(ifname_test, codes_beyond_every_device)
{
	host::add_device("eth0", 1);
	EXPECT_EQ(name_of(0x80000000u + 8450), "unknown");
	EXPECT_EQ(name_of(0xffffffff), "unknown");
}

TEST_F(ifname_test, device_names_of_every_length)
{
	net_device *const dev = host::add_device("x", 1);
	const std::string longest = "abcdefghijklmno";
	for (size_t length = 1; length <= longest.size(); ++length) {
		host::rename_device(dev, longest.substr(0, length));
		EXPECT_EQ(name_of(8451), longest.substr(0, length));
	}
}

TEST_F(ifname_test, a_failed_look_up_gives_unknown)
{
	host::add_device("eth0", 1);
	host::set_fault(host::fault_point::dev_get_by_index, 1);
	EXPECT_EQ(name_of(8451), "unknown");
	EXPECT_EQ(name_of(8451), "eth0");
}

TEST_F(ifname_test, only_device_codes_are_looked_up)
{
	host::set_fault(host::fault_point::dev_get_by_index, 1000);
	for (uint32_t code : {0u, 1u, 8450u, 17409u, 17469u, 18428u, 18431u, 458753u, 462848u})
		name_of(code);
	EXPECT_EQ(host::faults_hit(host::fault_point::dev_get_by_index), 0u);
	name_of(8451);
	EXPECT_EQ(host::faults_hit(host::fault_point::dev_get_by_index), 1u);
}

TEST_F(ifname_test, interface_code_of_a_device)
{
	const net_device *const third = host::add_device("eth0", 3), *const fifth = host::add_device("eth1", 5);
	EXPECT_EQ(interface_code(third), 8453u);
	firewall_cp_ifindex = 3;
	EXPECT_EQ(interface_code(third), 0u);
	EXPECT_EQ(interface_code(fifth), 8455u);
	firewall_cp_ifindex = 5;
	EXPECT_EQ(interface_code(third), 8453u);
	EXPECT_EQ(interface_code(fifth), 0u);
}

TEST_F(ifname_test, an_index_is_compared_with_the_control_planes_in_16_bits)
{
	const net_device *const far = host::add_device("far", 65536 + 3), *const farther = host::add_device("farther", 65535);
	firewall_cp_ifindex = 3;
	EXPECT_EQ(interface_code(far), 0u);
	EXPECT_EQ(interface_code(farther), 73985u);
	firewall_cp_ifindex = 65535;
	EXPECT_EQ(interface_code(far), 73989u);
	EXPECT_EQ(interface_code(farther), 0u);
}

} // namespace test
