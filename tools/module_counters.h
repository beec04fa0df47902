// SPDX-License-Identifier: GPL-2.0-only
// The counters that the loaded module shows in debugfs.
#pragma once

#include <cstdint>
#include <map>
#include <string>

inline constexpr char module_counters_path[] = "/sys/kernel/debug/debug_pkt_dump/stats";

// By the names that stand there, the sum of all CPUs; empty, with the reason in errno, when they cannot be read.
std::map<std::string, uint64_t> read_module_counters(const std::string &path = module_counters_path);
