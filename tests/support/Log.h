// What was logged, for tests that link the simulated board.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sim/SimBoard.h"

namespace Support {

using Texts = std::vector<std::string>;

/// The texts of the lines logged since the last call. If `identity` is given, all lines must have it.
inline Texts TakeTexts(const std::string& identity = "")
{
    Texts texts;
    for (const Sim::LogLine& line : Sim::TakeLog()) {
        if (!identity.empty()) {
            EXPECT_EQ(line.identity, "[" + identity + "]") << line.text;
        }
        texts.push_back(line.text);
    }
    return texts;
}

}  // namespace Support
