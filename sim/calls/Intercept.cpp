// Faults of calls, and recordings, on the simulated board.
#include "sim/calls/Intercept.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "sim/Board.h"

namespace Sim {

namespace {

struct State {
    std::mutex mutex;
    std::atomic<bool> isWatching = false;
    bool isRecording = false;
    std::vector<Fault> faults;
    std::vector<Call> calls;

    void Watch() { isWatching = isRecording || !faults.empty(); }
};

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

/// Returns `call`; throws when it is none of CALLS.
std::string Known(std::string call)
{
    if (std::find(std::begin(CALLS), std::end(CALLS), call) == std::end(CALLS)) {
        throw std::invalid_argument("there is no call " + call + " that knows faults");
    }
    return call;
}

}  // namespace

Fault Fault::Fails(std::string call, int error)
{
    Fault fault = {};
    fault.call = Known(std::move(call));
    fault.error = error;
    return fault;
}

Fault Fault::Returns(std::string call, long result)
{
    Fault fault = {};
    fault.call = Known(std::move(call));
    fault.result = result;
    return fault;
}

Fault Fault::Limits(std::string call, std::size_t bytes)
{
    Fault fault = {};
    fault.call = Known(std::move(call));
    fault.limit = bytes;
    return fault;
}

Fault& Fault::After(int calls)
{
    after = calls;
    return *this;
}

Fault& Fault::Times(int calls)
{
    times = calls;
    return *this;
}

void Inject(const Fault& fault)
{
    Known(fault.call);
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.faults.push_back(fault);
    state.Watch();
}

void Reset()
{
    PowerOff();
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.faults.clear();
    state.calls.clear();
    state.Watch();
}

bool IsWatching()
{
    return TheState().isWatching;
}

std::optional<Fault> TakeFault(const char* call)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    const auto found =
        std::find_if(state.faults.begin(), state.faults.end(), [&](const Fault& fault) { return fault.call == call; });
    if (found == state.faults.end()) {
        return std::nullopt;
    }
    if (found->after > 0) {
        --found->after;
        return std::nullopt;
    }
    Fault fault = *found;
    if (--found->times == 0) {
        state.faults.erase(found);
        state.Watch();
    }
    return fault;
}

void Record(Call call)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    if (state.isRecording) {
        state.calls.push_back(std::move(call));
    }
}

Recording::Recording()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.calls.clear();
    state.isRecording = true;
    state.Watch();
}

Recording::~Recording()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.isRecording = false;
    state.Watch();
}

std::vector<Call> Recording::Calls(const std::string& name) const
{
    const std::string wanted = name.empty() ? name : Known(name);
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    std::vector<Call> calls;
    std::copy_if(state.calls.begin(), state.calls.end(), std::back_inserter(calls),
                 [&](const Call& call) { return wanted.empty() || call.name == wanted; });
    return calls;
}

}  // namespace Sim
