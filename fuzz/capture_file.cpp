// SPDX-License-Identifier: GPL-2.0-only
// A capture file through debug-pkt read. The input is the file.
#include "fuzz/support.h"

#include "capture/percpu.h"
#include "tools/capture_file.h"
#include "tools/message.h"
#include "tools/read.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

int memory_file(const char *name)
{
	const int descriptor = memfd_create(name, 0);
	fuzz::require(descriptor >= 0, "there is memory for a file");
	return descriptor;
}

std::string path_of(int descriptor)
{
	return "/proc/self/fd/" + std::to_string(descriptor);
}

// Standard output goes to a file in memory from here on.
int captured_output()
{
	static const int descriptor = [] {
		const int made = memory_file("text");
		dup2(made, STDOUT_FILENO);
		return made;
	}();
	return descriptor;
}

std::string take_output()
{
	const int descriptor = captured_output();
	const off_t length = lseek(descriptor, 0, SEEK_END);
	std::string text(static_cast<size_t>(length), '\0');
	fuzz::require(pread(descriptor, text.data(), text.size(), 0) == length, "the text can be read back");
	fuzz::require(ftruncate(descriptor, 0) == 0 && lseek(descriptor, 0, SEEK_SET) == 0, "the text can be taken away");
	return text;
}

struct contents {
	uint64_t packets;
	bool damaged;
};

contents contents_of(const std::string &path)
{
	capture_file file(path);
	if (file.error().empty())
		file.read([](const captured_packet &packet) {
			fuzz::require(packet.nanoseconds >= 0 && packet.nanoseconds < 1000000000,
				      "a fraction is less than a second");
			return true;
		});
	return {file.packets(), !file.error().empty()};
}

struct outcome {
	exit_status status;
	std::string text;

	bool operator==(const outcome &) const = default;
};

outcome read_file(const std::string &path, const char *settings)
{
	fuzz::start();
	read_options options;
	options.files = {path};
	options.settings = settings;
	const exit_status status = run_read(options);
	return {status, take_output()};
}

} // namespace

void write_message(fmt::string_view format, fmt::format_args values)
{
	fuzz::require(fmt::vformat(format, values).find('\n') == std::string::npos, "a message is one line");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	captured_output();
	const int file = memory_file("capture");
	fuzz::require(write(file, data, size) == static_cast<ssize_t>(size), "the input fits");
	const std::string path = path_of(file);

	const char *const all = "0.0.0.0 all 0 0 0.0.0.0 0 0 0 0 4294967295 0 7",
			  *const tcp = "192.0.2.9 all 0 0 0.0.0.0 0 0 0 0 64 0 7";
	const auto [packets, damaged] = contents_of(path);
	const outcome made = read_file(path, all);
	fuzz::require(made.status == (damaged   ? exit_bad_input
				      : packets ? exit_done
						: exit_nothing_matched),
		      "the exit status says what was in the file");
	fuzz::require(debug_pkt_stats.matched == packets && debug_pkt_stats.rendered == 3 * packets, "every packet is rendered");
	fuzz::require(debug_pkt_stats.dropped_texts == 0 && debug_pkt_stats.discarded_bytes == 0, "no text is lost");
	fuzz::require((packets == 0) == made.text.empty(), "packets give text");
	fuzz::require(read_file(path, all) == made, "a second run gives the same");
	fuzz::require(read_file(path, tcp).text.empty(), "what is mirrored is not rendered");
	close(file);
	return 0;
}
