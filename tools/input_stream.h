// SPDX-License-Identifier: GPL-2.0-only
// A file or standard input as a stdio stream: the file itself, or what reads a pipe and unpacks what is compressed.
#pragma once

#include "tools/unpack.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class input_stream {
public:
	// Where stop is a descriptor and readable (a request to end), a pipe that gives nothing is not waited for: ECANCELED.
	explicit input_stream(int stop = -1);
	input_stream(const input_stream &) = delete;
	input_stream &operator=(const input_stream &) = delete;

	// "-" is standard input. The caller closes the stream, before this object ends; NULL and errno when there is none.
	FILE *open(const char *path);
	bool packed() const { return unpack != nullptr; }
	// Whether the stream can go back; one that cannot tells its position without a system call.
	bool can_seek() const { return plain; }
	// What is wrong with compressed data; empty when nothing is.
	const std::string &error() const { return reason; }
	// Bytes of the file itself: all of them (0 when that is not known) and those read so far.
	uint64_t file_size() const { return size; }
	uint64_t file_position() const;
	// What is done before a pipe that gives nothing now is waited for.
	void set_pastime(std::function<void()> what) { pastime = std::move(what); }

private:
	// The stream's buffer stays in the second-level cache. It begins a page: the kernel copies whole pages into it, and
	// processors do that several times slower to a place that lies a few bytes further inside its page than the source does.
	struct alignas(4096) stream_buffer {
		char bytes[1 << 17];
	};

	FILE *open_plain();
	FILE *open_any();
	static ssize_t read(void *input, char *bytes, size_t size);
	static int tell(void *input, off64_t *offset, int whence);
	static int close(void *input);
	bool has_more() const;
	ssize_t take(void *bytes, size_t room);
	bool look_at_magic();
	ssize_t read_plain(char *bytes, size_t room);
	ssize_t read_packed(char *bytes, size_t room);

	std::unique_ptr<stream_buffer> buffer;
	std::unique_ptr<unpacker> unpack;
	std::vector<uint8_t> raw; // taken from the file and not given yet: [next, raw_end)
	size_t next = 0, raw_end = 0;
	std::string reason;
	std::function<void()> pastime;
	uint64_t size = 0;
	off64_t given = 0;
	int descriptor = -1, stop_descriptor;
	bool plain = false, looked = false, at_end = false;
};
