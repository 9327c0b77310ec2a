// Runs that are counted together, from which the shares of units that passed are told.
#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "apps/station/records/Database.h"

namespace Station {

/// Of so many units some passed.
struct Share {
    Integer units = 0;
    Integer passed = 0;

    void Add(Integer count, bool isPass)
    {
        units += count;
        passed += isPass ? count : 0;
    }
};

/// A run with the verdict PASS or FAIL.
struct JudgedRun {
    Integer number = 0;
    Integer plan = 0;
    bool isPass = false;
    bool isComplete = false;  ///< each check of its plan passed or failed
};

/// Is told them in the order in which they took place; units are numbered.
class Tally {
public:
    void Add(Integer unit, const JudgedRun& run, bool isFirst)
    {
        m_runs.push_back(run);
        if (isFirst) {
            m_first.push_back(run);
        }
        m_last[unit] = run;
    }

    [[nodiscard]] const std::vector<JudgedRun>& Runs() const { return m_runs; }
    /// Those that were the first of their units.
    [[nodiscard]] const std::vector<JudgedRun>& First() const { return m_first; }
    /// The last of each unit.
    [[nodiscard]] const std::unordered_map<Integer, JudgedRun>& Last() const { return m_last; }

    [[nodiscard]] Share FirstPass() const
    {
        Share share;
        for (const JudgedRun& run : m_first) {
            share.Add(1, run.isPass);
        }
        return share;
    }
    [[nodiscard]] Share Final() const
    {
        Share share;
        for (const auto& [unit, run] : m_last) {
            share.Add(1, run.isPass);
        }
        return share;
    }

private:
    std::vector<JudgedRun> m_runs;
    std::vector<JudgedRun> m_first;
    std::unordered_map<Integer, JudgedRun> m_last;
};

}  // namespace Station
