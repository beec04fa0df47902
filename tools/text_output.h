// SPDX-License-Identifier: GPL-2.0-only
// Text for standard output, written in large blocks.
#pragma once

#include "tools/terminal_text.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct iovec;

class text_output {
public:
	// Where stop is a descriptor and readable (a request to end), a reader that does not read is not waited for.
	explicit text_output(int stop = -1);
	// False once a block could not be written; what comes later is dropped.
	bool write(const char *text, size_t length);
	// What packets chose some of: fit for a terminal where it goes to one, in colours when they are wanted ("always", "never",
	// "auto").
	void set_colours(const std::string &when);
	bool show(std::string_view text);
	// The same for pieces, which are used up: they leave this process at once, from where they are.
	bool show(std::span<iovec> pieces);
	bool flush();
	bool failed() const { return error != 0; }
	// The system's error number of the block that could not be written.
	int error_number() const { return error; }
	// Bytes that were not written for it.
	uint64_t lost() const { return bytes_lost; }

private:
	void write_out(const char *text, size_t length);
	void note(size_t length, size_t done);

	std::unique_ptr<char[]> block;
	std::unique_ptr<terminal_text> dressing; // for human eyes
	size_t used = 0;
	int error = 0;
	int stop_descriptor;
	uint64_t bytes_lost = 0;
};
