// Whoever shows one port and answers its questions: a terminal, or a page.
#pragma once

#include <string>

#include "apps/station/run/Record.h"

namespace Station {

/// One unit after the other: ShowUnit(), its run, ShowVerdict().
class Viewer : public RecordSink, public Operator {
public:
    /// This unit is under test from now on. The remark is for the operator; it may be empty.
    virtual void ShowUnit(const std::string& unit, const std::string& remark) = 0;
    /// Stays until the port's next unit.
    virtual void ShowVerdict(const std::string& unit, int exitCode) = 0;
    /// Why a run does not count, besides what its record says.
    virtual void Complain(const std::string& message) = 0;
};

}  // namespace Station
