// A run as JSON: the complete record. docs/record.schema.json describes it.
#pragma once

#include <string>

#include "apps/station/run/Record.h"

namespace Station {

/// Times are in ISO 8601 (UTC) and seconds.
std::string ToJson(const RunRecord& run);

}  // namespace Station
