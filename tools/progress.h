// SPDX-License-Identifier: GPL-2.0-only
// One line on standard error that tells how far a long run is, where a terminal watches it and nothing else.
#pragma once

#include <chrono>
#include <string>

class progress_line {
public:
	progress_line();
	// Whether a second has passed since the start, and since the line was shown.
	bool is_due();
	void show(const std::string &text);
	// Takes the line away, before a message or at the end.
	void clear();

private:
	std::chrono::steady_clock::time_point next;
	bool watched, shown = false;
};
