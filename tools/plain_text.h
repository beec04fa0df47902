// SPDX-License-Identifier: GPL-2.0-only
// Words that a packet chose, made harmless.
#pragma once

#include <string>
#include <string_view>

// Printable ASCII stays; every other byte, and "\", becomes \xNN.
std::string plain_text(std::string_view text);
// What is no UTF-8 becomes U+FFFD.
std::string valid_utf8(std::string_view text);
