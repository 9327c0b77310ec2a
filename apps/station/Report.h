// The reports of a run: lines for a person, the JSON record, JUnit XML.
#pragma once

#include <string>

#include "apps/station/Record.h"

namespace Station {

/// "  1  CMD_READ_VERSION        PASS    0.04 s  hardware 1 0 1, library 0.1.0"
std::string ResultLine(const CheckRecord& check);

/// "PASS: 9 passed, 0 failed, 5 skipped, 14 of 14 checks in 2.1 s"
std::string SummaryLine(const RunRecord& run);

/// "> 5A 01 FF ..." for what was sent, "< ..." for a received frame, "< ... (noise)" for other bytes.
std::string TrafficLine(const Traffic& entry);

/// The complete record, times in ISO 8601 (UTC) and seconds.
std::string ToJson(const RunRecord& run);

/// One test suite with a test case per check, as build servers and production databases read it.
std::string ToJUnit(const RunRecord& run);

/// A file that a report will be written to.
class ReportFile {
public:
    /// Makes sure that the file can be written, creating it but leaving content alone. An empty path means no report.
    /// @throws std::runtime_error
    explicit ReportFile(std::string path);

    /// Replaces the content.
    /// @throws std::runtime_error
    void Write(const std::string& content) const;

private:
    std::string m_path;
};

}  // namespace Station
