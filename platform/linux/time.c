// SPDX-License-Identifier: GPL-2.0-only
#include "platform/platform.h"

#include <linux/rtc.h>
#include <linux/time.h>
#include <linux/timekeeping.h>

struct platform_time platform_clock(void)
{
	struct timespec64 now;

	ktime_get_real_ts64(&now);
	return (struct platform_time){now.tv_sec, now.tv_nsec};
}

void platform_time_zone(int32_t *minutes_west, int32_t *dst)
{
	*minutes_west = sys_tz.tz_minuteswest;
	*dst = sys_tz.tz_dsttime;
}

void platform_calendar_fields(int64_t seconds, struct platform_calendar *fields)
{
	struct rtc_time date;

	rtc_time64_to_tm(seconds, &date);
	*fields = (struct platform_calendar){
		.year = date.tm_year,
		.month = date.tm_mon,
		.day = date.tm_mday,
		.hour = date.tm_hour,
		.minute = date.tm_min,
		.second = date.tm_sec,
	};
}
