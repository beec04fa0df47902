// SPDX-License-Identifier: GPL-2.0-only
// What the fuzz targets share: reading an input field by field, exactly sized blocks, and checks that end the process.
#pragma once

#include "capture/context.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

// The one entry of every target.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

// Ends the process with the caller's place when the condition does not hold.
void require(bool condition, const char *promise, const char *file = __builtin_FILE(), int line = __builtin_LINE());

// The input, field by field; behind its end everything is 0.
class input {
public:
	input(const uint8_t *data, size_t size) : next(data), left(size) {}
	bool empty() const { return left == 0; }
	uint8_t u8()
	{
		uint8_t value = 0;
		take(&value, sizeof value);
		return value;
	}
	uint16_t u16()
	{
		uint16_t value = 0;
		take(&value, sizeof value);
		return value;
	}
	uint32_t u32()
	{
		uint32_t value = 0;
		take(&value, sizeof value);
		return value;
	}
	void take(void *target, size_t size);
	// At most `most` bytes as a string.
	std::string bytes(size_t most);
	std::string rest() { return bytes(left); }

private:
	const uint8_t *next;
	size_t left;
};

// A heap block of exactly these bytes: a sanitizer sees every access outside.
class block {
public:
	explicit block(size_t size) : start(new uint8_t[size]), count(size) {}
	explicit block(const std::string &content) : block(content.size())
	{
		if (count)
			std::memcpy(start.get(), content.data(), count);
	}
	uint8_t *data() const { return start.get(); }
	char *chars() const { return reinterpret_cast<char *>(start.get()); }
	uint32_t size() const { return static_cast<uint32_t>(count); }

private:
	std::unique_ptr<uint8_t[]> start;
	size_t count;
};

// Settings, per-CPU state and the host platform as at load.
void start();
// The filter settings and gre_type, a fixed number of bytes.
void take_filter(input &in);
// What stands between captures: no packet announced, no memory taken.
void require_idle();

} // namespace fuzz
