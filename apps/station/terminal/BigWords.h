// Words that can be read from the other side of the room.
#pragma once

#include <string>
#include <vector>

#include "apps/station/terminal/Panel.h"

namespace Station {

constexpr int RED = 31;  // of the terminal's escape sequences, as the colour of a character
constexpr int GREEN = 32;
constexpr int YELLOW = 33;

struct BigWord {
    std::string caption;
    std::string word;  ///< of the letters A D F I L O P S T V
    int colour;
};

/// Rows that show the words side by side, five rows high and as wide as there is space for; without enough of it, in
/// plain letters.
std::vector<std::string> ShowBig(const std::vector<BigWord>& words, Space space, bool hasColours);

}  // namespace Station
