// What the person at the station sees: result lines on standard output, progress on standard error.
#pragma once

#include <string>

#include "apps/station/Link.h"

namespace Station {

/// On a terminal, progress is one line that is rewritten; elsewhere, a plain line every ten seconds of waiting.
class Console {
public:
    Console();

    /// Prints a line on standard output.
    void Print(const std::string& line);

    /// Tells the person at a terminal what to do now. Elsewhere there is nobody to tell.
    void Ask(const std::string& task);

    /// Prints an error message on standard error.
    void Complain(const std::string& message);

    /// Shows that `name` has been waited for; call it as often as you like.
    void ShowProgress(const std::string& name, Seconds waited, Seconds limit);

private:
    void ClearProgress();

    bool m_terminal;
    std::string m_progress;  ///< last progress shown; on a terminal, empty when its line is clear
};

}  // namespace Station
