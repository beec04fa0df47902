// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt bench: what rendering and a datapath's call cost on this machine.
#pragma once

#include "tools/message.h"

struct bench_options {
	unsigned rounds = 41;
};

exit_status run_bench(const bench_options &options);
