// SPDX-License-Identifier: GPL-2.0-only
#include "tools/view_options.h"

void add_view_options(CLI::App &command, view_options &options, bool with_frames)
{
	CLI::Option *const json = command.add_flag(
		"--json", options.json, "a JSON record per line instead of the text, one for each packet and checkpoint");
	command.add_flag("--journey", options.journey,
			 "each packet's way instead of the text: its checkpoints, what changed, the time between")
		->excludes(json);
	command.add_flag("--summary", options.summary, "at the end, packets by type, host and path of checkpoints; no text")
		->excludes(json);
	command.add_option("--graph", options.graph, "at the end, the paths of checkpoints as a graph for Graphviz")
		->type_name("FILE.dot")
		->check([](const std::string &path) {
			return path == "-" ? std::string("a file is expected, standard output carries the text") : std::string();
		});
	command.add_option("--color", options.color,
			   "auto (default): the text in colours on a terminal, unless NO_COLOR is set; always; never")
		->type_name("WHEN")
		->check([](const std::string &word) {
			return word == "auto" || word == "always" || word == "never"
				       ? ""
				       : "auto, always or never is expected, not " + word;
		});
	if (!with_frames)
		return;
	command.add_option(
		       "-w,--write", options.frames,
		       "pcapng file of the rendered frames, each with its text as its comment; - is standard output, without text")
		->type_name("FILE.pcapng");
	command.final_callback([&options] {
		if (options.frames == "-" && (options.json || options.journey || options.summary))
			throw CLI::ValidationError("--write", "standard output carries the view that is asked for");
	});
}
