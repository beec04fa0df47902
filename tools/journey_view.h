// SPDX-License-Identifier: GPL-2.0-only
// One paragraph per packet: its checkpoints, what each changed in its headers, the time since the last one, where it ended.
#pragma once

#include "tools/text_record.h"

#include <map>
#include <memory>
#include <string>

class journey_view {
public:
	journey_view();
	~journey_view();
	journey_view(const journey_view &) = delete;
	journey_view &operator=(const journey_view &) = delete;

	// What has become complete with this record: each CPU has one packet under way.
	std::string take(const text_record &record);
	// The packets that are still under way.
	std::string finish();

private:
	struct journey;
	std::map<int64_t, std::unique_ptr<journey>> under_way; // by CPU
};
