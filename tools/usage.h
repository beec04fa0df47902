// SPDX-License-Identifier: GPL-2.0-only
// What is wrong with a command line, and what may have been meant.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

// What is to be checked of an option that takes a number.
std::function<std::string(const std::string &)> number_between(long low, long high);

void explain_usage_error(const CLI::App &app, const CLI::ParseError &wrong);
