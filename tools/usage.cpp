// SPDX-License-Identifier: GPL-2.0-only
#include "tools/usage.h"

#include "tools/message.h"
#include "tools/nearest.h"

#include <charconv>
#include <optional>

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

// A number as the options take it, also after 0x.
std::optional<long> number_in(const std::string &text)
{
	const bool hex = text.starts_with("0x");
	long number;
	const char *const end = text.data() + text.size();
	const auto [stop, error] = std::from_chars(text.data() + (hex ? 2 : 0), end, number, hex ? 16 : 10);
	return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

} // namespace

std::function<std::string(const std::string &)> number_between(long low, long high)
{
	return [low, high](const std::string &text) {
		const std::optional<long> number = number_in(text);
		return number && *number >= low && *number <= high
			       ? ""
			       : fmt::format("a number from {} to {} is expected, not {}", low, high, text);
	};
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
