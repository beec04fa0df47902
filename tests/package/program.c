/* SPDX-License-Identifier: GPL-2.0-only */
/* A datapath that knows nothing but the public header. */
#include <debug_pkt_dump.h>

#include <stdio.h>

int main(void)
{
	debug_pkt_type_flags = 1;
	if (!debug_pkt_enabled())
		return 1;
	debug_pkt_dump(NULL, __func__, __LINE__, " forward", 0, 0, 1);
	puts("called");
	return 0;
}
