// Several units at once.
#pragma once

#include <cstddef>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Station {

/// A place for each port. A unit is tested on a thread of its own, and units know nothing of each other: what one of
/// them throws is its own result. Used by one thread; the end of its life waits for the units in progress.
class Fixture {
public:
    /// What becomes of a unit: an exit code. It runs one Runner, or one after the other.
    using Test = std::function<int()>;

    struct Ended {
        std::size_t place;    ///< from 0
        int exitCode;         ///< could not run when it threw
        std::string problem;  ///< what it threw
    };

    /// `onEnd` is called on a unit's thread when TakeEnded() has its result.
    Fixture(std::size_t places, std::function<void()> onEnd);
    ~Fixture();
    Fixture(const Fixture&) = delete;
    Fixture& operator=(const Fixture&) = delete;

    /// The first place where no unit is tested.
    [[nodiscard]] std::optional<std::size_t> FreePlace() const;
    [[nodiscard]] bool IsIdle() const;
    /// Begins a unit on a free place.
    /// @throws std::system_error when there is no thread for it
    void Start(std::size_t place, Test test);
    /// A unit that has ended; its place is free from now on.
    std::optional<Ended> TakeEnded();

private:
    struct Unit {
        std::future<int> result;
        std::thread thread;
    };

    std::vector<Unit> m_units;
    std::function<void()> m_onEnd;
};

/// The exit code of both together: that one could not run is the worst, then that one failed, then that one is no PASS.
int WorseExitCode(int one, int other);

}  // namespace Station
