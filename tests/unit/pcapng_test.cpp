// SPDX-License-Identifier: GPL-2.0-only
#include "tools/pcapng.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;

class PcapngTest : public testing::Test {
protected:
	void SetUp() override { path = testing::TempDir() + "pcapng_test." + std::to_string(getpid()); }
	void TearDown() override { std::filesystem::remove(path); }

	std::string content() const
	{
		std::ifstream file(path, std::ios::binary);
		return {std::istreambuf_iterator<char>(file), {}};
	}

	std::string path;
};

// The program's name stands in the first block, whose length depends on the version.
std::string behind_section_header(const std::string &file)
{
	return file.substr(static_cast<unsigned char>(file[4]));
}

// Little-endian, as every machine that this is built for.
TEST_F(PcapngTest, Blocks)
{
	pcapng_file file;
	ASSERT_TRUE(file.open(path));
	ASSERT_TRUE(file.add_interface(1, "192.0.2.1", "left"));
	ASSERT_TRUE(file.write({.interface = 0, .seconds = 5, .nanoseconds = 6, .data = "abcde", .length = 9}));
	ASSERT_TRUE(
		file.write({.interface = 0, .seconds = 5, .nanoseconds = 7, .data = "", .length = 0, .comment = "two\nlines\n"}));
	ASSERT_TRUE(file.write({.interface = 0, .seconds = 5, .nanoseconds = 7, .data = "", .length = 0, .lost = 3}));
	ASSERT_TRUE(file.write_statistics(0, 6, 0, 4, 3));
	ASSERT_TRUE(file.close());
	EXPECT_EQ(content().size(), file.size());

	EXPECT_EQ(content().substr(0, 4), "\x0a\x0d\x0d\x0a"s);
	EXPECT_EQ(content().substr(8, 16), "\x4d\x3c\x2b\x1a\1\0\0\0\xff\xff\xff\xff\xff\xff\xff\xff"s);
	const std::string five_and_six = "\x01\0\0\0\x06\xf2\x05\x2a"s; // 5,000,000,006
	const std::string five_and_seven = "\x01\0\0\0\x07\xf2\x05\x2a"s;
	EXPECT_EQ(behind_section_header(content()),
		  "\1\0\0\0\x38\0\0\0\1\0\0\0\0\0\0\0"
		  "\2\0\x09\0"
		  "192.0.2.1\0\0\0"
		  "\3\0\4\0left"
		  "\x09\0\1\0\x09\0\0\0"
		  "\0\0\0\0"
		  "\x38\0\0\0"s +
			  "\6\0\0\0\x28\0\0\0\0\0\0\0"s + five_and_six + "\5\0\0\0\x09\0\0\0abcde\0\0\0\x28\0\0\0"s +
			  "\6\0\0\0\x34\0\0\0\0\0\0\0"s + five_and_seven +
			  "\0\0\0\0\0\0\0\0\1\0\x0a\0two\nlines\n\0\0\0\0\0\0\x34\0\0\0"s + "\6\0\0\0\x30\0\0\0\0\0\0\0"s +
			  five_and_seven + "\0\0\0\0\0\0\0\0\4\0\x08\0\3\0\0\0\0\0\0\0\0\0\0\0\x30\0\0\0"s +
			  "\5\0\0\0\x34\0\0\0\0\0\0\0\x01\0\0\0\0\xbc\xa0\x65"
			  "\4\0\x08\0\4\0\0\0\0\0\0\0"
			  "\5\0\x08\0\3\0\0\0\0\0\0\0"
			  "\0\0\0\0\x34\0\0\0"s);
}

TEST_F(PcapngTest, ACommentIsCutToWhatAnOptionHolds)
{
	pcapng_file file;
	ASSERT_TRUE(file.open(path) && file.add_interface(1, "a", ""));
	const uint64_t before = file.size();
	const std::string comment(70000, 'x');
	ASSERT_TRUE(file.write({.interface = 0, .seconds = 0, .nanoseconds = 0, .data = "", .length = 0, .comment = comment}));
	EXPECT_EQ(file.size() - before, 32 + 4 + 65536 + 4);
}

TEST_F(PcapngTest, AFullDiskLeavesWholeBlocks)
{
	std::signal(SIGXFSZ, SIG_IGN);
	rlimit before;
	getrlimit(RLIMIT_FSIZE, &before);
	const rlimit little = {1000, before.rlim_max};
	setrlimit(RLIMIT_FSIZE, &little);
	pcapng_file file;
	EXPECT_TRUE(file.open(path));
	EXPECT_TRUE(file.add_interface(1, "a", ""));
	const uint64_t headers = file.size();
	for (int i = 0; i < 10; ++i)
		EXPECT_TRUE(
			file.write({.interface = 0, .seconds = 0, .nanoseconds = 0, .data = std::string(100, 'x'), .length = 100}));
	EXPECT_FALSE(file.flush());
	EXPECT_FALSE(file.write({.interface = 0, .seconds = 0, .nanoseconds = 0, .data = "x", .length = 1}));
	EXPECT_FALSE(file.close());
	setrlimit(RLIMIT_FSIZE, &before);
	EXPECT_EQ(file.error_number(), EFBIG);
	EXPECT_EQ(file.error(), "File too large");
	const uint64_t block = 32 + 100;
	EXPECT_EQ(content().size(), headers + (1000 - headers) / block * block);
	EXPECT_EQ(content().size(), file.size());
}

TEST_F(PcapngTest, WhatCannotBeOpened)
{
	pcapng_file file;
	EXPECT_FALSE(file.open(path + "/none"));
	EXPECT_EQ(file.error(), "No such file or directory");
	EXPECT_FALSE(file.is_open());
}

// A pipe that nobody reads.
TEST_F(PcapngTest, ARequestToEndIsHeard)
{
	int pipe_ends[2], stop_ends[2];
	ASSERT_EQ(pipe(pipe_ends) | pipe(stop_ends), 0);
	const std::string name = "/dev/fd/" + std::to_string(pipe_ends[1]);
	pcapng_file file(stop_ends[0]);
	ASSERT_TRUE(file.open(name));
	ASSERT_TRUE(file.add_interface(1, "a", ""));
	ASSERT_EQ(write(stop_ends[1], "x", 1), 1);
	ASSERT_TRUE(file.flush()); // what goes at once still goes
	while (file.write({.interface = 0, .seconds = 0, .nanoseconds = 0, .data = std::string(1000, 'x'), .length = 1000}))
		;
	EXPECT_EQ(file.error_number(), ECANCELED);
	for (const int end : {pipe_ends[0], pipe_ends[1], stop_ends[0], stop_ends[1]})
		close(end);
}

} // namespace
