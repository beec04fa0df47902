// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt read: capture files through the capture's own entry points, as a datapath would hand its packets over.
#pragma once

#include "tools/message.h"
#include "tools/rendering_options.h"
#include "tools/view_options.h"

#include <string>
#include <vector>

struct read_options : rendering_options {
	std::vector<std::string> files; // "-" is standard input
	std::string mirror_out;         // pcap file for mirror datagrams; empty: they are only counted
	unsigned threads = 1;
	view_options views;
};

exit_status run_read(const read_options &options);
