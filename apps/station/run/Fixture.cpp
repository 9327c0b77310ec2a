// Several units at once.
#include "apps/station/run/Fixture.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "apps/station/run/Record.h"

namespace Station {

Fixture::Fixture(std::size_t places, std::function<void()> onEnd) : m_units(places), m_onEnd(std::move(onEnd)) {}

Fixture::~Fixture()
{
    for (Unit& unit : m_units) {
        if (unit.thread.joinable()) {
            unit.thread.join();
        }
    }
}

std::optional<std::size_t> Fixture::FreePlace() const
{
    for (std::size_t place = 0; place < m_units.size(); ++place) {
        if (!m_units[place].thread.joinable()) {
            return place;
        }
    }
    return std::nullopt;
}

bool Fixture::IsIdle() const
{
    return std::none_of(m_units.begin(), m_units.end(), [](const Unit& unit) { return unit.thread.joinable(); });
}

void Fixture::Start(std::size_t place, Test test)
{
    std::packaged_task<int()> task(std::move(test));
    std::future<int> result = task.get_future();
    m_units[place].thread = std::thread([this, task = std::move(task)]() mutable {
        task();
        m_onEnd();
    });
    m_units[place].result = std::move(result);
}

std::optional<Fixture::Ended> Fixture::TakeEnded()
{
    for (std::size_t place = 0; place < m_units.size(); ++place) {
        Unit& unit = m_units[place];
        if (!unit.thread.joinable() || unit.result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            continue;
        }
        unit.thread.join();
        try {
            return Ended{place, unit.result.get(), ""};
        } catch (const std::exception& error) {
            return Ended{place, ExitCode(Verdict::CouldNotRun), error.what()};
        }
    }
    return std::nullopt;
}

int WorseExitCode(int one, int other)
{
    constexpr int BADNESS[] = {0, 2, 3, 1};  // of each exit code
    return BADNESS[other] > BADNESS[one] ? other : one;
}

}  // namespace Station
