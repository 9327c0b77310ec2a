// A program that runs on a simulated board.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Program.h"
#include "tests/support/Wait.h"

namespace Support {

/// The launcher with the program, in a folder of its own, from construction to destruction.
class SimulatedBoard {
public:
    /// `launcher` is the path of simboard, `options` are its own.
    SimulatedBoard(const std::string& launcher, const std::vector<std::string>& options,
                   const std::vector<std::string>& program)
        : m_program(Command(launcher, m_folder, options, program))
    {
    }
    ~SimulatedBoard()
    {
        m_program.Kill();
        std::filesystem::remove_all(m_folder);
    }
    SimulatedBoard(const SimulatedBoard&) = delete;
    SimulatedBoard& operator=(const SimulatedBoard&) = delete;

    /// Waits until the program has printed that text; false when it does not.
    [[nodiscard]] bool Await(const std::string& text) const
    {
        return WaitFor([&] { return m_program.Output().find(text) != std::string::npos; });
    }

    [[nodiscard]] Program& Running() { return m_program; }
    [[nodiscard]] const Program& Running() const { return m_program; }
    /// A file of the board's.
    [[nodiscard]] std::string File(const std::string& name) const { return m_folder + '/' + name; }
    /// The station's end of the board's serial line.
    [[nodiscard]] std::string Line() const { return File("ttyS0"); }
    [[nodiscard]] std::string Log() const { return Content(File("syslog")); }

private:
    static std::vector<std::string> Command(const std::string& launcher, const std::string& folder,
                                            const std::vector<std::string>& options,
                                            const std::vector<std::string>& program)
    {
        std::vector<std::string> command = {launcher, "--dir", folder};
        command.insert(command.end(), options.begin(), options.end());
        command.emplace_back("--");
        command.insert(command.end(), program.begin(), program.end());
        return command;
    }

    std::string m_folder = TemporaryPath("board");
    Program m_program;
};

}  // namespace Support
