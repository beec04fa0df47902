// SPDX-License-Identifier: GPL-2.0-only
#include "tests/kernel/probe/probe.h"

#include <cstdio>
#include <cstring>

namespace {

struct command {
	const char *name;
	int (*run)(int count, char **arguments);
	const char *usage;
};
const command commands[] = {
	{"veth", make_veth, "NAME PEER [PID]: makes a pair of devices, the peer in the namespace of a process"},
	{"watch", watch,
	 "SETTINGS DEVICE… [-r PREFIX=DEVICE]… [-c DEVICE]: compares the text that arrives on br0 with an own rendering, until "
	 "SIGTERM"},
	{"show", show, "shows the text that arrives on br0 until SIGTERM"},
	{"mirror", watch_mirror,
	 "PID DEVICE COLLECTOR SOURCE DEVICE…: compares what arrives at the collector with the frames, until SIGTERM"},
	{"replay", replay,
	 "DEVICE ROUNDS FILE…: sends the frames of pcap files, as they are and then spoilt, always in the same way"},
	{"load", load,
	 "FILE NTH: loads a module, with the NTH allocation on the way refused, and says how many there were up to then"},
};

} // namespace

int main(int count, char **arguments)
{
	for (const command &each : commands)
		if (count > 1 && !std::strcmp(arguments[1], each.name))
			return each.run(count - 2, arguments + 2);
	for (const command &each : commands)
		std::fprintf(stderr, "probe %s %s\n", each.name, each.usage);
	return 2;
}
