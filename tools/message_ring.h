// SPDX-License-Identifier: GPL-2.0-only
// The module's messages to the CLI as they arrive on a device: a packet socket whose ring the kernel fills without being asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class message_ring {
public:
	enum class device_state { up, down, renamed, gone };

	message_ring() = default;
	~message_ring();
	message_ring(const message_ring &) = delete;
	message_ring &operator=(const message_ring &) = delete;

	// Only the messages' ethertype on this device passes the kernel. The reason why that cannot be, or "".
	std::string open(const std::string &device);
	// Readable while a message waits.
	int descriptor() const { return socket_descriptor; }

	struct message {
		const uint8_t *data;
		size_t length;
	};
	// The oldest message that waits, valid until the next call; false when there is none.
	bool next(message &oldest);
	// How many wait, of how many that can.
	size_t waiting() const;
	size_t room() const { return slots; }
	// Messages that found the ring full, since open.
	uint64_t dropped();
	// Readable when something has happened to a device, and the descriptor above is in error when this one went down: look at
	// state(), which takes both away.
	int device_news() const { return news; }
	device_state state();
	// What the device is called, as of state().
	const std::string &present_name() const { return present; }

private:
	uint8_t *slot(size_t number) const;
	bool is_filled(size_t number) const;
	void give_back();

	std::string name, present;
	int socket_descriptor = -1, news = -1;
	uint8_t *ring = nullptr;
	size_t blocks = 0, slots = 0, current = 0;
	bool taken = false; // the current slot was handed out
	uint64_t drops = 0;
};
