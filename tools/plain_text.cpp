// SPDX-License-Identifier: GPL-2.0-only
#include "tools/plain_text.h"

#include <cstddef>
#include <cstdint>

namespace {

// Length of the character that the text starts with; 0 when it is none.
size_t utf8_length(std::string_view text)
{
	const auto byte = [&](size_t at) { return at < text.size() ? static_cast<uint8_t>(text[at]) : uint8_t{0}; };
	const uint8_t first = byte(0);
	if (first < 0x80)
		return 1;
	const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
	constexpr uint32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
	uint32_t code = first & (0xffu >> (length + 1));
	for (size_t i = 1; i < length; ++i) {
		if ((byte(i) & 0xc0) != 0x80)
			return 0;
		code = code << 6 | (byte(i) & 0x3fu);
	}
	const bool is_surrogate = code >= 0xd800 && code < 0xe000;
	return first < 0xc0 || first > 0xf7 || code < lowest[length] || code > 0x10ffff || is_surrogate ? 0 : length;
}

} // namespace

std::string plain_text(std::string_view text)
{
	constexpr char digits[] = "0123456789abcdef";
	std::string plain;
	for (const char each : text) {
		if (each >= ' ' && each <= '~' && each != '\\') {
			plain += each;
			continue;
		}
		plain += "\\x";
		plain += digits[static_cast<uint8_t>(each) >> 4];
		plain += digits[static_cast<uint8_t>(each) & 15];
	}
	return plain;
}

std::string valid_utf8(std::string_view text)
{
	std::string valid;
	while (!text.empty()) {
		const size_t length = utf8_length(text);
		if (length)
			valid += text.substr(0, length);
		else
			valid += "\xef\xbf\xbd";
		text.remove_prefix(length ? length : 1);
	}
	return valid;
}
