// SPDX-License-Identifier: GPL-2.0-only
#include "tools/filter_options.h"

#include "tools/profile.h"

#include <algorithm>

void add_filter_options(CLI::App &command, wanted_filter &wanted, const std::vector<std::string> &left_out, CLI::Option *instead)
{
	const auto finish = [instead](CLI::Option *option, const char *value) {
		option->type_name(value)->group("Filter");
		if (instead)
			option->excludes(instead);
	};
	for (const filter_option &option : filter_options) {
		if (std::find(left_out.begin(), left_out.end(), option.name) != left_out.end())
			continue;
		finish(command.add_option_function<std::string>(
			       std::string("--") + option.name,
			       [&words = wanted.words, name = option.name](const std::string &text) { words[name] = text; },
			       option.help),
		       option.value);
	}
	finish(command.add_option(
			      "--profile", wanted.profile,
			      "a filter under a name: dhcp, dns, voip, client=MAC, tunnels, neighbours, one of your own, a file "
			      "(./FILE); the other options go first")
		       ->check([](const std::string &text) { return text.empty() || text[0] == '=' ? "a name is missing" : ""; }),
	       "NAME[=VALUE]");
}

std::vector<std::string> read_wanted(const wanted_filter &wanted, filter_settings &settings)
{
	filter_words words;
	std::string reason;
	if (!wanted.profile.empty())
		reason = read_profile(wanted.profile, words);
	for (const auto &[name, text] : wanted.words)
		words[name] = text;
	if (reason.empty())
		reason = read_filter(words, settings);
	if (!reason.empty())
		return {reason};
	std::vector<std::string> reasons = impossible(settings);
	for (std::string &why : reasons)
		why.insert(0, "nothing can match: ");
	return reasons;
}
