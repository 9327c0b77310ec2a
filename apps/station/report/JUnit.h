// A run as JUnit XML, as build servers and production databases read it.
#pragma once

#include <string>

#include "apps/station/run/Record.h"

namespace Station {

/// One test suite with a test case per check. Well-formed whatever the texts of the run hold; what XML cannot hold is
/// replaced by U+FFFD.
std::string ToJUnit(const RunRecord& run);

}  // namespace Station
