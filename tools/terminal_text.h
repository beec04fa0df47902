// SPDX-License-Identifier: GPL-2.0-only
// The module's text for human eyes: a colour for each layer, and no byte that a terminal would act upon.
#pragma once

#include <string>
#include <string_view>

class terminal_text {
public:
	explicit terminal_text(bool colours) : with_colours(colours) {}

	// Texts one behind the other; a line keeps its layer's colour where the next text goes on with it.
	std::string dress(std::string_view text);

private:
	const char *colour_of(std::string_view line);

	bool with_colours;
	const char *layer_colour = "";
};
