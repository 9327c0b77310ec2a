// A pseudo-terminal of the simulated board, raw and with both ends open, so that it never hangs up.
#pragma once

#include <string>

namespace Sim {

class PseudoTerminal {
public:
    PseudoTerminal();
    /// Takes over a pseudo-terminal that an earlier process made.
    explicit PseudoTerminal(int controller);
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// The end without a path.
    [[nodiscard]] int Controller() const { return m_controller; }
    /// The end that others open, by its path.
    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    int m_controller;
    int m_terminal = -1;
    std::string m_path;
};

}  // namespace Sim
