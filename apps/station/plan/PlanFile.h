// Reads a plan from TOML.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/station/plan/Plan.h"

namespace Station {

/// Something that is wrong with a plan.
struct Problem {
    unsigned int line = 0;    ///< from 1; 0 for what is not in the file
    unsigned int column = 0;  ///< from 1
    std::string text;
};

/// A plan that cannot be used. The message has a line for each problem: "FILE:LINE:COLUMN: PROBLEM".
class PlanError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Settings given on the command line, by name; they replace those of the plan.
using Overrides = std::map<std::string, std::string>;

/// Reads a plan file; an empty path is the built-in plan.
/// @throws PlanError naming all that is wrong
Plan ReadPlan(const std::string& path, const Overrides& overrides);

/// The text of the built-in plan.
const char* BuiltInPlan();

/// What a reader should know of a plan that is good: which checks count as not carried out, and which prove little.
std::vector<std::string> Remarks(const Plan& plan);

}  // namespace Station
