// SPDX-License-Identifier: GPL-2.0-only
#include "tools/state_file.h"

#include "tools/write_all.h"

#include <fmt/format.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string state_folder()
{
	// A relative path there is to be ignored.
	if (const char *const base = std::getenv("XDG_STATE_HOME"); base && base[0] == '/')
		return std::string(base) + "/debug-pkt";
	const char *const home = std::getenv("HOME");
	return geteuid() == 0 || !home ? "/run/debug-pkt" : std::string(home) + "/.local/state/debug-pkt";
}

template <class Number> bool read_whole_number(const std::string &text, Number &value)
{
	const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
	return error == std::errc() && stop == text.data() + text.size();
}

bool read_line_of_settings(const std::string &text, filter_settings &settings)
{
	std::vector<std::string> notes;
	return read_settings(text, settings, notes).empty();
}

// One "KEY VALUE" of the file.
bool take(const std::string &entry, const std::string &key, const std::string &value, saved_state &state)
{
	if (key == "entry")
		return value == entry;
	if (key == "line")
		return read_line_of_settings(value, state.settings);
	if (key == "since")
		return read_whole_number(value, state.since);
	if (key == "previous")
		return read_line_of_settings(value, state.previous.emplace());
	if (key == "until")
		return read_whole_number(value, state.until);
	if (key == "owner")
		return read_whole_number(value, state.owner) && state.owner > 0;
	return key == "end" && value.empty();
}

std::string state_text(const std::string &entry, const saved_state &state)
{
	std::string text =
		fmt::format("# What debug-pkt wrote last to a settings entry; the entry itself does not show all of it.\n"
			    "entry {}\nline {}\nsince {}\n",
			    entry, settings_line(state.settings), state.since);
	if (state.previous)
		text += fmt::format("previous {}\nuntil {}\nowner {}\n", settings_line(*state.previous), state.until, state.owner);
	return text + "end\n";
}

} // namespace

std::string state_file(const std::string &entry)
{
	std::string name = entry.substr(1);
	for (char &c : name)
		if (c == '/')
			c = '-';
	return state_folder() + "/" + name;
}

std::string load_state(const std::string &entry, std::optional<saved_state> &state)
{
	state.reset();
	const std::string path = state_file(entry);
	std::ifstream file(path);
	if (!file)
		return errno == ENOENT ? "" : fmt::format("{}: cannot be read: {}", path, std::strerror(errno));

	saved_state found;
	std::map<std::string, int> seen;
	std::string line, key;
	for (int number = 1; std::getline(file, line); ++number) {
		if (line.starts_with("#"))
			continue;
		key = line.substr(0, line.find(' '));
		const std::string value = key.size() < line.size() ? line.substr(key.size() + 1) : "";
		if (!take(entry, key, value, found) || seen[key]++ || seen.contains("end") != (key == "end"))
			return fmt::format(
				"{}: damaged at line {} (\"{:.60}\"); it is not used, and replaced when settings are written the "
				"next time",
				path, number, line);
	}
	const bool complete = seen.contains("entry") && seen.contains("line") && seen.contains("since") && seen.contains("end") &&
			      seen.contains("previous") == seen.contains("owner") &&
			      seen.contains("previous") == seen.contains("until");
	if (!complete)
		return path + ": damaged, it is not complete; it is not used, and replaced when settings are written the next time";
	state = found;
	return "";
}

std::string save_state(const std::string &entry, const std::optional<saved_state> &state)
{
	const std::string path = state_file(entry);
	if (!state) {
		unlink(path.c_str());
		return "";
	}
	std::error_code ignored; // the file that is not there afterwards tells
	std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
	std::string fresh = path + ".XXXXXX";
	const int file = mkostemp(fresh.data(), O_CLOEXEC);
	if (file < 0)
		return fmt::format("{}: cannot be written: {}", path, std::strerror(errno));
	const std::string text = state_text(entry, *state);
	// Anybody may know what is captured: the entry says it, too.
	const bool written =
		fchmod(file, 0644) == 0 && write_all(file, text.data(), text.size()) == text.size() && fsync(file) == 0;
	int error = errno;
	close(file);
	if (written && rename(fresh.c_str(), path.c_str()) == 0)
		return "";
	if (written)
		error = errno;
	unlink(fresh.c_str());
	return fmt::format("{}: cannot be written: {}", path, std::strerror(error));
}
