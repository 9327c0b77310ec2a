// Waiting for a condition in tests.
#pragma once

#include <chrono>
#include <thread>

namespace Support {

/// True as soon as `condition` holds, false when it does not within `limit`.
template <class Condition>
bool WaitFor(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace Support
