// SPDX-License-Identifier: GPL-2.0-only
#include "tools/profile.h"

#include "tools/nearest.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

// The user's own go first. The installed ones stand beside the program, wherever the whole is put; in the build folder, too.
std::vector<fs::path> profile_folders()
{
	std::vector<fs::path> folders;
	if (const char *const base = std::getenv("XDG_CONFIG_HOME"); base && base[0] == '/')
		folders.push_back(fs::path(base) / "debug-pkt/profiles");
	else if (const char *const home = std::getenv("HOME"))
		folders.push_back(fs::path(home) / ".config/debug-pkt/profiles");
	std::error_code unknown;
	const fs::path program = fs::read_symlink("/proc/self/exe", unknown);
	if (!unknown) {
		folders.push_back((program.parent_path() / "../share/debug-pkt/profiles").lexically_normal());
		folders.push_back(program.parent_path() / "profiles");
	}
	return folders;
}

// Where the profile's file is, or "" and the reason.
fs::path find_profile(const std::string &name, std::string &reason)
{
	std::vector<std::string> names;
	for (const fs::path &folder : profile_folders()) {
		std::error_code none;
		if (fs::exists(folder / name, none))
			return folder / name;
		for (const fs::directory_entry &file : fs::directory_iterator(folder, none))
			names.push_back(file.path().filename());
	}
	std::sort(names.begin(), names.end());
	names.erase(std::unique(names.begin(), names.end()), names.end());
	reason = fmt::format("--profile: there is no profile {}{}", name, hint(name, names));
	for (const std::string &known : names)
		reason += (&known == &names.front() ? "; known are " : ", ") + known;
	reason += "; a file of your own: --profile ./FILE";
	return "";
}

// "{MAC}" in a value stands for what follows "client=" on the command line; false when there is nothing to stand for.
bool fill_in(std::string &text, const std::string &value, bool &used)
{
	const size_t open = text.find('{'), close = text.find('}', open);
	if (open == text.npos || close == text.npos)
		return true;
	used = true;
	text.replace(open, close - open + 1, value);
	return !value.empty();
}

std::string read_option(const std::string &line, const std::string &value, bool &used, filter_words &words)
{
	const size_t blank = line.find_first_of(" \t");
	const std::string name = line.substr(0, blank);
	if (std::none_of(filter_options.begin(), filter_options.end(),
			 [&](const filter_option &each) { return each.name == name; })) {
		std::vector<std::string> names;
		names.reserve(filter_options.size());
		for (const filter_option &each : filter_options)
			names.emplace_back(each.name);
		return fmt::format("\"{}\" is no option of debug-pkt set{}", name, hint(name, names));
	}
	const size_t start = blank == line.npos ? blank : line.find_first_not_of(" \t", blank);
	std::string text = start == line.npos ? "" : line.substr(start);
	if (text.empty())
		return name + " has no value";
	if (words.contains(name))
		return name + " is there twice";
	const std::string needed = text;
	if (!fill_in(text, value, used))
		return fmt::format("it needs a value for {}: --profile NAME=VALUE", needed);
	words[name] = text;
	return "";
}

} // namespace

std::string read_profile(const std::string &profile, filter_words &words)
{
	const size_t equals = profile.find('=');
	const std::string name = profile.substr(0, equals), value = equals == profile.npos ? "" : profile.substr(equals + 1);
	std::string reason;
	const fs::path path = name.find('/') == name.npos ? find_profile(name, reason) : fs::path(name);
	if (!reason.empty())
		return reason;
	std::ifstream file(path);
	if (!file || fs::is_directory(path))
		return fmt::format("{}: cannot be read: {}", path.string(), file ? "it is a folder" : std::strerror(errno));

	words.clear();
	bool used = false;
	std::string line;
	for (int number = 1; std::getline(file, line); ++number) {
		const size_t start = line.find_first_not_of(" \t\r");
		if (start == line.npos || line[start] == '#')
			continue;
		const size_t end = line.find_last_not_of(" \t\r");
		reason = read_option(line.substr(start, end + 1 - start), value, used, words);
		if (!reason.empty())
			return fmt::format("{}:{}: {}", path.string(), number, reason);
	}
	if (equals != profile.npos && !used)
		return fmt::format("--profile: {} takes no value", name);
	return "";
}
