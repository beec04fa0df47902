// SPDX-License-Identifier: GPL-2.0-only
#include "tools/settings_entry.h"

#include "config/settings.h"
#include "tools/write_all.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace {

std::string failure(const std::string &entry, const char *what, int error)
{
	std::string reason = fmt::format("{}: cannot be {}: {}", entry, what, std::strerror(error));
	if (error == ENOENT)
		return reason + "; the module is not loaded (modprobe debug_pkt_dump), debug-pkt doctor tells more";
	if (error == EACCES || error == EPERM)
		return reason + "; run debug-pkt as root";
	return reason;
}

} // namespace

std::string settings_entry(const std::string &sysctl_root)
{
	return std::filesystem::absolute(sysctl_root + "/net/fw/debug_pkt_params").lexically_normal();
}

std::string read_entry(const std::string &entry, std::string &text)
{
	const int file = open(entry.c_str(), O_RDONLY | O_CLOEXEC);
	if (file < 0)
		return failure(entry, "read", errno);
	text.clear();
	char part[debug_pkt_settings_size];
	ssize_t length;
	while ((length = read(file, part, sizeof part)) > 0 && text.size() < debug_pkt_settings_size)
		text.append(part, static_cast<size_t>(length));
	const int error = errno;
	close(file);
	if (length < 0)
		return failure(entry, "read", error);
	text.erase(text.find_last_not_of(" \n") + 1);
	return "";
}

// The line goes in one write: the module acts on each of them.
std::string write_entry(const std::string &entry, const std::string &line)
{
	const int file = open(entry.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
	if (file < 0)
		return failure(entry, "written", errno);
	const std::string text = line + "\n";
	const bool written = write_all(file, text.data(), text.size()) == text.size();
	const int error = errno;
	if (close(file) == 0 && written)
		return "";
	return failure(entry, "written", written ? errno : error);
}

// The core itself reads and prints them, in this process.
std::string readable_line(const filter_settings &settings)
{
	char text[debug_pkt_settings_size];
	debug_pkt_set_sysctl(settings_line(settings).c_str());
	debug_pkt_get_sysctl(text);
	return text;
}

bool shows(const std::string &text, const filter_settings &settings)
{
	filter_settings without_mode = settings;
	without_mode.mode.reset();
	return text == readable_line(settings) || text == settings_line(settings) || text == settings_line(without_mode);
}
