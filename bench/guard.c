/* SPDX-License-Identifier: GPL-2.0-only */
/* A datapath's guarded call, for bench/off_path. Also shows that the public header is C. */
#include "include/debug_pkt_dump.h"

void slow_path(void);
void guarded_call(void);

void guarded_call(void)
{
	if (debug_pkt_enabled())
		slow_path();
}
