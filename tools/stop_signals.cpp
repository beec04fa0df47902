// SPDX-License-Identifier: GPL-2.0-only
#include "tools/stop_signals.h"

#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

stop_signals::stop_signals()
{
	sigset_t wanted;
	sigemptyset(&wanted);
	for (const int signal : {SIGINT, SIGTERM, SIGHUP})
		sigaddset(&wanted, signal);
	std::signal(SIGPIPE, SIG_IGN);
	sigprocmask(SIG_BLOCK, &wanted, nullptr);
	signals = signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
	if (signals < 0)
		throw std::system_error(errno, std::generic_category(), "signals");
}

stop_signals::~stop_signals()
{
	close(signals);
}

int stop_signals::take() const
{
	signalfd_siginfo come;
	return read(signals, &come, sizeof come) == sizeof come ? static_cast<int>(come.ssi_signo) : 0;
}

void stop_signals::end_if_asked() const
{
	if (const int signal = take())
		end_by_signal(signal);
}

void end_by_signal(int signal)
{
	sigset_t one;
	sigemptyset(&one);
	sigaddset(&one, signal);
	std::signal(signal, SIG_DFL);
	raise(signal);
	sigprocmask(SIG_UNBLOCK, &one, nullptr);
	_exit(128 + signal); // where the signal does not end programs
}
