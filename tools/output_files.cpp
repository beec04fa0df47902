// SPDX-License-Identifier: GPL-2.0-only
#include "tools/output_files.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

// Devices and pipes may be named as often as one likes.
bool is_same_file(const fs::path &left, const fs::path &right)
{
	std::error_code none;
	if (fs::exists(left, none) && fs::exists(right, none))
		return fs::is_regular_file(left, none) && fs::equivalent(left, right, none);
	return fs::weakly_canonical(fs::absolute(left), none) == fs::weakly_canonical(fs::absolute(right), none);
}

} // namespace

std::string output_conflict(const std::vector<std::string> &inputs, const std::vector<std::string> &outputs)
{
	for (size_t i = 0; i < outputs.size(); ++i) {
		const std::string &output = outputs[i];
		if (output.empty() || output == "-")
			continue;
		for (const std::string &input : inputs)
			if (is_same_file(input == "-" ? "/dev/stdin" : input, output))
				return output + ": is an input and would be lost; name another file for the output";
		for (size_t k = 0; k < i; ++k)
			if (!outputs[k].empty() && is_same_file(outputs[k], output))
				return output + ": is named for two outputs; name another file for one of them";
	}
	return "";
}
