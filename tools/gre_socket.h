// SPDX-License-Identifier: GPL-2.0-only
// Datagrams of IP protocol 47 that come in for this machine, whole: the kernel has put fragments together.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct received_datagram {
	std::string_view source, destination; // addresses, 4 or 16 bytes
	std::string_view payload;             // from the GRE header on
	int64_t seconds;
	long nanoseconds;
};

class gre_socket {
public:
	gre_socket();
	~gre_socket();
	gre_socket(const gre_socket &) = delete;
	gre_socket &operator=(const gre_socket &) = delete;

	// For IPv4 or IPv6. False, with the reason in errno, when that cannot be.
	bool open(int address_family);
	// Readable while a datagram waits; -1 when it was not opened.
	int descriptor() const { return socket_descriptor; }
	// The next datagram, valid until the next call; false when none waits.
	bool next(received_datagram &datagram);
	// Datagrams that found no room.
	uint64_t dropped() const;

private:
	struct batch;
	bool fill();

	int socket_descriptor = -1, family = 0;
	std::unique_ptr<batch> received;
};
