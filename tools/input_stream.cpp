// SPDX-License-Identifier: GPL-2.0-only
#include "tools/input_stream.h"

#include "tools/open_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

input_stream::input_stream(int stop) : buffer(new stream_buffer), stop_descriptor(stop) {}

FILE *input_stream::open(const char *path)
{
	descriptor = std::strcmp(path, "-") == 0 ? dup(STDIN_FILENO) : open_input(path, stop_descriptor);
	if (descriptor < 0)
		return nullptr;
	FILE *stream = open_plain();
	if (!stream)
		stream = open_any();
	if (!stream) {
		close(this);
		return nullptr;
	}
	std::setvbuf(stream, buffer->bytes, _IOFBF, sizeof buffer->bytes);
	__fsetlocking(stream, FSETLOCKING_BYCALLER);
	return stream;
}

// A regular file that is not compressed needs nothing of this class; NULL when it is another.
FILE *input_stream::open_plain()
{
	struct stat file;
	if (fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode))
		return nullptr;
	size = static_cast<uint64_t>(file.st_size);
	uint8_t magic[magic_size];
	const ssize_t count = pread(descriptor, magic, sizeof magic, lseek(descriptor, 0, SEEK_CUR));
	if (count < 0 || unpacker_for(magic, static_cast<size_t>(count)))
		return nullptr;
	FILE *const stream = fdopen(descriptor, "rb");
	plain = stream != nullptr;
	return stream;
}

FILE *input_stream::open_any()
{
	return fopencookie(this, "rb", {read, nullptr, tell, close});
}

uint64_t input_stream::file_position() const
{
	const off_t position = lseek(descriptor, 0, SEEK_CUR);
	return position < 0 ? 0 : static_cast<uint64_t>(position);
}

ssize_t input_stream::read(void *input, char *bytes, size_t size)
{
	input_stream &self = *static_cast<input_stream *>(input);
	if (!self.looked && !self.look_at_magic())
		return -1;
	const ssize_t count = self.unpack ? self.read_packed(bytes, size) : self.read_plain(bytes, size);
	if (count > 0)
		self.given += count;
	return count;
}

// Waits for it, or for its end.
bool input_stream::has_more() const
{
	pollfd sources[] = {{stop_descriptor, POLLIN, 0}, {descriptor, POLLIN, 0}};
	if (pastime && poll(sources + 1, 1, 0) == 0)
		pastime();
	if (stop_descriptor >= 0 && poll(sources, 2, -1) > 0 && sources[0].revents) {
		errno = ECANCELED;
		return false;
	}
	return true;
}

ssize_t input_stream::take(void *bytes, size_t room)
{
	ssize_t count = -1;
	do {
		if (!has_more())
			break;
		count = ::read(descriptor, bytes, room);
	} while (count < 0 && errno == EINTR);
	at_end = count == 0;
	return count;
}

// A pipe may give its first bytes one by one.
bool input_stream::look_at_magic()
{
	raw.resize(magic_size);
	while (raw_end < magic_size && !at_end) {
		const ssize_t count = take(raw.data() + raw_end, magic_size - raw_end);
		if (count < 0)
			return false;
		raw_end += static_cast<size_t>(count);
	}
	unpack = unpacker_for(raw.data(), raw_end);
	if (unpack)
		raw.resize(sizeof buffer->bytes);
	looked = true;
	return true;
}

ssize_t input_stream::read_plain(char *bytes, size_t room)
{
	if (next == raw_end)
		return take(bytes, room);
	const size_t count = std::min(room, raw_end - next);
	std::memcpy(bytes, raw.data() + next, count);
	next += count;
	return static_cast<ssize_t>(count);
}

ssize_t input_stream::read_packed(char *bytes, size_t room)
{
	while (reason.empty()) {
		if (next == raw_end && !at_end) {
			const ssize_t count = take(raw.data(), raw.size());
			if (count < 0)
				return -1;
			next = 0;
			raw_end = static_cast<size_t>(count);
		}
		const uint8_t *at = raw.data() + next;
		size_t count;
		if (!unpack->unpack(at, raw.data() + raw_end, bytes, room, count))
			reason = fmt::format("damaged {} data: {}", unpack->format(), unpack->error());
		next = static_cast<size_t>(at - raw.data());
		if (count)
			return static_cast<ssize_t>(count);
		if (reason.empty() && at_end && next == raw_end) {
			if (unpack->complete())
				return 0;
			reason = fmt::format("damaged {} data: it ends early", unpack->format());
		}
	}
	errno = EIO;
	return -1;
}

// What ftello asks for; there is no going elsewhere.
int input_stream::tell(void *input, off64_t *offset, int whence)
{
	if (whence != SEEK_CUR || *offset != 0) {
		errno = ESPIPE;
		return -1;
	}
	*offset = static_cast<input_stream *>(input)->given;
	return 0;
}

int input_stream::close(void *input)
{
	return ::close(static_cast<input_stream *>(input)->descriptor);
}
