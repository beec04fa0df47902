// SPDX-License-Identifier: GPL-2.0-only
#include "tools/help_format.h"

namespace {

inline constexpr size_t explanation_column = 30, line_length = 110;

// Words in lines of at most so many characters, each but the first behind the indent.
std::string folded(const std::string &text, size_t length, const std::string &indent)
{
	std::string lines;
	size_t used = 0, at = 0;
	while (at < text.size()) {
		const size_t end = std::min(text.find(' ', at), text.size());
		const size_t word = end - at;
		if (used && used + 1 + word > length) {
			lines += "\n" + indent;
			used = 0;
		}
		if (used) {
			lines += ' ';
			++used;
		}
		lines.append(text, at, word);
		used += word;
		at = end + 1;
	}
	return lines;
}

} // namespace

std::string help_format::make_option(const CLI::Option *option, bool is_positional) const
{
	const std::string indent(explanation_column, ' ');
	std::string line = "  " + make_option_name(option, is_positional) + make_option_opts(option);
	if (line.size() < explanation_column)
		line.resize(explanation_column, ' ');
	else
		line += "\n" + indent;
	return line + folded(make_option_desc(option), line_length - explanation_column, indent) + "\n";
}

std::string help_format::make_option_opts(const CLI::Option *option) const
{
	return option->get_type_size() != 0 && !option->get_type_name().empty() ? " " + option->get_type_name() : "";
}
