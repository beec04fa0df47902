// SPDX-License-Identifier: GPL-2.0-only
// The module's sysctl entry that carries the settings line.
#pragma once

#include "tools/filter.h"

#include <string>

inline constexpr char default_sysctl_root[] = "/proc/sys";

// The entry's whole path.
std::string settings_entry(const std::string &sysctl_root);

// The following two give the reason why it did not work, and what to do, or "".
std::string read_entry(const std::string &entry, std::string &text);
std::string write_entry(const std::string &entry, const std::string &line);

// What reading the entry gives once settings are written; the mode does not show.
std::string readable_line(const filter_settings &settings);
// Whether the text of the entry (or of a file in its place, which gives back what was written) is what settings look like.
bool shows(const std::string &text, const filter_settings &settings);
