// SPDX-License-Identifier: GPL-2.0-only
// What is counted and timed: each decoder, each kind of capture call, append and delivery, over made traffic.
#pragma once

#include "bench/traffic.h"

#include <cstdint>
#include <vector>

namespace bench {

struct row {
	const char *name;
	traffic_kind kind;
	const char *settings;
	void (*work)(const std::vector<uint8_t> &frame);
};
inline constexpr int row_count = 21;
extern const row rows[row_count];

// A fresh appliance with the row's settings; so many frames of its traffic. Frames and calls are the same in every run.
std::vector<std::vector<uint8_t>> prepare(const row &chosen, uint32_t count);

} // namespace bench
