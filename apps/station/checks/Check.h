// What every check is: how it is carried out, and what it found.
#pragma once

#include <chrono>
#include <ctime>
#include <map>
#include <optional>
#include <string>

#include "apps/Protocol.h"
#include "apps/station/line/Link.h"

namespace Station {

using namespace Protocol;

enum class Result {
    Pass,
    Fail,
    NotDone,  ///< it could not be carried out: nobody was there to answer, nothing measured it
    Aborted,  ///< the run ended before the check did
};

/// What a check found.
struct Finding {
    Result result = Result::Fail;
    std::string message;         ///< what came back, in words; of a failure also what to look at
    Values values;               ///< what was measured, with what it was held against
    std::optional<int> status;   ///< data byte 0 of the reply
    bool isLinkInDoubt = false;  ///< the board may be gone, or a reply may still be on its way
    bool isUnanswered = false;   ///< its reply did not come within the time limit
};

/// Whoever stands at the station.
class Operator {
public:
    virtual ~Operator() = default;

    /// Says what has to be done at the board now.
    virtual void Tell(const std::string& task) = 0;
    /// Asks, and waits for yes or no; nothing when nobody is there to answer, or the run is being stopped.
    virtual std::optional<bool> Ask(const std::string& question) = 0;
};

/// The board's clock as it was set, by a command that the board has answered.
struct ClockSetting {
    std::time_t to;  ///< calendar time, without a time zone
    std::chrono::steady_clock::time_point began;
    std::chrono::steady_clock::time_point ended;
};

/// What a unit's run keeps from one check to the next.
struct UnitState {
    std::optional<Bytes> outputs;  ///< the pattern that they were driven with last
    std::optional<ClockSetting> clock;
    ClockSetting settingClock;                           ///< in progress
    std::chrono::steady_clock::time_point readingBegan;  ///< of the clock
};

/// What a check is carried out with.
struct Bench {
    Link& link;
    Operator& people;
    UnitState& state;
    Transcript& transcript;
    const std::map<std::string, std::string>& environment;  ///< of the programs that are run
    int retries;                                            ///< after no answer, an error frame or a damaged reply
    std::optional<Seconds> timeout;                         ///< of an attempt, instead of the check's own
    int attempts = 0;                                       ///< times that it was tried so far
};

/// What ought to be on the board's display.
struct Screen {
    std::string picture;  ///< black, white, bars, targets; empty while nobody knows
    double light = 1;     ///< 0 to 1, how much of each colour is left
};

/// One check of a plan, good for any number of units, one after the other or at once.
class Check {
public:
    virtual ~Check() = default;

    /// @throws PortError if the port is gone
    virtual Finding CarryOut(Bench& bench) const = 0;

    /// "Ping 192.168.1.10"
    [[nodiscard]] virtual std::string Description() const = 0;
    /// The command that it sends.
    [[nodiscard]] virtual std::optional<unsigned char> Code() const { return std::nullopt; }
    /// Before it begins; a plan may ask for a longer one.
    [[nodiscard]] virtual Seconds Pause() const { return Seconds{0}; }
    /// Somebody has to do something before it can end: no general limit of time shortens that.
    [[nodiscard]] virtual bool WaitsForPerson() const { return false; }

    /// What a screen ought to show once it has begun, given what it showed before.
    virtual void Draw(Screen& /*screen*/) const {}
    /// False when the board cannot tell whether it passed: a person has to be asked, or the result to be measured.
    [[nodiscard]] virtual bool IsJudgedByBoard() const { return true; }
    [[nodiscard]] virtual bool DrivesOutputs() const { return false; }
    /// It reads what the last check before it that drives outputs has driven.
    [[nodiscard]] virtual bool ReadsOutputs() const { return false; }
};

/// Fails a finding that passed until now if a value is not within its limits, and says which.
void HoldAgainstLimits(Finding& finding);

}  // namespace Station
