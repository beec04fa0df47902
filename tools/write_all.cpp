// SPDX-License-Identifier: GPL-2.0-only
#include "tools/write_all.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace {

inline constexpr int patience = 1000; // milliseconds

// Whether the output takes something now; it is waited for as long as nobody asks to end, and a little then.
bool takes_more(int output, int stop)
{
	pollfd sources[] = {{output, POLLOUT, 0}, {stop, POLLIN, 0}};
	while (poll(sources, 2, -1) < 0)
		if (errno != EINTR)
			return false;
	if (sources[0].revents || poll(sources, 1, patience) > 0)
		return true;
	errno = ECANCELED;
	return false;
}

} // namespace

size_t write_all(int output, const char *data, size_t size, int stop)
{
	// A pipe that takes anything takes this much without a wait.
	const size_t most = stop < 0 ? size : PIPE_BUF;
	size_t done = 0;
	while (done < size) {
		if (stop >= 0 && !takes_more(output, stop))
			break;
		const ssize_t written = write(output, data + done, std::min(most, size - done));
		if (written >= 0)
			done += static_cast<size_t>(written);
		else if (errno != EINTR)
			break;
	}
	return done;
}

size_t write_all(int output, std::span<iovec> pieces)
{
	size_t done = 0;
	while (!pieces.empty()) {
		const ssize_t written = writev(output, pieces.data(), static_cast<int>(std::min<size_t>(pieces.size(), IOV_MAX)));
		if (written < 0 && errno == EINTR)
			continue;
		if (written < 0)
			break;
		done += static_cast<size_t>(written);
		size_t taken = static_cast<size_t>(written);
		for (; !pieces.empty() && taken >= pieces.front().iov_len; pieces = pieces.subspan(1))
			taken -= pieces.front().iov_len;
		if (taken)
			pieces.front() = {static_cast<char *>(pieces.front().iov_base) + taken, pieces.front().iov_len - taken};
	}
	return done;
}
