// SPDX-License-Identifier: GPL-2.0-only
// Which views of the rendered text are wanted, on the command line.
#pragma once

#include <string>

struct view_options {
	bool json = false, journey = false, summary = false;
	std::string graph;  // a file
	std::string frames; // a pcapng file; "-" is standard output
	std::string color = "auto";
	bool no_text = false; // standard output is taken

	bool wanted() const { return json || journey || summary || !graph.empty() || !frames.empty(); }
	// Whether the text itself goes to standard output.
	bool show_text() const { return !no_text && !json && !journey && !summary && frames != "-"; }
};
