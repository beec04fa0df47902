// SPDX-License-Identifier: GPL-2.0-only
// How --help looks: each option with the name of its value and its explanation, in lines that a terminal holds.
#pragma once

#include <CLI/CLI.hpp>

class help_format : public CLI::Formatter {
public:
	std::string make_option(const CLI::Option *option, bool is_positional) const override;
	std::string make_option_opts(const CLI::Option *option) const override;
};
