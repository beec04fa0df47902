// SPDX-License-Identifier: GPL-2.0-only
// The files that a command is asked to write.
#pragma once

#include <string>
#include <vector>

// Why they cannot all be written: one is an input, which would be lost, or named twice. "" when they can. "-" among the inputs is
// standard input; "" and "-" among the outputs are none.
std::string output_conflict(const std::vector<std::string> &inputs, const std::vector<std::string> &outputs);
