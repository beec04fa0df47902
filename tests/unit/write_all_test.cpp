// SPDX-License-Identifier: GPL-2.0-only
#include "tools/write_all.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Pieces of all lengths, the empty one too, and what they are together.
struct split_text {
	std::vector<std::string> parts;
	std::string whole;
	std::vector<iovec> pieces;

	explicit split_text(size_t count)
	{
		for (size_t i = 0; i < count; ++i) {
			std::string part(i * 37 % 5000, '\0');
			for (size_t j = 0; j < part.size(); ++j)
				part[j] = static_cast<char>('a' + (i + j) % 26);
			whole += part;
			parts.push_back(part);
		}
		for (std::string &part : parts)
			pieces.push_back({part.data(), part.size()});
	}
};

std::string content_of(std::FILE *file)
{
	std::string content(static_cast<size_t>(std::ftell(file)), '\0');
	std::rewind(file);
	content.resize(std::fread(content.data(), 1, content.size(), file));
	return content;
}

TEST(WriteAllTest, PiecesBehindOneAnother)
{
	std::FILE *const file = std::tmpfile();
	ASSERT_NE(file, nullptr);
	split_text text(2500); // more than one call takes
	EXPECT_EQ(write_all(fileno(file), text.pieces), text.whole.size());
	std::fseek(file, 0, SEEK_END);
	EXPECT_TRUE(content_of(file) == text.whole);
	EXPECT_EQ(write_all(fileno(file), std::span<iovec>()), 0u);
	std::fclose(file);
}

// Each call may end inside a piece, or with nothing done.
TEST(WriteAllTest, CallsThatSignalsInterrupt)
{
	struct sigaction action = {}, before;
	action.sa_handler = [](int) {};
	sigaction(SIGUSR1, &action, &before);
	int ends[2];
	ASSERT_EQ(pipe(ends), 0);
	split_text text(1000);
	std::atomic<bool> done = false;
	std::string got;
	const pthread_t writer = pthread_self();
	std::thread reader([&] {
		char bytes[777];
		for (ssize_t count; (count = read(ends[0], bytes, sizeof bytes)) > 0;) {
			got.append(bytes, static_cast<size_t>(count));
			if (!done)
				pthread_kill(writer, SIGUSR1);
		}
	});
	EXPECT_EQ(write_all(ends[1], text.pieces), text.whole.size());
	done = true;
	close(ends[1]);
	reader.join();
	close(ends[0]);
	sigaction(SIGUSR1, &before, nullptr);
	EXPECT_TRUE(got == text.whole);
}

TEST(WriteAllTest, FullOutput)
{
	std::FILE *const file = std::tmpfile();
	ASSERT_NE(file, nullptr);
	split_text text(100);
	const size_t limit = text.whole.size() / 2 + 1; // inside a piece
	rlimit before;
	getrlimit(RLIMIT_FSIZE, &before);
	const auto handler = std::signal(SIGXFSZ, SIG_IGN);
	const rlimit small = {limit, before.rlim_max};
	setrlimit(RLIMIT_FSIZE, &small);
	errno = 0;
	EXPECT_EQ(write_all(fileno(file), text.pieces), limit);
	EXPECT_EQ(errno, EFBIG);
	setrlimit(RLIMIT_FSIZE, &before);
	std::signal(SIGXFSZ, handler);
	std::fseek(file, 0, SEEK_END);
	EXPECT_TRUE(content_of(file) == text.whole.substr(0, limit));
	std::fclose(file);
}

} // namespace
