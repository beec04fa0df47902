// SPDX-License-Identifier: GPL-2.0-only
#pragma once

#include <ctime>
#include <string>

// "2026-11-21 14:30:00", where this machine stands.
std::string clock_text(time_t moment);
