// SPDX-License-Identifier: GPL-2.0-only
// Interface codes and their display names.
#pragma once

#include "platform/platform.h"
#include "text/format.h"

// Room for the longest name, a device's 15 characters, and the NUL.
inline constexpr uint32_t debug_pkt_ifname_size = 16;
static_assert(debug_pkt_ifname_size == text::name_size);

// The index of the control-plane interface; 0 at load.
extern uint16_t firewall_cp_ifindex;

// Writes the name of an interface code, NUL-terminated, at most debug_pkt_ifname_size bytes.
void debug_pkt_ifname(uint32_t code, char *out);

// The same without a copy: the name of a code, in room where it has to be formed. Valid as long as the room and the device.
using interface_name_room = char[debug_pkt_ifname_size + text::slack];
text::name other_interface_name(uint32_t code, interface_name_room &room);
inline text::name interface_name(uint32_t code, interface_name_room &room)
{
	return code == 0 ? text::name_of<"CP">() : other_interface_name(code, room);
}
inline text::name device_name(const net_device *dev)
{
	return text::name(platform_dev_name(dev));
}

// A device's interface code: 0 for the control plane, else its index + 8450.
uint32_t interface_code(const net_device *dev);
