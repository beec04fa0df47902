// SPDX-License-Identifier: GPL-2.0-only
#include "tools/text_block.h"

void text_block::add(sk_buff *message)
{
	// Between its flag byte and its last one. Of the module's texts one that was cut has a NUL at its end; none is inside.
	char *const text = reinterpret_cast<char *>(message->data) + 1;
	size_t length = message->len - 2;
	while (length && text[length - 1] == 0)
		--length;
	messages.push_back(message);
	texts.push_back({text, length});
}

void text_block::clear()
{
	for (sk_buff *const each : messages)
		host::free_skb(each);
	messages.clear();
	texts.clear();
}
