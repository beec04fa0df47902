// SPDX-License-Identifier: GPL-2.0-only
#include "tools/sequence.h"

namespace {

inline constexpr uint32_t window = 64;        // how late a number may be
inline constexpr uint32_t farthest = 1 << 20; // how far a sender that goes on may be ahead

} // namespace

sequence_window::arrival sequence_window::take(uint32_t number)
{
	const uint32_t ahead = number - newest, behind = newest - number;
	gap = 0;
	if (started && behind < window) {
		const uint64_t bit = uint64_t(1) << behind;
		const bool known = (seen & bit) != 0;
		seen |= bit;
		return known ? arrival::twice : arrival::late;
	}
	const bool goes_on = started && ahead < farthest;
	// What came before the first number is none of the missing.
	seen = !goes_on ? ~uint64_t(0) : ahead < window ? seen << ahead | 1 : 1;
	newest = number;
	if (!started || !goes_on) {
		const bool first = !started;
		started = true;
		return first ? arrival::next : arrival::anew;
	}
	gap = ahead - 1;
	return gap ? arrival::behind_gap : arrival::next;
}
