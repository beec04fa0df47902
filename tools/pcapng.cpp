// SPDX-License-Identifier: GPL-2.0-only
// PCAP Next Generation Capture File Format (draft-ietf-opsawg-pcapng).
#include "tools/pcapng.h"

#include "tools/open_file.h"
#include "tools/write_all.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

inline constexpr size_t enough = 1 << 18; // pending bytes
inline constexpr size_t longest_option = 65535;

enum block_type : uint32_t {
	section_header = 0x0a0d0d0a,
	interface_description = 1,
	interface_statistics = 5,
	enhanced_packet = 6
};

enum option : uint16_t {
	end_of_options = 0,
	opt_comment = 1,
	shb_userappl = 4,
	if_name = 2,
	if_description = 3,
	if_tsresol = 9,
	epb_dropcount = 4,
	isb_ifrecv = 4,
	isb_ifdrop = 5
};

template <class Number> void put(std::string &block, Number value)
{
	block.append(reinterpret_cast<const char *>(&value), sizeof value);
}

void put_padded(std::string &block, std::string_view bytes)
{
	block += bytes;
	block.append((4 - bytes.size() % 4) % 4, '\0');
}

void put_option(std::string &block, option code, std::string_view value)
{
	value = value.substr(0, longest_option);
	put<uint16_t>(block, code);
	put<uint16_t>(block, static_cast<uint16_t>(value.size()));
	put_padded(block, value);
}

void put_option(std::string &block, option code, uint64_t value)
{
	put_option(block, code, {reinterpret_cast<const char *>(&value), sizeof value});
}

void put_time(std::string &block, int64_t seconds, long nanoseconds)
{
	const uint64_t time = static_cast<uint64_t>(seconds) * 1'000'000'000 + static_cast<uint64_t>(nanoseconds);
	put<uint32_t>(block, static_cast<uint32_t>(time >> 32));
	put<uint32_t>(block, static_cast<uint32_t>(time));
}

size_t begin_block(std::string &block, block_type type)
{
	const size_t start = block.size();
	put<uint32_t>(block, type);
	put<uint32_t>(block, 0); // its length, when it is known
	return start;
}

uint32_t block_length(std::string_view block)
{
	uint32_t length;
	std::memcpy(&length, block.data() + 4, sizeof length);
	return length;
}

// The bytes of the whole blocks among the first `most`.
size_t whole_blocks(std::string_view blocks, size_t most)
{
	size_t end = 0;
	while (end < blocks.size() && end + block_length(blocks.substr(end)) <= most)
		end += block_length(blocks.substr(end));
	return end;
}

} // namespace

pcapng_file::~pcapng_file()
{
	close();
}

bool pcapng_file::open(const std::string &path)
{
	pending.clear();
	flushed = 0;
	reason = 0;
	descriptor = path == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0) : open_output(path, stop_descriptor);
	if (descriptor < 0) {
		reason = errno;
		return false;
	}
	const size_t start = begin_block(pending, section_header);
	put<uint32_t>(pending, 0x1a2b3c4d);
	put<uint16_t>(pending, 1);
	put<uint16_t>(pending, 0);
	put<int64_t>(pending, -1); // the section's length is not known
	put_option(pending, shb_userappl, "debug-pkt " DEBUG_PKT_VERSION);
	put_option(pending, end_of_options, "");
	return end_block(start);
}

bool pcapng_file::add_interface(uint16_t link_type, std::string_view name, std::string_view description)
{
	const size_t start = begin_block(pending, interface_description);
	put<uint16_t>(pending, link_type);
	put<uint16_t>(pending, 0);
	put<uint32_t>(pending, 0); // packets are not cut
	put_option(pending, if_name, name);
	if (!description.empty())
		put_option(pending, if_description, description);
	put_option(pending, if_tsresol, std::string_view("\x09", 1));
	put_option(pending, end_of_options, "");
	return end_block(start);
}

bool pcapng_file::write(const pcapng_packet &packet)
{
	const size_t start = begin_block(pending, enhanced_packet);
	put<uint32_t>(pending, packet.interface);
	put_time(pending, packet.seconds, packet.nanoseconds);
	put<uint32_t>(pending, static_cast<uint32_t>(packet.data.size()));
	put<uint32_t>(pending, packet.length);
	put_padded(pending, packet.data);
	if (!packet.comment.empty())
		put_option(pending, opt_comment, packet.comment);
	if (packet.lost)
		put_option(pending, epb_dropcount, packet.lost);
	if (!packet.comment.empty() || packet.lost)
		put_option(pending, end_of_options, "");
	return end_block(start);
}

bool pcapng_file::write_statistics(uint32_t interface, int64_t seconds, long nanoseconds, uint64_t received, uint64_t lost)
{
	const size_t start = begin_block(pending, interface_statistics);
	put<uint32_t>(pending, interface);
	put_time(pending, seconds, nanoseconds);
	put_option(pending, isb_ifrecv, received);
	put_option(pending, isb_ifdrop, lost);
	put_option(pending, end_of_options, "");
	return end_block(start);
}

bool pcapng_file::end_block(size_t start)
{
	const uint32_t length = static_cast<uint32_t>(pending.size() - start + sizeof length);
	put(pending, length);
	std::memcpy(pending.data() + start + 4, &length, sizeof length);
	return pending.size() < enough ? !reason : flush();
}

bool pcapng_file::flush()
{
	if (descriptor >= 0 && !reason) {
		const size_t written = write_all(descriptor, pending.data(), pending.size(), stop_descriptor);
		if (written < pending.size()) {
			reason = errno;
			// Not in a pipe, whose reader finds the end inside of a block.
			const size_t whole = whole_blocks(pending, written);
			const off_t position = lseek(descriptor, 0, SEEK_CUR);
			const bool cut =
				position >= 0 && ftruncate(descriptor, position - static_cast<off_t>(written - whole)) == 0;
			flushed += cut ? whole : written;
		} else {
			flushed += written;
		}
	}
	pending.clear();
	return !reason;
}

bool pcapng_file::close()
{
	if (descriptor < 0)
		return !reason;
	flush();
	if (::close(descriptor) != 0 && !reason)
		reason = errno;
	descriptor = -1;
	return !reason;
}

std::string pcapng_file::error() const
{
	return reason ? std::strerror(reason) : "";
}
