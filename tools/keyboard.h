// SPDX-License-Identifier: GPL-2.0-only
// Single keys from the terminal that shows the text. Where the output goes elsewhere, a pager may want the keys.
#pragma once

#include <termios.h>

class keyboard {
public:
	keyboard();
	// The terminal is as it was.
	~keyboard();
	keyboard(const keyboard &) = delete;
	keyboard &operator=(const keyboard &) = delete;

	bool is_there() const { return present; }
	// Readable when a key was pressed; -1 while there are none for this program, in the background for example.
	int keys() const;
	// 0 when the terminal has gone.
	char key();
	// Readable when the program goes on after a stop: take_again() then.
	int continuation() const { return continued; }
	// After a stop the terminal is as the shell has left it.
	void take_again();

private:
	termios before = {};
	bool present = false;
	int continued = -1;
};
