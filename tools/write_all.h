// SPDX-License-Identifier: GPL-2.0-only
// Writing that a reader who has fallen asleep cannot hold up for ever.
#pragma once

#include <cstddef>
#include <span>
#include <sys/uio.h>

// How much of it was written; when that is not all, errno says why. Where stop is a descriptor and readable (a request to end),
// what the output does not take at once is given up with ECANCELED.
size_t write_all(int output, const char *data, size_t size, int stop = -1);
// Likewise of pieces that lie one here, one there, which it uses up.
size_t write_all(int output, std::span<iovec> pieces);
