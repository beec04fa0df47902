// SPDX-License-Identifier: GPL-2.0-only
#include "tools/text_output.h"

#include "tools/write_all.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace {

inline constexpr size_t block_size = 1 << 16;   // stays in the second-level cache
inline constexpr size_t worth_a_call = 1 << 14; // what is longer is written from where it is

} // namespace

text_output::text_output(int stop) : block(new char[block_size]), stop_descriptor(stop) {}

bool text_output::write(const char *text, size_t length)
{
	if (length >= worth_a_call || length > block_size - used)
		flush();
	if (length >= worth_a_call) {
		write_out(text, length);
	} else {
		std::copy_n(text, length, block.get() + used);
		used += length;
	}
	return !failed();
}

void text_output::set_colours(const std::string &when)
{
	const bool terminal = isatty(STDOUT_FILENO);
	const char *const refused = std::getenv("NO_COLOR");
	const bool colours = when == "always" || (when == "auto" && terminal && !(refused && *refused));
	if (colours || terminal)
		dressing = std::make_unique<terminal_text>(colours);
}

bool text_output::show(std::string_view text)
{
	if (!dressing)
		return write(text.data(), text.size());
	const std::string dressed = dressing->dress(text);
	return write(dressed.data(), dressed.size());
}

bool text_output::show(std::span<iovec> pieces)
{
	if (dressing || stop_descriptor >= 0) {
		for (const iovec &each : pieces)
			show({static_cast<const char *>(each.iov_base), each.iov_len});
		return flush();
	}
	flush();
	size_t length = 0;
	for (const iovec &each : pieces)
		length += each.iov_len;
	note(length, failed() ? 0 : write_all(STDOUT_FILENO, pieces));
	return !failed();
}

bool text_output::flush()
{
	write_out(block.get(), used);
	used = 0;
	return !failed();
}

void text_output::write_out(const char *text, size_t length)
{
	note(length, failed() ? 0 : write_all(STDOUT_FILENO, text, length, stop_descriptor));
}

// Of how much was to be written, and was.
void text_output::note(size_t length, size_t done)
{
	if (done < length && !failed())
		error = errno;
	bytes_lost += length - done;
}
