// What a person types.
#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/station/page/Access.h"
#include "apps/station/plan/PlanFile.h"
#include "apps/station/records/Location.h"
#include "apps/station/records/Yield.h"

namespace Station {

/// What is asked of the records.
struct Question {
    std::optional<std::string> unit;
    std::optional<std::chrono::system_clock::time_point> since;
    std::optional<std::chrono::system_clock::time_point> before;
    bool isFailed = false;
    int most = 50;  ///< lines of a history
    bool isAll = false;
    std::string run;  ///< the beginning of a UUID
    Grouping by = Grouping::None;
    bool showsFrames = false;
    bool isCsv = false;
    bool isJson = false;
    std::string file;  ///< of a backup
};

struct Options {
    enum class Action { Plan, Run, Line, Serve, Send, Backup, Forward, History, Prune, Show, Yield };
    Action action = Action::Plan;
    std::vector<std::string> ports;
    std::string plan;  ///< a file; empty is the built-in plan
    Overrides settings;
    std::optional<int> speed;  ///< line settings and board type instead of the plan's
    std::optional<int> dataBits;
    std::optional<int> stopBits;
    std::optional<std::string> parity;
    std::optional<std::string> flowControl;
    std::optional<int> boardType;
    std::optional<int> retries;
    std::optional<double> timeout;
    bool showsFrames = false;
    std::vector<std::string> units;  ///< none, or one for each port
    std::string people;
    std::vector<std::string> only;
    std::vector<std::string> skip;
    int repeat = 1;
    bool keepsGoing = false;
    std::string recordsUrl;  ///< as typed
    Location records;
    std::string recordFolder;  ///< gets files of each run; empty for none
    bool forwardsAll = false;
    std::string json;
    std::string junit;
    bool mayOverwrite = false;
    ListenAddress listen;
    std::vector<std::string> origins;  ///< of the page, as ParseOrigin() gives them
    Question question;
    std::string command;
    std::vector<std::string> data;
    std::vector<std::string> words;  ///< as typed

    /// Units are tested: there are ports and records.
    [[nodiscard]] bool IsTesting() const
    {
        return action == Action::Run || action == Action::Line || action == Action::Serve;
    }
    /// The records are asked, or looked after.
    [[nodiscard]] bool IsAsking() const { return !IsTesting() && action != Action::Plan && action != Action::Send; }
    /// A signal may end it at once: nothing is half done then, and a server may keep it waiting.
    [[nodiscard]] bool MayEndAnywhere() const
    {
        return action == Action::History || action == Action::Show || action == Action::Yield ||
               action == Action::Prune;
    }
    /// Line settings and board type of the command line go before the plan's.
    void ReplaceLine(Plan& replaced) const;
};

/// The program is to end now: after --help or --version (0), or because what was typed is wrong (2).
struct EndNow {
    int exitCode;
};

/// Understands what was typed; prints help and what is wrong.
/// @throws EndNow
Options ParseOptions(int argc, char** argv);

}  // namespace Station
