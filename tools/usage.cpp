// SPDX-License-Identifier: GPL-2.0-only
#include "tools/usage.h"

#include "tools/message.h"
#include "tools/nearest.h"

#include <CLI/CLI.hpp>

namespace {

std::vector<std::string> option_names(const CLI::App &command)
{
	std::vector<std::string> names;
	for (const CLI::Option *const option : command.get_options())
		for (const std::string &name : option->get_lnames())
			names.push_back("--" + name);
	return names;
}

std::vector<std::string> command_names(const CLI::App &app)
{
	std::vector<std::string> names;
	for (const CLI::App *const command : app.get_subcommands(nullptr))
		names.push_back(command->get_name());
	return names;
}

// The library's words for too many values and too few.
std::string count_of_values(const CLI::ArgumentMismatch &wrong)
{
	const std::string text = wrong.what(), option = text.substr(0, text.find(':'));
	return text.ends_with(" missing") ? option + " needs a value" : option + " is there more than once";
}

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

class option_lines : public CLI::Formatter {
public:
	std::string make_option(const CLI::Option *option, bool is_positional) const override
	{
		const std::string indent(explanation_column, ' ');
		std::string line = "  " + make_option_name(option, is_positional) + make_option_opts(option);
		if (line.size() < explanation_column)
			line.resize(explanation_column, ' ');
		else
			line += "\n" + indent;
		return line + folded(make_option_desc(option), line_length - explanation_column, indent) + "\n";
	}

	std::string make_option_opts(const CLI::Option *option) const override
	{
		return option->get_type_size() != 0 && !option->get_type_name().empty() ? " " + option->get_type_name() : "";
	}
};

} // namespace

std::shared_ptr<CLI::FormatterBase> help_format()
{
	return std::make_shared<option_lines>();
}

void explain_usage_error(const CLI::App &app, const CLI::ParseError &wrong)
{
	const std::vector<CLI::App *> used = app.get_subcommands();
	const CLI::App &command = used.empty() ? app : *used.front();
	const std::string called = used.empty() ? "debug-pkt" : "debug-pkt " + command.get_name();
	const std::vector<std::string> unknown = command.remaining();
	if (const auto *const mismatch = dynamic_cast<const CLI::ArgumentMismatch *>(&wrong)) {
		message("{}", count_of_values(*mismatch));
	} else if (unknown.empty()) {
		message("{}",
			used.empty() && dynamic_cast<const CLI::RequiredError *>(&wrong) ? "a command is missing" : wrong.what());
	} else {
		const std::string word = unknown.front().substr(0, unknown.front().find('='));
		if (word.starts_with("-"))
			message("{} is no option of {}{}", word, called, hint(word, option_names(command)));
		else if (used.empty())
			message("{} is no command{}", word, hint(word, command_names(app)));
		else
			message("{} does not expect {}", called, word);
	}
	message("try {} --help", called);
}
