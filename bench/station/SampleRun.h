// A run as the station keeps it, without a board.
#pragma once

#include <memory>
#include <string>

#include "apps/station/records/Records.h"
#include "apps/station/run/Runner.h"

/// That many checks, each with a frame both ways and a value; the first fails unless the unit is good.
inline Station::RunRecord SampleRun(const std::string& unit, std::size_t checks, bool isGood = true)
{
    using namespace Station;
    RunRecord run;
    run.id = NewUuid();
    run.unit = unit;
    run.planName = "Sample";
    run.planSha256 = std::string(64, 'a');
    run.host = "pc";
    run.port = "/dev/ttyUSB0";
    run.options = {"run", "--unit", unit};
    run.start = std::chrono::system_clock::now();
    run.end = run.start + std::chrono::seconds(2);
    run.planned = checks;
    run.link.name = "link";
    run.link.result = Result::Pass;
    run.isKept = true;
    for (std::size_t i = 0; i < checks; ++i) {
        CheckRecord check;
        check.name = "check " + std::to_string(i + 1);
        check.kind = "command";
        check.code = static_cast<unsigned char>(i);
        check.result = isGood || i > 0 ? Result::Pass : Result::Fail;
        check.message = "as expected, 3\u00bd V";
        check.values = {{"voltage", 3.3 + 0.1 * static_cast<double>(i), "V", {1e-300, 1e300, {}}}};
        check.status = 0;
        check.duration = Seconds(0.12345678901234567);
        check.attempts = 1;
        check.traffic = {{Traffic::Kind::Sent, Seconds(0.25), Bytes(31, 0x5A), 0},
                         {Traffic::Kind::Received, Seconds(0.5), Bytes(31, 0xA5), 0}};
        run.checks.push_back(check);
    }
    return run;
}

/// Tells the sink of it, as the runner does.
inline void Keep(Station::RecordSink& sink, Station::RunRecord run)
{
    sink.OnBegin(run);
    for (const Station::CheckRecord& check : run.checks) {
        sink.OnJudged(run, check);
    }
    run.verdict = Station::Judge(run);
    sink.OnVerdict(run);
    sink.OnEnd(run);
}
