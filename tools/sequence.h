// SPDX-License-Identifier: GPL-2.0-only
// Sequence numbers of 32 bits that go round: which are missing, late or there twice.
#pragma once

#include <cstdint>

class sequence_window {
public:
	enum class arrival {
		next,
		behind_gap, // missing() have not come (yet)
		late,       // one that was missing
		twice,
		anew, // far away: the sender has started again
	};
	arrival take(uint32_t number);
	// Before the number that take() was called with last.
	uint32_t missing() const { return gap; }

private:
	bool started = false;
	uint32_t newest = 0, gap = 0;
	uint64_t seen = 0; // bit n: newest - n has come
};
