// SPDX-License-Identifier: GPL-2.0-only
#include "tools/nearest.h"

#include <algorithm>
#include <numeric>

namespace {

// How many letters must be put in, left out or changed.
size_t distance(const std::string &from, const std::string &to)
{
	std::vector<size_t> row(to.size() + 1);
	std::iota(row.begin(), row.end(), size_t{0});
	for (size_t i = 0; i < from.size(); ++i) {
		size_t diagonal = row[0];
		row[0] = i + 1;
		for (size_t k = 0; k < to.size(); ++k) {
			const size_t changed = diagonal + (from[i] != to[k]);
			diagonal = row[k + 1];
			row[k + 1] = std::min({changed, row[k] + 1, row[k + 1] + 1});
		}
	}
	return row.back();
}

} // namespace

std::string hint(const std::string &word, const std::vector<std::string> &names)
{
	const std::string *best = nullptr;
	size_t least = std::max<size_t>(2, word.size() / 3) + 1;
	for (const std::string &name : names) {
		// The start of a name is meant as that name.
		const size_t away = word.size() > 2 && name.starts_with(word) ? 1 : distance(word, name);
		if (away < least && away < name.size()) {
			least = away;
			best = &name;
		}
	}
	return best ? "; did you mean " + *best + "?" : "";
}
