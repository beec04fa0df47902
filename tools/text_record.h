// SPDX-License-Identifier: GPL-2.0-only
// The text of one call, read, and what is known of where it comes from. The views work on these.
#pragma once

#include "tools/lines.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// How sure it is that a call's text starts here.
enum class text_start : uint8_t {
	known,    // the capture handed it on alone, or at a message's start
	inferred, // its first line says so
	doubtful, // its first line says so, but stands behind words that the packet before chose
};

struct text_record {
	rendered_text content;
	text_start start = text_start::known;
	uint64_t packet = 0;        // capture calls are counted from 1; 0 when it is not known which one a follow-up belongs to
	std::optional<int64_t> cpu; // the one that rendered it
	std::string_view source;    // file or interface; may be empty
};

// Takes the texts of calls apart that stand one behind the other.
class text_splitter {
public:
	// start_is_known: the first one starts where this one's text does.
	explicit text_splitter(bool start_is_known) : known(start_is_known) {}

	void add(std::string_view more);
	// Nothing comes behind what was added.
	void end() { complete = true; }
	// The next call's text, valid until more is added; false when more is needed first.
	bool next(text_record &record);

private:
	std::string content;
	size_t at = 0;             // in it
	size_t doubtful_until = 0; // in it: as far as a packet's words may reach
	bool known, complete = false;
};
