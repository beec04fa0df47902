// SPDX-License-Identifier: GPL-2.0-only
// For who has mistyped a name.
#pragma once

#include <string>
#include <vector>

// "; did you mean NAME?" with the one of the names that looks most like the word, or "".
std::string hint(const std::string &word, const std::vector<std::string> &names);
