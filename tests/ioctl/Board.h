// What tests of the hardware checks share: a healthy simulated board, and what the code under test did.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sim/SimBoard.h"
#include "tests/support/Descriptors.h"
#include "tests/support/Log.h"

namespace Support {

/// Answers a request of `ioctl` in the driver's place, or returns nothing: the request then goes on to the board.
using Answer = std::function<std::optional<int>(unsigned long request, void* argument)>;

class Board : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        Sim::PowerOn();
    }
    void TearDown() override
    {
        SetAnswer({});
        Sim::Reset();
    }
    /// Until the end of the test.
    static void SetAnswer(Answer answer);
};

/// The calls that the simulated board records and, among them, the pauses. From construction to destruction no pause
/// takes time.
class Steps {
public:
    Steps();
    ~Steps();
    Steps(const Steps&) = delete;
    Steps& operator=(const Steps&) = delete;

    /// The calls and pauses so far, in order: name, path if any, and argument, as in "usleep 10000".
    [[nodiscard]] Texts Taken() const;
    [[nodiscard]] std::vector<Sim::Call> Calls(const std::string& name) const { return m_recording.Calls(name); }
    /// The next `sleep` ends as if a signal handler had cut it short, with less than a second left.
    void CutNextSleep() { m_isCut = true; }

    unsigned int Pause(const char* name, unsigned int duration);

private:
    Sim::Recording m_recording;
    std::vector<std::pair<std::size_t, std::string>> m_pauses;  // each with the number of calls before it
    bool m_isCut = false;
};

}  // namespace Support
