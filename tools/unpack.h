// SPDX-License-Identifier: GPL-2.0-only
// Compressed captures (gzip, zstd), unpacked piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class unpacker {
public:
	virtual ~unpacker() = default;
	// Takes from [at, end), moving at, and gives up to room bytes; false, with error(), when the data is damaged.
	virtual bool unpack(const uint8_t *&at, const uint8_t *end, char *bytes, size_t room, size_t &given) = 0;
	// Whether the data may end here.
	virtual bool complete() const = 0;
	virtual const char *format() const = 0;
	const std::string &error() const { return reason; }

protected:
	std::string reason;
};

// Enough of a file's first bytes to tell what it is.
inline constexpr size_t magic_size = 4;
// NULL when the bytes are not those of a compressed file.
std::unique_ptr<unpacker> unpacker_for(const uint8_t *start, size_t size);
