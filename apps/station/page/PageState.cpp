// What the operator's page shows.
#include "apps/station/page/PageState.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Station {

namespace {

using Json = nlohmann::json;

constexpr std::size_t MOST_RECENT = 1000;  // changes that a reader may be behind
constexpr std::size_t MOST_DURATIONS = 15;

/// Whatever it holds: what is no UTF-8 is replaced.
std::string Dump(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string Event(const char* name, const Json& data)
{
    return std::string("event: ") + name + "\ndata: " + Dump(data) + "\n\n";
}

Json ToJson(const Screen& screen)
{
    return screen.picture.empty() ? Json() : Json{{"picture", screen.picture}, {"light", screen.light}};
}

/// Each check with what the display ought to show during it.
Json ToJson(const Plan& plan)
{
    Json checks = Json::array();
    Screen screen;
    for (const Entry& entry : plan.entries) {
        const Screen before = screen;
        entry.check->Draw(screen);
        const bool draws = before.picture != screen.picture || before.light != screen.light;
        checks.push_back({{"name", entry.name},
                          {"description", entry.check->Description()},
                          {"optional", entry.isOptional},
                          {"screen", draws || !entry.ask.empty() ? ToJson(screen) : Json()}});
    }
    return {{"name", plan.name},
            {"version", plan.version},
            {"needsNumber", plan.serialNumber.has_value()},
            {"checks", checks}};
}

Json Median(std::deque<Seconds> durations)
{
    if (durations.empty()) {
        return {};
    }
    const auto middle = durations.begin() + static_cast<std::ptrdiff_t>(durations.size() / 2);
    std::nth_element(durations.begin(), middle, durations.end());
    return middle->count();
}

}  // namespace

PageState::PageState(const Plan& plan, const std::vector<std::string>& ports, std::vector<Seconds> durations)
    : m_plan(ToJson(plan)), m_durations(durations.begin(), durations.end()), m_typical(Median(m_durations))
{
    for (const std::string& port : ports) {
        m_panels.push_back(std::make_unique<Panel>(*this, m_panels.size(), port));
    }
}

PageState::~PageState() = default;

std::vector<Viewer*> PageState::Viewers()
{
    std::vector<Viewer*> viewers;
    std::transform(m_panels.begin(), m_panels.end(), std::back_inserter(viewers),
                   [](const auto& panel) { return panel.get(); });
    return viewers;
}

void PageState::ShowNext(std::optional<std::size_t> place)
{
    const std::lock_guard lock(m_mutex);
    const Json next = place ? Json(*place + 1) : Json();
    if (next != m_next) {
        m_next = next;
        Change({{"next", next}});
    }
}

bool PageState::Answer(std::size_t place, std::uint64_t question, bool isYes)
{
    const std::lock_guard lock(m_mutex);
    Panel& panel = *m_panels.at(place);
    const Json& shown = panel.m_shown["question"];
    if (shown.is_null() || shown["id"] != question) {
        return false;
    }
    panel.m_answer = isYes;
    panel.Set({{"question", nullptr}});
    m_onAnswer.notify_all();
    return true;
}

std::uint64_t PageState::UnitUnderTest(std::size_t place) const
{
    const std::lock_guard lock(m_mutex);
    const Json& shown = m_panels.at(place)->m_shown;
    return shown["status"] == "testing" ? shown["run"].get<std::uint64_t>() : 0;
}

std::int64_t PageState::Milliseconds(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

PageState::Json PageState::MakeWhole() const
{
    Json panels = Json::array();
    std::transform(m_panels.begin(), m_panels.end(), std::back_inserter(panels),
                   [](const auto& panel) { return panel->m_shown; });
    return {{"number", m_number}, {"now", Milliseconds(std::chrono::system_clock::now())},
            {"plan", m_plan},     {"typical", m_typical},
            {"next", m_next},     {"panels", panels}};
}

std::string PageState::Whole() const
{
    const std::lock_guard lock(m_mutex);
    return Dump(MakeWhole());
}

std::string PageState::Await(std::uint64_t& number, std::chrono::milliseconds limit) const
{
    std::unique_lock lock(m_mutex);
    m_onChange.wait_for(lock, limit, [&] { return m_number != number; });
    const std::uint64_t behind = m_number - std::exchange(number, m_number);
    const std::string id = "id: " + std::to_string(m_number) + '\n';
    if (behind > m_recent.size()) {
        return id + Event("state", MakeWhole());
    }
    std::string events;
    std::for_each(m_recent.end() - static_cast<std::ptrdiff_t>(behind), m_recent.end(),
                  [&](const std::string& event) { events += event; });
    return events;
}

/// Called with the mutex.
void PageState::Change(const Json& change)
{
    ++m_number;
    m_recent.push_back("id: " + std::to_string(m_number) + '\n' + Event("change", change));
    if (m_recent.size() > MOST_RECENT) {
        m_recent.pop_front();
    }
    m_onChange.notify_all();
}

void PageState::AddDuration(Seconds duration)
{
    m_durations.push_front(duration);
    m_durations.resize(std::min(m_durations.size(), MOST_DURATIONS));
    m_typical = Median(m_durations);
    Change({{"typical", m_typical}});
}

}  // namespace Station
