// SPDX-License-Identifier: GPL-2.0-only
#include "tools/keyboard.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

bool is_in_foreground()
{
	return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

} // namespace

keyboard::keyboard()
{
	if (!isatty(STDOUT_FILENO) || !is_in_foreground() || tcgetattr(STDIN_FILENO, &before) != 0)
		return;
	sigset_t wanted;
	sigemptyset(&wanted);
	sigaddset(&wanted, SIGCONT);
	sigprocmask(SIG_BLOCK, &wanted, nullptr);
	continued = signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
	present = true;
	take_again();
}

keyboard::~keyboard()
{
	if (present && is_in_foreground())
		tcsetattr(STDIN_FILENO, TCSADRAIN, &before);
	if (continued >= 0)
		close(continued);
}

int keyboard::keys() const
{
	return present && is_in_foreground() ? STDIN_FILENO : -1;
}

char keyboard::key()
{
	char pressed;
	if (read(STDIN_FILENO, &pressed, 1) == 1)
		return pressed;
	present = false;
	return 0;
}

void keyboard::take_again()
{
	signalfd_siginfo signal;
	while (read(continued, &signal, sizeof signal) > 0)
		;
	if (!is_in_foreground())
		return;
	termios single = before;
	single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
	single.c_cc[VMIN] = 0;
	single.c_cc[VTIME] = 0;
	tcsetattr(STDIN_FILENO, TCSADRAIN, &single);
}
