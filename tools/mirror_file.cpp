// SPDX-License-Identifier: GPL-2.0-only
#include "tools/mirror_file.h"

#include "tools/open_file.h"
#include "tools/write_all.h"

#include <pcap/pcap.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

inline constexpr size_t stream_buffer_size = 1 << 18;
inline constexpr int longest_datagram = 65535;

} // namespace

mirror_file::mirror_file(int stop)
    : stop_descriptor(stop),
      stream_buffer(stream_buffer_size),
      format(pcap_open_dead_with_tstamp_precision(DLT_RAW, longest_datagram, PCAP_TSTAMP_PRECISION_NANO), pcap_close)
{
}

mirror_file::~mirror_file()
{
	if (dumper)
		pcap_dump_close(dumper);
}

bool mirror_file::open(const std::string &path)
{
	descriptor = open_output(path, stop_descriptor);
	FILE *const stream = descriptor < 0 ? nullptr : fopencookie(this, "wb", {nullptr, write_out, nullptr, close_file});
	if (!stream)
		return fail();
	std::setvbuf(stream, stream_buffer.data(), _IOFBF, stream_buffer.size());
	dumper = pcap_dump_fopen(format.get(), stream);
	if (dumper)
		return true;
	reason = pcap_geterr(format.get());
	return false;
}

bool mirror_file::write(const uint8_t *datagram, uint32_t length, int64_t seconds, long nanoseconds)
{
	const pcap_pkthdr header = {{static_cast<time_t>(seconds), nanoseconds}, length, length};
	pcap_dump(reinterpret_cast<u_char *>(dumper), &header, datagram);
	return !std::ferror(pcap_dump_file(dumper)) || fail();
}

bool mirror_file::close()
{
	if (!dumper)
		return true;
	const bool written = pcap_dump_flush(dumper) == 0 || fail();
	pcap_dump_close(dumper);
	dumper = nullptr;
	return written;
}

// Fewer bytes than there are: an error.
ssize_t mirror_file::write_out(void *file, const char *bytes, size_t size)
{
	mirror_file &self = *static_cast<mirror_file *>(file);
	const size_t written = write_all(self.descriptor, bytes, size, self.stop_descriptor);
	if (written < size && !self.error_number)
		self.error_number = errno;
	return static_cast<ssize_t>(written);
}

int mirror_file::close_file(void *file)
{
	return ::close(static_cast<mirror_file *>(file)->descriptor);
}

bool mirror_file::fail()
{
	if (reason.empty())
		reason = std::strerror(error_number ? error_number : errno);
	return false;
}
