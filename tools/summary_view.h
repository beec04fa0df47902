// SPDX-License-Identifier: GPL-2.0-only
// Counts by packet type, by host and by the path of checkpoints, and the paths as a graph.
#pragma once

#include "tools/text_record.h"

#include <map>
#include <string>

class summary_view {
public:
	void take(const text_record &record);
	// The packets that are still under way end here.
	void finish();

	std::string text() const;
	// For Graphviz: a node for each checkpoint, an edge for each step from one to the next, with the number of packets.
	std::string graph() const;

private:
	struct traffic {
		uint64_t from, to;
	};
	void count_hosts(const rendered_text &content);
	void end_path(int64_t cpu);

	uint64_t captures = 0, checkpoints = 0, ends = 0, others = 0, cut = 0, doubtful = 0;
	std::string first_time, last_time;
	std::map<std::string, uint64_t> types, paths;
	std::map<std::string, traffic> hosts;
	std::map<std::pair<std::string, std::string>, uint64_t> steps; // from one checkpoint to the next
	std::map<std::string, uint64_t> visits;                        // by checkpoint
	struct path {
		std::string text, last;
	};
	std::map<int64_t, path> under_way; // by CPU
};
