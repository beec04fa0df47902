// SPDX-License-Identifier: GPL-2.0-only
// How the command line's help looks, and what is said when it is wrong.
#pragma once

#include <memory>

namespace CLI {
class App;
class FormatterBase;
class ParseError;
} // namespace CLI

// Each option with the name of its value and its explanation, in lines that a terminal holds.
std::shared_ptr<CLI::FormatterBase> help_format();
// What is wrong, and what may have been meant.
void explain_usage_error(const CLI::App &app, const CLI::ParseError &wrong);
