// SPDX-License-Identifier: GPL-2.0-only
// Runs a target over files and folders without a fuzzer: replay_TARGET PATH…
#include "fuzz/support.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<std::filesystem::path> files_below(const char *path)
{
	std::vector<std::filesystem::path> files;
	if (std::filesystem::is_directory(path)) {
		for (const auto &entry : std::filesystem::recursive_directory_iterator(path))
			if (entry.is_regular_file())
				files.push_back(entry.path());
		std::sort(files.begin(), files.end());
	} else {
		files.emplace_back(path);
	}
	return files;
}

bool run(const std::filesystem::path &path)
{
	std::ifstream stream(path, std::ios::binary);
	if (!stream) {
		std::fprintf(stderr, "%s cannot be read\n", path.c_str());
		return false;
	}
	const std::string content{std::istreambuf_iterator<char>(stream), {}};
	const fuzz::block exact(content);
	LLVMFuzzerTestOneInput(exact.data(), exact.size());
	return true;
}

} // namespace

int main(int count, char **paths)
{
	size_t inputs = 0;
	for (int i = 1; i < count; ++i) {
		for (const std::filesystem::path &path : files_below(paths[i])) {
			if (!run(path))
				return 1;
			++inputs;
		}
	}
	std::fprintf(stderr, "%zu inputs\n", inputs);
	return inputs ? 0 : 1;
}
