// SPDX-License-Identifier: GPL-2.0-only
#include "tests/kernel/probe/probe.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

// Loading as insmod does it, with one allocation refused on the way. Whether the module came in is for the caller to see; the
// number of allocations says how far it went.
int load(int count, char **arguments)
{
	if (count != 2)
		fail("load: FILE NTH");
	const int module = open(arguments[0], O_RDONLY | O_CLOEXEC);
	const int faults = open("/proc/self/fail-nth", O_RDWR | O_CLOEXEC);
	if (module < 0 || faults < 0)
		fail_errno("load");
	const std::string nth = arguments[1];
	if (pwrite(faults, nth.data(), nth.size(), 0) < 0)
		fail_errno("fail-nth");
	syscall(SYS_finit_module, module, "", 0);
	char left[16] = {};
	if (pread(faults, left, sizeof left - 1, 0) < 0 || pwrite(faults, "0", 1, 0) < 0)
		fail_errno("fail-nth");
	std::printf("%d\n", std::atoi(nth.c_str()) - std::atoi(left));
	return 0;
}
