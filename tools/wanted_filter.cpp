// SPDX-License-Identifier: GPL-2.0-only
#include "tools/wanted_filter.h"

#include "tools/profile.h"

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
