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

batch_texts &ordered_output::take(std::array<batch_texts, 3> &own)
{
	std::unique_lock guard(lock);
	batch_texts *free;
	turn.wait(guard, [&] {
		free = std::find_if(own.begin(), own.end(), [](const batch_texts &each) { return !each.waits; });
		return free != own.end();
	});
	guard.unlock();
	free->clear();
	return *free;
}

void ordered_output::wait_for(const std::array<batch_texts, 3> &own)
{
	std::unique_lock guard(lock);
	turn.wait(guard, [&] { return std::none_of(own.begin(), own.end(), [](const batch_texts &each) { return each.waits; }); });
}

bool ordered_output::write(size_t sequence, batch_texts &done)
{
	const std::lock_guard guard(lock);
	early.resize(std::max(early.size(), sequence - next + 1));
	early[sequence - next] = &done;
	done.waits = true;
	for (; !early.empty() && early.front(); early.pop_front(), ++next) {
		early.front()->show(text);
		early.front()->waits = false;
	}
	turn.notify_all();
	return !text.failed();
}
