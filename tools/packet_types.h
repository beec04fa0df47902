// SPDX-License-Identifier: GPL-2.0-only
// The packet types of the settings line that a text's lines stand for.
#pragma once

#include "tools/lines.h"

#include <string_view>
#include <vector>

std::vector<std::string_view> packet_types(const rendered_text &text);
