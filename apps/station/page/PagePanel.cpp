// One port's part of the operator's page.
#include <cmath>
#include <filesystem>

#include "apps/station/page/PageState.h"
#include "apps/station/report/Text.h"

namespace Station {

namespace {

using Json = nlohmann::json;

Json ToJson(const CheckRecord& check)
{
    Json values = Json::array();
    for (const Value& value : check.values) {
        values.push_back({{"name", value.name},
                          {"value", value.Text()},
                          {"limits", value.LimitsText()},
                          {"within", value.IsWithin()}});
    }
    return {{"result", Word(check.result)},
            {"message", check.message},
            {"hint", check.hint},
            {"values", values},
            {"attempts", check.attempts}};
}

}  // namespace

PageState::Panel::Panel(PageState& state, std::size_t place, const std::string& port)
    : m_state(state),
      m_shown({{"number", place + 1},
               {"port", std::filesystem::path(port).filename().string()},
               {"status", "free"},
               {"question", nullptr}})
{
}

/// Called with the mutex.
void PageState::Panel::Set(const Json& fields)
{
    m_shown.update(fields);
    m_state.Change({{"panel", m_shown["number"]}, {"set", fields}});
}

void PageState::Panel::ShowUnit(const std::string& unit, const std::string& remark)
{
    const std::lock_guard lock(m_state.m_mutex);
    m_isInterrupted = false;
    Set({{"status", "testing"},
         {"run", ++m_state.m_units},
         {"unit", unit},
         {"remark", remark},
         {"started", Milliseconds(std::chrono::system_clock::now())},
         {"check", nullptr},
         {"waiting", nullptr},
         {"task", nullptr},
         {"question", nullptr},
         {"results", Json::array()},
         {"seconds", nullptr},
         {"word", nullptr},
         {"reason", ""},
         {"stopping", false}});
}

void PageState::Panel::ShowVerdict(const std::string& /*unit*/, int exitCode)
{
    const std::lock_guard lock(m_state.m_mutex);
    Set({{"status", "ended"},
         {"word", ShortWord(exitCode)},
         {"check", nullptr},
         {"waiting", nullptr},
         {"task", nullptr},
         {"question", nullptr}});
    if (exitCode == 0 && m_shown["seconds"].is_number()) {
        m_state.AddDuration(Seconds(m_shown["seconds"].get<double>()));
    }
}

void PageState::Panel::Complain(const std::string& message)
{
    const std::lock_guard lock(m_state.m_mutex);
    const auto reason = m_shown.value("reason", "");
    Set({{"reason", reason + (reason.empty() ? "" : "; ") + message}});
}

void PageState::Panel::Interrupt()
{
    const std::lock_guard lock(m_state.m_mutex);
    m_isInterrupted = true;
    if (m_shown["status"] == "testing") {
        Set({{"stopping", true}});
    }
    m_state.m_onAnswer.notify_all();
}

void PageState::Panel::Tell(const std::string& task)
{
    const std::lock_guard lock(m_state.m_mutex);
    Set({{"task", task}});
}

std::optional<bool> PageState::Panel::Ask(const std::string& question)
{
    std::unique_lock lock(m_state.m_mutex);
    m_answer.reset();
    Set({{"question", {{"id", ++m_state.m_questions}, {"text", question}}}, {"waiting", nullptr}});
    m_state.m_onAnswer.wait(lock, [this] { return m_answer || m_isInterrupted; });
    if (!m_answer) {
        Set({{"question", nullptr}});
    }
    return m_answer;
}

void PageState::Panel::OnBegin(const RunRecord& run)
{
    const std::lock_guard lock(m_state.m_mutex);
    Set({{"started", Milliseconds(run.start)}});
}

void PageState::Panel::OnCheck(const std::string& name)
{
    const std::lock_guard lock(m_state.m_mutex);
    m_waited = -1;
    Set({{"check", name}, {"waiting", nullptr}, {"task", nullptr}});
}

void PageState::Panel::OnWait(const std::string& /*name*/, Seconds waited, Seconds limit)
{
    const int seconds = static_cast<int>(waited.count());
    if (seconds == 0 || seconds == m_waited) {
        return;
    }
    m_waited = seconds;
    const std::lock_guard lock(m_state.m_mutex);
    Set({{"waiting", {{"seconds", seconds}, {"limit", std::round(limit.count())}}}});
}

void PageState::Panel::OnJudged(const RunRecord& /*run*/, const CheckRecord& check)
{
    const std::lock_guard lock(m_state.m_mutex);
    const Json result = ToJson(check);
    m_shown["results"].push_back(result);
    m_state.Change({{"panel", m_shown["number"]}, {"result", result}});
}

void PageState::Panel::OnEnd(const RunRecord& run)
{
    const std::lock_guard lock(m_state.m_mutex);
    const bool isTold = run.verdict == Verdict::Fail;  // by the checks that failed
    Set({{"reason", isTold ? run.problem : Reason(run)}, {"seconds", Seconds(run.end - run.start).count()}});
}

}  // namespace Station
