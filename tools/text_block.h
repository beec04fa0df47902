// SPDX-License-Identifier: GPL-2.0-only
// Messages to the CLI on their way to standard output: kept as they were delivered, and written from where they are.
#pragma once

#include "platform/host/host.h"
#include "tools/text_output.h"

#include <sys/uio.h>
#include <vector>

class text_block {
public:
	text_block() = default;
	~text_block() { clear(); }
	text_block(const text_block &) = delete;
	text_block &operator=(const text_block &) = delete;

	// Owns it from now on.
	void add(sk_buff *message);
	size_t size() const { return messages.size(); }
	// Whichever thread it is; once.
	bool show(text_output &output) { return output.show(texts); }
	// By the thread that added the messages: their memory comes back hot.
	void clear();

private:
	std::vector<sk_buff *> messages;
	std::vector<iovec> texts;
};
