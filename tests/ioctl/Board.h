// What tests of the hardware checks share: a healthy simulated board, its log lines and its open descriptors.
#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "sim/SimBoard.h"
#include "tests/support/Descriptors.h"
#include "tests/support/Log.h"

namespace Support {

class Board : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        Sim::PowerOn();
    }
    void TearDown() override { Sim::Reset(); }
};

/// The calls so far, each as its name, its path if it takes one, and its argument.
inline Texts Calls(const Sim::Recording& recording)
{
    Texts texts;
    for (const Sim::Call& call : recording.Calls()) {
        texts.push_back(call.name + (call.path.empty() ? "" : " " + call.path) + " " + std::to_string(call.argument));
    }
    return texts;
}

/// What `TestUART` logs of an open port: what its write took, how many bytes came, and the first of them as digits.
inline Texts LoopbackTexts(int sent, std::size_t total, const std::string& bytes)
{
    Texts texts = {"[D] TestTXD nBytes = " + std::to_string(sent) + "\n", "[D] TestTXD = 0\n",
                   "[D] TestRXD total = " + std::to_string(total) + "\n"};
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        texts.push_back("[D] TestRXD = [" + bytes.substr(i, 2) + "]\n");
    }
    texts.emplace_back("[D] TestRXD = 0\n");
    texts.push_back("[D] TestRXD data = [" + (bytes.empty() ? "00" : bytes.substr(0, 2)) + "]\n");
    return texts;
}

/// Names a case of a table by its `name`.
constexpr auto CASE_NAME = [](const auto& test) { return std::string(test.param.name); };

}  // namespace Support
