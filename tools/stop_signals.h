// SPDX-License-Identifier: GPL-2.0-only
// Ctrl-C and a request to end, as something to poll. A reader that goes away is a failed write, not a signal.
#pragma once

class stop_signals {
public:
	stop_signals();
	~stop_signals();
	stop_signals(const stop_signals &) = delete;
	stop_signals &operator=(const stop_signals &) = delete;

	// Readable once a signal has come.
	int descriptor() const { return signals; }
	// Which one has come, 0 when none has. Nothing is readable afterwards.
	int take() const;
	// Ends the program where one has come.
	void end_if_asked() const;

private:
	int signals;
};

// Ends the program as the signal does where nobody minds it: a shell that waits sees why.
[[noreturn]] void end_by_signal(int signal);
