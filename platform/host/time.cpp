// SPDX-License-Identifier: GPL-2.0-only
#include "platform/host/host.h"

#include <ctime>

namespace {

// A fixed moment is the thread's own: threads that replay different packets do not share one.
thread_local platform_time fixed_time;
thread_local bool is_fixed;
std::atomic<int32_t> zone_minutes_west, zone_dst;

} // namespace

namespace host {

void set_clock(int64_t seconds, long nanoseconds)
{
	fixed_time = {seconds, nanoseconds};
	is_fixed = true;
}

void use_system_clock()
{
	is_fixed = false;
}

void set_time_zone(int32_t minutes_west, int32_t dst)
{
	zone_minutes_west = minutes_west;
	zone_dst = dst;
}

} // namespace host

platform_time platform_clock(void)
{
	if (is_fixed)
		return fixed_time;
	timespec now;
	clock_gettime(CLOCK_REALTIME, &now);
	return {now.tv_sec, now.tv_nsec};
}

void platform_time_zone(int32_t *minutes_west, int32_t *dst)
{
	*minutes_west = zone_minutes_west.load(std::memory_order_relaxed);
	*dst = zone_dst.load(std::memory_order_relaxed);
}

// Days since 1970 to year, month and day in the proleptic Gregorian calendar; years counted from March.
void platform_calendar_fields(int64_t seconds, platform_calendar *fields)
{
	int64_t days = seconds / 86400, second_of_day = seconds % 86400;
	if (second_of_day < 0) {
		second_of_day += 86400;
		--days;
	}
	const int64_t shifted = days + 719468; // since 0000-03-01
	const int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
	const unsigned day_of_era = static_cast<unsigned>(shifted - era * 146097);
	const unsigned year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
	const unsigned day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
	const unsigned march_month = (5 * day_of_year + 2) / 153;
	const unsigned month = march_month < 10 ? march_month + 2 : march_month - 10;
	fields->year = static_cast<int32_t>(year_of_era + era * 400 + (month < 2) - 1900);
	fields->month = static_cast<int32_t>(month);
	fields->day = static_cast<int32_t>(day_of_year - (153 * march_month + 2) / 5 + 1);
	fields->hour = static_cast<int32_t>(second_of_day / 3600);
	fields->minute = static_cast<int32_t>(second_of_day / 60 % 60);
	fields->second = static_cast<int32_t>(second_of_day % 60);
}
