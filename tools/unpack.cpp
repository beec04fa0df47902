// SPDX-License-Identifier: GPL-2.0-only
#include "tools/unpack.h"

#include <algorithm>
#include <climits>
#include <new>
#define ZLIB_CONST // its input is const
#include <zlib.h>
#include <zstd.h>

namespace {

// RFC 1952; several members may stand one behind the other, and zeros behind the last.
class gzip_unpacker : public unpacker {
public:
	gzip_unpacker()
	{
		constexpr int only_gzip = 16 + MAX_WBITS;
		if (inflateInit2(&stream, only_gzip) != Z_OK)
			throw std::bad_alloc();
	}
	~gzip_unpacker() override { inflateEnd(&stream); }
	gzip_unpacker(const gzip_unpacker &) = delete;
	gzip_unpacker &operator=(const gzip_unpacker &) = delete;

	bool unpack(const uint8_t *&at, const uint8_t *end, char *bytes, size_t room, size_t &given) override
	{
		given = 0;
		if (between_members) {
			at = std::find_if(at, end, [](uint8_t byte) { return byte != 0; });
			if (at == end)
				return true;
			inflateReset(&stream);
			between_members = false;
		}
		stream.next_in = at;
		stream.avail_in = static_cast<uInt>(std::min<size_t>(static_cast<size_t>(end - at), INT_MAX));
		stream.next_out = reinterpret_cast<Bytef *>(bytes);
		stream.avail_out = static_cast<uInt>(std::min<size_t>(room, INT_MAX));
		const int result = inflate(&stream, Z_NO_FLUSH);
		at = stream.next_in;
		given = static_cast<size_t>(reinterpret_cast<char *>(stream.next_out) - bytes);
		between_members = result == Z_STREAM_END;
		// A buffer error says only that there is nothing to do.
		if (result == Z_OK || result == Z_STREAM_END || result == Z_BUF_ERROR)
			return true;
		reason = stream.msg ? stream.msg : zError(result);
		return false;
	}
	bool complete() const override { return between_members; }
	const char *format() const override { return "gzip"; }

private:
	z_stream stream = {};
	bool between_members = false;
};

// RFC 8878.
class zstd_unpacker : public unpacker {
public:
	zstd_unpacker() : stream(ZSTD_createDStream(), ZSTD_freeDStream)
	{
		if (!stream)
			throw std::bad_alloc();
	}

	bool unpack(const uint8_t *&at, const uint8_t *end, char *bytes, size_t room, size_t &given) override
	{
		ZSTD_inBuffer in = {at, static_cast<size_t>(end - at), 0};
		ZSTD_outBuffer out = {bytes, room, 0};
		const size_t result = ZSTD_decompressStream(stream.get(), &out, &in);
		at += in.pos;
		given = out.pos;
		if (ZSTD_isError(result)) {
			reason = ZSTD_getErrorName(result);
			return false;
		}
		// A call that did nothing asks for the next frame, which need not come.
		if (in.pos || out.pos)
			frame_ended = result == 0;
		return true;
	}
	bool complete() const override { return frame_ended; }
	const char *format() const override { return "zstd"; }

private:
	std::unique_ptr<ZSTD_DStream, size_t (*)(ZSTD_DStream *)> stream;
	bool frame_ended = false;
};

} // namespace

std::unique_ptr<unpacker> unpacker_for(const uint8_t *start, size_t size)
{
	if (size >= 2 && start[0] == 0x1f && start[1] == 0x8b)
		return std::make_unique<gzip_unpacker>();
	if (size < magic_size)
		return nullptr;
	const uint32_t magic = start[0] | static_cast<uint32_t>(start[1]) << 8 | static_cast<uint32_t>(start[2]) << 16 |
			       static_cast<uint32_t>(start[3]) << 24;
	constexpr uint32_t frame = 0xfd2fb528, skippable_frame = 0x184d2a50; // the latter's last 4 bits are free
	if (magic == frame || (magic & ~0xfu) == skippable_frame)
		return std::make_unique<zstd_unpacker>();
	return nullptr;
}
