// SPDX-License-Identifier: GPL-2.0-only
#include "capture/ifname.h"

#include "config/settings.h"

uint16_t firewall_cp_ifindex;

namespace {

inline constexpr uint32_t device_base = 8450;
inline constexpr uint32_t ipsecmap_base = 458752, last_ipsecmap = 462848;
inline constexpr uint32_t pbr_nhl_base = 17408, last_pbr_nhl = 17468;
inline constexpr uint32_t pbr_nh_base = 17468, last_pbr_nh = 18427;
inline constexpr uint32_t last_cluster = 18431;

bool in_range(uint32_t code, uint32_t base, uint32_t last)
{
	return code > base && code <= last;
}

text::name name_of_index(uint32_t ifindex)
{
	net_device *const dev = platform_dev_get_by_index(static_cast<int32_t>(ifindex));
	if (!dev)
		return text::name_of<"unknown">();
	platform_dev_put(dev);
	return device_name(dev);
}

template <text::literal F> text::name numbered(interface_name_room &room, uint32_t number)
{
	return {room, text::format<F>(room, sizeof room, static_cast<uint16_t>(number))};
}

} // namespace

text::name other_interface_name(uint32_t code, interface_name_room &room)
{
	if (in_range(code, ipsecmap_base, last_ipsecmap))
		return numbered<"ipsecmap %d">(room, code - ipsecmap_base);
	if (in_range(code, pbr_nhl_base, last_pbr_nhl))
		return numbered<"pbr-nhl %d">(room, code - pbr_nhl_base);
	if (in_range(code, pbr_nh_base, last_pbr_nh))
		return numbered<"pbr-nh %d">(room, code - pbr_nh_base);
	if (in_range(code, last_pbr_nh, last_cluster))
		return text::name_of<"cluster">();
	if (code <= device_base)
		return numbered<"vlan %d">(room, code);
	return name_of_index(code - device_base);
}

void debug_pkt_ifname(uint32_t code, char *out)
{
	interface_name_room room;
	text::format<"%s">(out, debug_pkt_ifname_size, interface_name(code, room));
}

uint32_t interface_code(const net_device *dev)
{
	const uint32_t ifindex = static_cast<uint32_t>(platform_dev_ifindex(dev));
	return static_cast<uint16_t>(ifindex) == read_setting(firewall_cp_ifindex) ? 0 : ifindex + device_base;
}
