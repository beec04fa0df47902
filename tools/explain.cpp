// SPDX-License-Identifier: GPL-2.0-only
#include "tools/set.h"

#include <cstdio>

exit_status end_of_output()
{
	if (std::fflush(stdout) == 0)
		return exit_done;
	message("standard output cannot be written");
	return exit_environment;
}

exit_status print_explanation(const filter_settings &settings, std::vector<std::string> notes)
{
	const bool mode_hidden = std::erase(notes, mode_not_shown) != 0;
	for (const std::string &words : in_words(settings, mode_hidden))
		std::printf("%s\n", words.c_str());
	for (const std::string &why : impossible(settings))
		std::printf("nothing can match: %s\n", why.c_str());
	for (const std::string &note : notes)
		std::printf("note: %s\n", note.c_str());
	for (const std::string &note : surprises(settings))
		std::printf("note: %s\n", note.c_str());
	const std::string command = command_line(settings);
	std::printf("command: %s\n", command.empty() ? "none sets this" : command.c_str());
	return end_of_output();
}

exit_status run_explain(const std::string &line)
{
	filter_settings settings;
	std::vector<std::string> notes;
	const std::string reason = read_settings(line, settings, notes);
	if (!reason.empty()) {
		message("{}", reason);
		return exit_bad_input;
	}
	return print_explanation(settings, notes);
}
