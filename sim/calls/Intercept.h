// Injected faults and recorded calls, for all libc entry points of the simulated board.
#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>

#include "sim/SimBoard.h"

namespace Sim {

/// True while faults are injected or calls recorded.
bool IsWatching();
/// Takes the fault that hits this call, if any.
std::optional<Fault> TakeFault(const char* call);
void Record(Call call);

/// The most bytes that a call may move; std::nullopt when there is no limit.
using Limit = std::optional<std::size_t>;

/// Carries a call out as the injected faults demand. `carryOut` gets the number of bytes it may move.
template <class CarryOut, class Result = std::invoke_result_t<CarryOut, Limit>>
Result Intercept(const char* name, int fd, std::int64_t argument, CarryOut carryOut, const std::string& path = "")
{
    if (!IsWatching()) {
        return carryOut(Limit());
    }
    const std::optional<Fault> fault = TakeFault(name);
    const bool isCarriedOut = !fault || fault->limit;
    const Result result = isCarriedOut ? carryOut(fault ? fault->limit : Limit()) : static_cast<Result>(fault->result);
    const int error = isCarriedOut ? errno : fault->error;
    Record({name, fd, argument, result, path});
    errno = error;
    return result;
}

}  // namespace Sim
