// The kinds of checks that a plan can ask for.
#pragma once

#include <memory>
#include <vector>

#include "apps/station/checks/Check.h"
#include "apps/station/checks/Parameters.h"

namespace Station {

struct Kind {
    const char* name;  ///< as a plan writes it
    std::unique_ptr<Check> (*make)(Parameters& parameters);
};

/// All of them.
const std::vector<Kind>& Kinds();

/// The kind of that name, or null.
const Kind* FindKind(const std::string& name);

}  // namespace Station
