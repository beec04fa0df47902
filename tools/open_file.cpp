// SPDX-License-Identifier: GPL-2.0-only
#include "tools/open_file.h"

#include "tools/message.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

namespace {

inline constexpr int interval = 100; // milliseconds

// Opening must not wait where only a descriptor tells of a request to end; reading and writing may.
int without_waiting(int flags, int stop, const std::string &path)
{
	struct stat file;
	return stop >= 0 && stat(path.c_str(), &file) == 0 && S_ISFIFO(file.st_mode) ? flags | O_NONBLOCK : flags;
}

int waiting_again(int file)
{
	if (file >= 0)
		fcntl(file, F_SETFL, fcntl(file, F_GETFL) & ~O_NONBLOCK);
	return file;
}

} // namespace

int open_input(const std::string &path, int stop)
{
	return waiting_again(open(path.c_str(), without_waiting(O_RDONLY | O_CLOEXEC, stop, path)));
}

int open_output(const std::string &path, int stop)
{
	const int flags = without_waiting(O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, stop, path);
	int file = open(path.c_str(), flags, 0666);
	if (file < 0 && errno == ENXIO && (flags & O_NONBLOCK))
		message("{}: waiting until somebody reads this pipe; Ctrl-C ends", path);
	while (file < 0 && errno == ENXIO && (flags & O_NONBLOCK)) {
		pollfd request = {stop, POLLIN, 0};
		if (poll(&request, 1, interval) > 0) {
			errno = ECANCELED;
			return -1;
		}
		file = open(path.c_str(), flags, 0666);
	}
	return waiting_again(file);
}
