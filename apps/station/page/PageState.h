// What the operator's page shows: the truth, and how it changes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/station/plan/Plan.h"
#include "apps/station/run/Viewer.h"

namespace Station {

/// Fed by the threads of the units, read by any number of others. Nothing that feeds it waits for a reader: one that
/// falls behind gets the whole state anew.
class PageState {
public:
    class Panel;

    /// A panel for each port. `durations` of earlier runs that passed tell how long one typically takes.
    PageState(const Plan& plan, const std::vector<std::string>& ports, std::vector<Seconds> durations);
    ~PageState();
    PageState(const PageState&) = delete;
    PageState& operator=(const PageState&) = delete;

    /// Of a port, from 0; used by the thread of its run.
    Panel& At(std::size_t place) { return *m_panels.at(place); }
    std::vector<Viewer*> Viewers();
    /// Which port the next unit is to be connected to.
    void ShowNext(std::optional<std::size_t> place);

    /// Yes or no to that question; false when it is not open, or not any more.
    bool Answer(std::size_t place, std::uint64_t question, bool isYes);
    /// Of the unit that is shown as under test; 0 when there is none.
    [[nodiscard]] std::uint64_t UnitUnderTest(std::size_t place) const;

    /// All of it, as a JSON object. `number` counts changes; `now` is the station's clock, in milliseconds since 1970.
    [[nodiscard]] std::string Whole() const;
    /// What has changed since that number, which it moves on: server-sent events (HTML Living Standard, 9.2) named
    /// "state" (all of it) or "change". Waits for the first one; empty when none came within the limit. A reader begins
    /// with number 0.
    std::string Await(std::uint64_t& number, std::chrono::milliseconds limit) const;

private:
    using Json = nlohmann::json;

    /// Since 1970.
    static std::int64_t Milliseconds(std::chrono::system_clock::time_point time);
    void Change(const Json& change);
    [[nodiscard]] Json MakeWhole() const;
    void AddDuration(Seconds duration);

    mutable std::mutex m_mutex;  ///< guards what follows, and the panels
    mutable std::condition_variable m_onChange;
    std::condition_variable m_onAnswer;
    const Json m_plan;
    std::vector<std::unique_ptr<Panel>> m_panels;
    std::deque<Seconds> m_durations;  ///< of runs that passed, the newest first
    Json m_typical;                   ///< their median in seconds, or null
    Json m_next;                      ///< number of a port, from 1, or null
    std::uint64_t m_number = 1;       ///< of the last change
    std::deque<std::string> m_recent;
    std::uint64_t m_units = 0;      ///< so far
    std::uint64_t m_questions = 0;  ///< so far
};

/// One port's part of the page.
class PageState::Panel : public Viewer {
public:
    Panel(PageState& state, std::size_t place, const std::string& port);

    // Viewer
    void ShowUnit(const std::string& unit, const std::string& remark) override;
    void ShowVerdict(const std::string& unit, int exitCode) override;
    void Complain(const std::string& message) override;

    /// The run that waits for an answer is being stopped: it ends its wait.
    void Interrupt();

    // Operator
    void Tell(const std::string& task) override;
    std::optional<bool> Ask(const std::string& question) override;

    // RecordSink
    void OnBegin(const RunRecord& run) override;
    void OnCheck(const std::string& name) override;
    void OnWait(const std::string& name, Seconds waited, Seconds limit) override;
    void OnJudged(const RunRecord& run, const CheckRecord& check) override;
    void OnEnd(const RunRecord& run) override;

private:
    friend class PageState;

    void Set(const Json& fields);

    PageState& m_state;
    Json m_shown;
    int m_waited = -1;  ///< whole seconds, as shown
    bool m_isInterrupted = false;
    std::optional<bool> m_answer;
};

}  // namespace Station
