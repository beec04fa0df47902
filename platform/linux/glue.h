/* SPDX-License-Identifier: GPL-2.0-only */
/* What the glue's files start and stop for platform_start and platform_stop. */
#ifndef PLATFORM_LINUX_GLUE_H
#define PLATFORM_LINUX_GLUE_H

/* The copies of frames that lie in several pieces; 0 or a negative error, in both cases to be stopped. */
int glue_start_packet(void);
void glue_stop_packet(void);

/* The memory that the CPUs keep for their next packets. */
void glue_stop_memory(void);

/* The counters under debugfs. */
void glue_start_stats(void);
void glue_stop_stats(void);

#endif
