// SPDX-License-Identifier: GPL-2.0-only
#include "tools/frame_batches.h"

#include <algorithm>

bool batch::is_full() const
{
	constexpr size_t enough_bytes = 1 << 18, enough_frames = 2048;
	return bytes.size() >= enough_bytes || frames.size() >= enough_frames;
}

void batch::add(const captured_packet &packet, int32_t number)
{
	bytes.insert(bytes.end(), packet.data, packet.data + packet.len);
	frames.push_back({packet, number});
}

void batch::clear()
{
	bytes.clear();
	frames.clear();
}

text_block &ordered_output::take(std::array<text_block, 3> &own)
{
	std::unique_lock guard(lock);
	text_block *block;
	turn.wait(guard, [&] {
		block = std::find_if(own.begin(), own.end(), [](const text_block &each) { return !each.waits; });
		return block != own.end();
	});
	block->text.clear();
	return *block;
}

void ordered_output::wait_for(const std::array<text_block, 3> &own)
{
	std::unique_lock guard(lock);
	turn.wait(guard, [&] { return std::none_of(own.begin(), own.end(), [](const text_block &each) { return each.waits; }); });
}

bool ordered_output::write(size_t sequence, text_block &done)
{
	const std::lock_guard guard(lock);
	early.resize(std::max(early.size(), sequence - next + 1));
	early[sequence - next] = &done;
	done.waits = true;
	for (; !early.empty() && early.front(); early.pop_front(), ++next) {
		text.show(early.front()->text);
		early.front()->waits = false;
	}
	flush_if_due();
	turn.notify_all();
	return !text.failed();
}

void ordered_output::flush_before(size_t sequence)
{
	const std::lock_guard guard(lock);
	flush_at = sequence;
	flush_if_due();
}

void ordered_output::flush_if_due()
{
	if (next < flush_at)
		return;
	text.flush();
	flush_at = SIZE_MAX;
}
