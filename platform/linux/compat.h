/* SPDX-License-Identifier: GPL-2.0-only */
/*
 * What differs between kernels, from 4.19 on; the glue is written for the newest. An appliance kernel with calls of its own says
 * so with DEBUG_PKT_HAVE_ROUTE_TELVO and DEBUG_PKT_HAVE_AFFINITY_TELVO.
 */
#ifndef PLATFORM_LINUX_COMPAT_H
#define PLATFORM_LINUX_COMPAT_H

#include <linux/sched.h>
#include <linux/sysctl.h>
#include <linux/version.h>
#include <net/route.h>

/* The user's buffer of a sysctl handler, only ever passed on. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 8, 0)
typedef void __user *compat_sysctl_buffer;
#else
typedef void *compat_sysctl_buffer;
#endif

/* The entry that a sysctl handler is given. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 11, 0)
typedef struct ctl_table compat_ctl_table;
#else
typedef const struct ctl_table compat_ctl_table;
#endif

/* Before 6.5 tables nest; since then a level is registered by its path. Before 6.6 an empty entry is its end. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 5, 0)
#define COMPAT_NESTED_SYSCTL
#endif
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 6, 0)
#define register_sysctl_sz(path, table, count) register_sysctl(path, table)
#endif

#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 3, 0)
static inline const struct cpumask *compat_cpus_allowed(const struct task_struct *task)
{
	return &task->cpus_allowed;
}
#else
static inline const struct cpumask *compat_cpus_allowed(const struct task_struct *task)
{
	return task->cpus_ptr;
}
#endif

#ifdef DEBUG_PKT_HAVE_ROUTE_TELVO
struct rtable *ip_route_output_key_telvo(struct net *net, struct flowi4 *flow);
#else
#define ip_route_output_key_telvo(net, flow) ip_route_output_key(net, flow)
#endif

#ifdef DEBUG_PKT_HAVE_AFFINITY_TELVO
int set_cpus_allowed_telvo(struct task_struct *task, const struct cpumask *cpus);
#else
#define set_cpus_allowed_telvo(task, cpus) set_cpus_allowed_ptr(task, cpus)
#endif

#endif
