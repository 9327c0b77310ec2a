// A file that is written whole or not at all.
#pragma once

#include <functional>
#include <string>

namespace Station {

/// A report of one run. It appears under its name when it is complete; until then a file of an earlier run is
/// untouched.
class ReportFile {
public:
    /// Makes sure that the file can be written. An empty path means no report. Another run's file is refused unless it
    /// may be overwritten.
    /// @throws std::runtime_error
    ReportFile(std::string path, bool mayOverwrite);
    ~ReportFile();
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    /// Writes the content, durably, to a file beside the report's; in the place of what was prepared before.
    /// @throws std::runtime_error when it cannot be written
    void Prepare(const std::string& content);
    /// The same with what `fill` writes, to a new file that is open as `fd` and has this path meanwhile.
    void Prepare(const std::function<void(int fd, const std::string& path)>& fill);

    /// Gives what was prepared its name, durably.
    /// @throws std::runtime_error when that fails, or another run has written it meanwhile: then the content stays in
    /// the file beside it, which the message names
    void Publish();

private:
    void Discard();
    int OpenBeside();
    [[nodiscard]] int Rename(const std::string& complete) const;
    [[noreturn]] void Fail(const std::string& reason) const;

    std::string m_path;
    bool m_mayOverwrite;
    std::string m_temporary;
    bool m_isPrepared = false;
};

}  // namespace Station
