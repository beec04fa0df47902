// SPDX-License-Identifier: GPL-2.0-only
// Records as JSON, one line each; docs/record.schema.json says what stands in them.
#pragma once

#include "tools/text_record.h"

#include <string>

std::string json_record(const text_record &record);
