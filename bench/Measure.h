// Times contestants against each other.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <numeric>
#include <random>
#include <vector>

namespace Bench {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::duration duration)
{
    return std::chrono::duration<double>(duration).count();
}

inline double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Seconds of one call, from `calls` calls in a row.
inline double TimeCalls(const std::function<void()>& work, long calls)
{
    const auto start = Clock::now();
    for (long i = 0; i < calls; ++i) {
        work();
    }
    return Seconds(Clock::now() - start) / static_cast<double>(calls);
}

/// Median seconds of one call of each contestant. They take turns in a random order, so that a noisy machine treats
/// them alike. Each turn starts with a warm-up of as many calls as are then timed, so that nobody gains from what
/// another left in the caches.
inline std::vector<double> Compare(const std::vector<std::function<void()>>& contestants)
{
    constexpr int ROUNDS = 101;
    constexpr double ROUND_SECONDS = 0.003;
    const long calls = std::max(1L, static_cast<long>(ROUND_SECONDS / TimeCalls(contestants[0], 100)));
    std::vector<std::vector<double>> times(contestants.size());
    std::vector<std::size_t> order(contestants.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(1);
    for (int round = 0; round < ROUNDS; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t i : order) {
            TimeCalls(contestants[i], calls);
            times[i].push_back(TimeCalls(contestants[i], calls));
        }
    }
    std::vector<double> medians;
    std::transform(times.begin(), times.end(), std::back_inserter(medians), Median);
    return medians;
}

}  // namespace Bench
