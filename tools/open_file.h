// SPDX-License-Identifier: GPL-2.0-only
// Opens files by their names. A named pipe whose other end nobody has opened is waited for; where stop is a descriptor, until it is
// readable (a request to end): errno is ECANCELED then.
#pragma once

#include <string>

// A descriptor, or -1 and errno.
int open_input(const std::string &path, int stop);
// Made when it is not there, emptied when it is.
int open_output(const std::string &path, int stop);
