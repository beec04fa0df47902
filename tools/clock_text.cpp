// SPDX-License-Identifier: GPL-2.0-only
#include "tools/clock_text.h"

std::string clock_text(time_t moment)
{
	tm local = {};
	char text[32] = "";
	localtime_r(&moment, &local);
	std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
	return text;
}
