// SPDX-License-Identifier: GPL-2.0-only
// What several threads read by turns and render at once: each one's frames, and the texts on their way out in the file's order.
#pragma once

#include "tools/capture_file.h"
#include "tools/text_block.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

// A frame that was read ahead; its bytes are in its batch.
struct kept_frame {
	captured_packet packet;
	int32_t number; // in its file
};

// Frames read together, for the thread that reads them.
struct batch {
	std::vector<uint8_t> bytes; // of the frames, one behind the other
	std::vector<kept_frame> frames;
	size_t sequence; // among all of the run

	bool is_full() const;
	void add(const captured_packet &packet, int32_t number);
	void clear();
};

// The texts of one batch.
struct batch_texts : text_block {
	bool waits = false; // for the batches before
};

// Standard output in the order of the batches, whichever thread is done first.
class ordered_output {
public:
	explicit ordered_output(int stop) : text(stop) {}

	text_output text;

	// One of a thread's own that is not waiting, empty.
	batch_texts &take(std::array<batch_texts, 3> &own);
	// When a thread's last text is written.
	void wait_for(const std::array<batch_texts, 3> &own);
	// A text that comes early is left to the thread whose turn it is. False once the output failed.
	bool write(size_t sequence, batch_texts &done);

private:
	std::mutex lock;
	std::condition_variable turn;
	std::deque<batch_texts *> early; // of the batches from next on, NULL where one is not done
	size_t next = 0;
};
