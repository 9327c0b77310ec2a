// serve: unit after unit as their serial numbers are scanned in a browser, on all ports at once.
#include <mutex>
#include <stdexcept>

#include "apps/station/Console.h"
#include "apps/station/commands/Commands.h"
#include "apps/station/commands/UnitLine.h"
#include "apps/station/page/BenchApi.h"
#include "apps/station/page/RecordsApi.h"

namespace Station {

namespace {

constexpr int MOST_DURATIONS = 15;  // of earlier runs, for the typical one

/// The line and what the page shows of it, for all threads of the server.
class ServedLine {
public:
    ServedLine(const Options& options, const Plan& plan, Records* records, std::function<void()> onEnd)
        : m_state(plan, options.ports,
                  records != nullptr ? records->PassDurations(plan.sha256, MOST_DURATIONS) : std::vector<Seconds>()),
          m_line(options, plan, records, m_state.Viewers(), std::move(onEnd))
    {
        m_state.ShowNext(m_line.Next());
    }

    [[nodiscard]] PageState& State() { return m_state; }

    std::size_t Begin(const std::string& scanned, std::optional<std::size_t> place)
    {
        const std::lock_guard lock(m_mutex);
        if (m_isOver) {
            throw std::runtime_error("the station is ending");
        }
        const std::size_t begun = m_line.Begin(scanned, place);
        m_state.ShowNext(m_line.Next());
        return begun;
    }
    void Stop(std::size_t place)
    {
        const std::lock_guard lock(m_mutex);
        Interrupt(place);
    }
    /// From now on no unit begins.
    void End(std::size_t places)
    {
        const std::lock_guard lock(m_mutex);
        for (std::size_t place = 0; place < places && !m_isOver; ++place) {
            Interrupt(place);
        }
        m_isOver = true;
    }
    /// False once it is over and all units have ended.
    bool TakeEnded()
    {
        const std::lock_guard lock(m_mutex);
        m_line.TakeEnded();
        m_state.ShowNext(m_isOver ? std::nullopt : m_line.Next());
        return !m_isOver || !m_line.IsIdle();
    }

private:
    void Interrupt(std::size_t place)
    {
        m_line.Stop(place);
        m_state.At(place).Interrupt();
    }

    PageState m_state;
    std::mutex m_mutex;  ///< guards what follows
    bool m_isOver = false;
    UnitLine m_line;
};

void PrintAddress(const Server& server, const Options& options, Console& console)
{
    const ListenAddress& address = server.Address();
    console.Print("The operator's page: http://" + address.Text() + "/");
    if (!address.IsLoopback()) {
        console.Complain("other computers reach the page at " + address.Text() +
                         ", and it asks nobody for a password: put a reverse proxy before it");
    }
    for (const std::string& origin : options.origins) {
        console.Print("and, through a proxy: " + origin + "/");
    }
}

}  // namespace

int Serve(const Options& options, const std::atomic<bool>& stop)
{
    const Plan plan = ReadPlan(options);
    Console console(stop, options.ports);
    const std::unique_ptr<Records> records = OpenRecords(options, console);
    const auto forwarder = StartForwarding(options, records.get(), console, stop);
    ServedLine line(options, plan, records.get(), [&console] { console.Wake(); });
    Server server(options.listen, options.origins);  // its threads use what stands above
    AddBench(
        server, line.State(), options.ports.size(),
        {[&line](const std::string& scanned, std::optional<std::size_t> place) { return line.Begin(scanned, place); },
         [&line](std::size_t place) { line.Stop(place); }});
    AddRecords(server, options.records);
    server.Start();
    PrintAddress(server, options, console);
    while (line.TakeEnded()) {
        console.Await();
        if (stop) {
            line.End(options.ports.size());
        }
    }
    return 0;
}

}  // namespace Station
