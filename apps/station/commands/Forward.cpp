// forward: what waits goes to the shared database.
#include <stdexcept>
#include <string>

#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"
#include "apps/station/records/Forwarder.h"

namespace Station {

namespace {

/// Tries again as long as that brings anything forward.
void SendAll(Forwarder& forwarder, const std::atomic<bool>& stop)
{
    constexpr int MOST = 2;  // attempts in a row that bring nothing
    int attempts = 0;
    while (!stop) {
        const long before = forwarder.Sent() + forwarder.Found();
        try {
            forwarder.Send();
            return;
        } catch (const RecordError&) {
            attempts = forwarder.Sent() + forwarder.Found() > before ? 1 : attempts + 1;
            if (attempts == MOST) {
                throw;
            }
        }
    }
}

}  // namespace

int Forward(const Options& options, const std::atomic<bool>& stop)
{
    if (options.records.server.empty()) {
        throw std::runtime_error("say where to forward the runs: --records postgresql://HOST/DATABASE");
    }
    Forwarder forwarder(options.records, stop);
    if (options.forwardsAll) {
        forwarder.StartOver();
    }
    std::string problem;
    try {
        SendAll(forwarder, stop);
    } catch (const RecordError& error) {
        problem = error.what();
    }
    const long waiting = forwarder.CountWaiting();
    WriteOut(std::to_string(forwarder.Sent()) + " forwarded, " + std::to_string(forwarder.Found()) +
             " there already, " + std::to_string(waiting) + " left\n");
    if (stop || !problem.empty()) {
        throw std::runtime_error(stop ? "interrupted" : problem);
    }
    return waiting == 0 ? 0 : COULD_NOT_RUN;
}

}  // namespace Station
