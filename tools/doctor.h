// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt doctor: what capturing needs, and what to do about what is not there.
#pragma once

#include "tools/message.h"

struct doctor_options {
	std::string sysctl_root;
	std::string sys_root = "/sys";
};

exit_status run_doctor(const doctor_options &options);
